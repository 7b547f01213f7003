// Aud::Resampler: ratios from rates, bad input, exact output length and position over
// long streams, block-size and channel independence, latency, NaN handling, reset and
// partial output capacity.
#include "AudAtoms/internal/Aud__Resampler_Position.h"
#include "AudAtoms/kernels/Aud__Resampler_testing.h"

#include "tests/support/ResamplerSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

using Aud::Resampler;
using Aud::SampleRate;
using namespace audatoms::test;

namespace {

// Converts `in` (one vector per channel) in blocks of `block` frames with room for
// everything; checks after every call that the output count is floor(consumed * L / M).
std::vector<std::vector<float>> run(Resampler& r, const std::vector<std::vector<float>>& in, std::size_t block) {
    const unsigned chans = r.channels();
    const std::size_t frames = in[0].size();
    std::vector<std::vector<float>> out(chans, std::vector<float>(r.maxOutputFrames(frames) + 16));
    std::size_t done = 0, made = 0;
    std::vector<const float*> ip(chans);
    std::vector<float*> op(chans);
    while (done < frames) {
        const std::size_t n = std::min(block, frames - done);
        for (unsigned c = 0; c < chans; ++c) {
            ip[c] = in[c].data() + done;
            op[c] = out[c].data() + made;
        }
        const Resampler::Result res = r.process(ip.data(), n, op.data(), r.maxOutputFrames(n));
        EXPECT_EQ(res.consumed, n);
        done += res.consumed;
        made += res.produced;
        EXPECT_EQ(std::uint64_t(made), std::uint64_t(done) * r.upFactor() / r.downFactor());
        if (res.consumed == 0) break;
    }
    for (auto& o : out) o.resize(made);
    return out;
}

SampleRate rate(Aud::eBaseSampleRate b, Aud::eFactor f = Aud::keFactorNone) { return SampleRate(b, f); }

bool sameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

}  // namespace

TEST(Resampler, RatiosFromRatesAndFactors) {
    Resampler a(rate(Aud::keBaseSampleRate44100), rate(Aud::keBaseSampleRate48000), 2);
    ASSERT_TRUE(a.ok());
    EXPECT_EQ(a.upFactor(), 160u);
    EXPECT_EQ(a.downFactor(), 147u);
    Resampler b(rate(Aud::keBaseSampleRate48000), rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001), 1);
    EXPECT_EQ(b.upFactor(), 1000u);
    EXPECT_EQ(b.downFactor(), 1001u);
    Resampler c(rate(Aud::keBaseSampleRate48000), rate(Aud::keBaseSampleRate48000, Aud::keFactor24_25), 1);
    EXPECT_EQ(c.upFactor(), 24u);
    EXPECT_EQ(c.downFactor(), 25u);
    // Both flags of a pair cancel; doubling and 25/24 combine.
    Resampler d(rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001 | Aud::keFactor1001_1000),
                rate(Aud::keBaseSampleRate24000, Aud::keFactor2 | Aud::keFactor25_24), 1);
    EXPECT_EQ(d.upFactor(), 25u);
    EXPECT_EQ(d.downFactor(), 24u);
    Resampler e(44100u, 48000u, 1);
    EXPECT_EQ(e.upFactor(), 160u);
    EXPECT_EQ(e.downFactor(), 147u);
    Resampler same(48000u, 48000u, 1);
    EXPECT_EQ(same.upFactor(), 1u);
    EXPECT_EQ(same.downFactor(), 1u);

    std::uint64_t n = 0, dd = 0;
    ASSERT_EQ(Resampler::exactRate(rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001), n, dd), Aud::sSuccess);
    EXPECT_EQ(n, 48000000u);
    EXPECT_EQ(dd, 1001u);
    ASSERT_EQ(Resampler::exactRate(rate(Aud::keBaseSampleRate44100, Aud::keFactor24_25), n, dd), Aud::sSuccess);
    EXPECT_EQ(n, 42336u);
    EXPECT_EQ(dd, 1u);
    EXPECT_EQ(Resampler::exactRate(SampleRate(), n, dd), Aud::sInvalidSampleRate);
    EXPECT_EQ(Resampler::exactRate(rate(Aud::keBaseSampleRateProject), n, dd), Aud::sInvalidSampleRate);
    EXPECT_EQ(Resampler::exactRate(SampleRate::fromWord(12), n, dd), Aud::sInvalidSampleRate);
}

TEST(Resampler, BadInputGivesAStatusAndProcessesNothing) {
    struct Case {
        Resampler* r;
        Aud::eStatus want;
    };
    Resampler zeroIn(0u, 48000u, 1), zeroOut(48000u, 0u, 1);
    Resampler invalid(SampleRate(), rate(Aud::keBaseSampleRate48000), 1);
    Resampler project(rate(Aud::keBaseSampleRateProject), rate(Aud::keBaseSampleRate48000), 1);
    Resampler unknown(SampleRate::fromWord(12), rate(Aud::keBaseSampleRate48000), 1);
    Resampler tooHigh(11025u, 96000u, 1), tooLow(96000u, 11025u, 1);
    Resampler noChannels(44100u, 48000u, 0), tooMany(44100u, 48000u, 33);
    const Case cases[] = {{&zeroIn, Aud::sInvalidSampleRate},
                          {&zeroOut, Aud::sInvalidSampleRate},
                          {&invalid, Aud::sInvalidSampleRate},
                          {&project, Aud::sInvalidSampleRate},
                          {&unknown, Aud::sInvalidSampleRate},
                          {&tooHigh, Aud::sOutOfRange},
                          {&tooLow, Aud::sOutOfRange},
                          {&noChannels, Aud::sChannelNumberOutOfRange},
                          {&tooMany, Aud::sChannelNumberOutOfRange}};
    std::vector<float> in(100, 0.5f), out(1000, 7.0f);
    const float* ip = in.data();
    float* op = out.data();
    for (const Case& c : cases) {
        EXPECT_EQ(c.r->status(), c.want);
        EXPECT_FALSE(c.r->ok());
        EXPECT_EQ(c.r->maxOutputFrames(100), 0u);
        const Resampler::Result res = c.r->process(&ip, in.size(), &op, out.size());
        EXPECT_EQ(res.consumed, 0u);
        EXPECT_EQ(res.produced, 0u);
        EXPECT_EQ(out[0], 7.0f);
    }
    // Exactly 8:1 either way is accepted; 32 channels are.
    EXPECT_TRUE(Resampler(12000u, 96000u, 1).ok());
    EXPECT_TRUE(Resampler(96000u, 12000u, 1).ok());
    EXPECT_TRUE(Resampler(44100u, 48000u, 32).ok());
}

TEST(Resampler, OutputCountIsExactAfterAnyBlocks) {
    const SampleRate pulled = rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001);
    Resampler rs[] = {Resampler(44100u, 48000u, 1, Resampler::keQualityQuick),
                      Resampler(48000u, 44100u, 1, Resampler::keQualityQuick),
                      Resampler(rate(Aud::keBaseSampleRate44100), pulled, 1, Resampler::keQualityQuick),
                      Resampler(12000u, 96000u, 1, Resampler::keQualityQuick),
                      Resampler(96000u, 12000u, 1, Resampler::keQualityQuick)};
    const std::vector<float> noise = makeNoise(200000, 0.5);
    for (Resampler& r : rs) {
        std::size_t done = 0, made = 0, block = 1;
        std::vector<float> out(r.maxOutputFrames(noise.size()));
        while (done < noise.size()) {
            const std::size_t n = std::min(block, noise.size() - done);
            const float* ip = noise.data() + done;
            float* op = out.data() + made;
            const Resampler::Result res = r.process(&ip, n, &op, out.size() - made);
            ASSERT_EQ(res.consumed, n);
            done += n;
            made += res.produced;
            ASSERT_EQ(std::uint64_t(made), std::uint64_t(done) * r.upFactor() / r.downFactor());
            block = block * 3 % 9973 + 1;  // 1, 4, 13, ... a spread of sizes
        }
        EXPECT_EQ(r.inputFramesConsumed(), noise.size());
        EXPECT_EQ(r.outputFramesProduced(), made);
    }
}

// The position arithmetic that process() runs (the shared Position type, started where a
// real resampler starts) over 10^9 input frames in uneven blocks: the output count is
// floor(N * L / M) after every block and the final position is exactly the one
// N * L / M outputs further on (computed in 128-bit integers). The real process() is
// checked against the same Position over a shorter stream below.
TEST(Resampler, PositionNeverDriftsOverABillionInputFrames) {
    const SampleRate pulled = rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001);
    Resampler rs[] = {Resampler(44100u, 48000u, 1, Resampler::keQualityQuick),
                      Resampler(rate(Aud::keBaseSampleRate44100), pulled, 1, Resampler::keQualityQuick),
                      Resampler(rate(Aud::keBaseSampleRate48000), pulled, 1, Resampler::keQualityQuick)};
    for (Resampler& r : rs) {
        const std::uint64_t L = r.upFactor(), M = r.downFactor();
        Aud::ResamplerPosition::Position p;
        Aud::ResamplerKernels::positionOf(r, p.k0, p.phase, p.rem);
        __extension__ using U128 = unsigned __int128;
        const U128 start = U128(p.k0) * L + p.phase;
        const std::uint64_t total = 1000000000ull;
        std::uint64_t done = 0, made = 0, block = 65536;
        while (done < total) {
            const std::uint64_t n = std::min(block, total - done);
            std::uint64_t due = p.consume(n, L, M);
            made += due;
            for (; due > 0; --due) p.step(L, M);
            done += n;
            ASSERT_EQ(made, std::uint64_t(U128(done) * L / M));
            block = block == 65536 ? 65521 : 65536;
        }
        EXPECT_EQ(U128(p.k0) * L + p.phase, start + U128(made) * M);
        EXPECT_EQ(p.rem, std::uint64_t(U128(total) * L % M));
    }
}

TEST(Resampler, RealStreamFollowsThePositionArithmetic) {
    const SampleRate pulled = rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001);
    Resampler r(rate(Aud::keBaseSampleRate44100), pulled, 1, Resampler::keQualityQuick);
    ASSERT_TRUE(Aud::ResamplerKernels::interpolatedPhases(r));
    const std::uint64_t L = r.upFactor(), M = r.downFactor();
    Aud::ResamplerPosition::Position p;
    Aud::ResamplerKernels::positionOf(r, p.k0, p.phase, p.rem);
    const std::vector<float> block = makeNoise(65536, 0.25);
    std::vector<float> out(r.maxOutputFrames(block.size()));
    const std::uint64_t total = 20000000;  // 2 * 10^7 frames through the real filter
    std::uint64_t made = 0;
    for (std::uint64_t done = 0; done < total;) {
        const std::size_t n = std::size_t(std::min<std::uint64_t>(block.size(), total - done));
        const float* ip = block.data();
        float* op = out.data();
        made += r.process(&ip, n, &op, out.size()).produced;
        std::uint64_t due = p.consume(n, L, M);
        for (; due > 0; --due) p.step(L, M);
        done += n;
    }
    EXPECT_EQ(made, total * L / M);
    std::uint64_t k0 = 0, phase = 0, rem = 0;
    Aud::ResamplerKernels::positionOf(r, k0, phase, rem);
    EXPECT_EQ(k0, p.k0);
    EXPECT_EQ(phase, p.phase);
    EXPECT_EQ(rem, p.rem);
}

TEST(Resampler, BlockSizeDoesNotChangeOneBit) {
    const SampleRate pulled = rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001);
    const std::vector<std::vector<float>> in = {makeNoise(60000, 0.7, 1), makeSine(997.0, 44100.0, 60000, 0.8)};
    struct Conv {
        SampleRate from, to;
    };
    const Conv convs[] = {{rate(Aud::keBaseSampleRate44100), rate(Aud::keBaseSampleRate48000)},
                          {rate(Aud::keBaseSampleRate48000), pulled},
                          {rate(Aud::keBaseSampleRate44100), pulled},
                          {rate(Aud::keBaseSampleRate96000), rate(Aud::keBaseSampleRate48000)}};
    for (const Conv& cv : convs) {
        for (Resampler::eQuality q : {Resampler::keQualityQuick, Resampler::keQualityBest}) {
            Resampler ref(cv.from, cv.to, 2, q);
            const auto want = run(ref, in, 60000);
            for (std::size_t block : {1u, 7u, 64u, 1000u, 65536u}) {
                Resampler r(cv.from, cv.to, 2, q);
                const auto got = run(r, in, block);
                EXPECT_TRUE(sameBits(got[0], want[0])) << "block " << block << " quality " << q;
                EXPECT_TRUE(sameBits(got[1], want[1])) << "block " << block << " quality " << q;
            }
        }
    }
}

TEST(Resampler, ChannelsAreIndependent) {
    const std::size_t frames = 40000;
    std::vector<std::vector<float>> in;
    for (unsigned c = 0; c < 32; ++c)
        in.push_back(c % 5 == 4 ? std::vector<float>(frames, 0.0f) : makeNoise(frames, 0.9, c + 1));
    Resampler all(48000u, 44100u, 32, Resampler::keQualityHigh);
    const auto got = run(all, in, 777);
    for (unsigned c = 0; c < 32; ++c) {
        Resampler one(48000u, 44100u, 1, Resampler::keQualityHigh);
        const auto want = run(one, {in[c]}, 5000);
        EXPECT_TRUE(sameBits(got[c], want[0])) << "channel " << c;
        if (c % 5 == 4) {
            for (float v : got[c]) ASSERT_EQ(v, 0.0f) << "silent channel " << c;
        }
    }
}

TEST(Resampler, ImpulseComesOutAtTheReportedLatency) {
    struct Conv {
        unsigned from, to;
    };
    for (const Conv cv :
         {Conv{44100, 48000}, Conv{48000, 44100}, Conv{48000, 96000}, Conv{96000, 48000}, Conv{32000, 48000}}) {
        for (Resampler::eQuality q : {Resampler::keQualityQuick, Resampler::keQualityHigh, Resampler::keQualityBest}) {
            Resampler r(cv.from, cv.to, 1, q);
            const std::size_t k = std::size_t(r.downFactor()) * 20;  // k * L / M is whole
            std::vector<float> in(k + 4000, 0.0f);
            in[k] = 1.0f;
            const auto out = run(r, {in}, 1000)[0];
            const std::size_t expect = std::size_t(r.latency() + std::uint64_t(k) * r.upFactor() / r.downFactor());
            std::size_t peak = 0;
            for (std::size_t i = 0; i < out.size(); ++i)
                if (std::fabs(out[i]) > std::fabs(out[peak])) peak = i;
            EXPECT_EQ(peak, expect) << cv.from << " -> " << cv.to << " quality " << q;
            // A linear-phase filter: symmetric about the peak.
            for (std::size_t j = 1; j < 40; ++j)
                EXPECT_NEAR(out[peak - j], out[peak + j], 1e-7) << cv.from << " -> " << cv.to << " offset " << j;
            // The peak is the low-pass's value at time zero, twice its cutoff in input cycles
            // per frame: between 0.8 and 1 times min(1, L / M) (the cutoff lies between the
            // passband edge and the lower Nyquist frequency).
            const double rho = std::min(1.0, double(r.upFactor()) / r.downFactor());
            EXPECT_GT(out[peak], 0.8 * rho);
            EXPECT_LT(out[peak], rho);
        }
    }
}

TEST(Resampler, NonFiniteInputIsReadAsSilenceAndCounted) {
    std::vector<float> clean = makeNoise(30000, 0.5, 7);
    std::vector<float> dirty = clean;
    for (std::size_t i = 10000; i < 10100; ++i) {
        dirty[i] = i % 3 == 0   ? std::numeric_limits<float>::quiet_NaN()
                   : i % 3 == 1 ? std::numeric_limits<float>::infinity()
                                : -std::numeric_limits<float>::infinity();
        clean[i] = 0.0f;
    }
    Resampler a(44100u, 48000u, 1), b(44100u, 48000u, 1);
    const auto got = run(a, {dirty}, 4096)[0];
    const auto want = run(b, {clean}, 4096)[0];
    EXPECT_EQ(a.nonFiniteInputs(), 100u);
    EXPECT_EQ(b.nonFiniteInputs(), 0u);
    EXPECT_TRUE(sameBits(got, want));
    for (float v : got) ASSERT_TRUE(std::isfinite(v));
}

TEST(Resampler, SmallOutputRoomConsumesOnlyWhatFitsAndResumesExactly) {
    const std::vector<float> in = makeNoise(50000, 0.5, 3);
    Resampler whole(32000u, 48000u, 1, Resampler::keQualityHigh);
    const auto want = run(whole, {in}, 50000)[0];
    Resampler r(32000u, 48000u, 1, Resampler::keQualityHigh);
    std::vector<float> got(want.size() + 8);
    std::size_t done = 0, made = 0, room = 0;
    while (done < in.size()) {
        room = room % 97 + 1;
        const float* ip = in.data() + done;
        float* op = got.data() + made;
        const Resampler::Result res = r.process(&ip, in.size() - done, &op, room);
        ASSERT_LE(res.produced, room);
        done += res.consumed;
        made += res.produced;
        ASSERT_EQ(std::uint64_t(made), std::uint64_t(done) * 3 / 2);
    }
    got.resize(made);
    EXPECT_TRUE(sameBits(got, want));
    // No room at all: nothing is read.
    const float* ip = in.data();
    float* op = got.data();
    const Resampler::Result none = r.process(&ip, 10, &op, 0);
    EXPECT_EQ(none.consumed, 0u);
}

TEST(Resampler, ResetStartsTheStreamAgain) {
    const std::vector<float> in = makeNoise(20000, 0.5, 11);
    Resampler r(48000u, 44100u, 1);
    const auto first = run(r, {in}, 3000)[0];
    r.reset();
    EXPECT_EQ(r.inputFramesConsumed(), 0u);
    EXPECT_EQ(r.outputFramesProduced(), 0u);
    const auto second = run(r, {in}, 5000)[0];
    EXPECT_TRUE(sameBits(first, second));
}

TEST(Resampler, SameRateIsTheInputDelayed) {
    const std::vector<float> in = makeSine(5000.0, 48000.0, 10000, 0.9);  // in the passband
    Resampler r(48000u, 48000u, 1);
    const auto out = resampleAll(r, in);
    ASSERT_EQ(out.size(), in.size());
    double worst = 0.0;
    for (std::size_t i = 2 * r.taps(); i + 2 * r.taps() < in.size(); ++i)
        worst = std::max(worst, std::fabs(double(out[i]) - double(in[i])));
    EXPECT_LT(worst, 1e-6);
}

TEST(Resampler, QualityNames) {
    Resampler::eQuality q = Resampler::keQualityQuick;
    EXPECT_STREQ(Aud::resamplerQualityName(Resampler::keQualityBest), "best");
    EXPECT_STREQ(Aud::resamplerQualityName(Resampler::eQuality(9)), "?");
    EXPECT_TRUE(Aud::resamplerQualityFromName("high", q));
    EXPECT_EQ(q, Resampler::keQualityHigh);
    EXPECT_FALSE(Aud::resamplerQualityFromName("ultra", q));
    EXPECT_FALSE(Aud::resamplerQualityFromName(nullptr, q));
    EXPECT_EQ(q, Resampler::keQualityHigh);
}
