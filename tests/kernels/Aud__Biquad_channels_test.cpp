// Biquad::processChannels against its scalar reference, processSample called section by
// section, sample by sample, channel by channel: every output sample and every section's
// memory afterwards must be bit-identical, for any number of channels (lane groups and
// the channels left over), cascade lengths across the pass size, block lengths across
// the four-sample steps, inactive sections, successive blocks and special values.
#include "AudAtoms/kernels/Aud__Biquad.h"
#include "platform/FloatingPointMode.h"
#include "tests/support/BitCompare.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace Aud::Filter {
// Reads a section's filter memory, which no public call returns whole.
struct BiquadTestAccess {
    static std::vector<float> memory(const Biquad& b) { return {b.x1_, b.x2_, b.y1_, b.y2_}; }
};
}  // namespace Aud::Filter

using Aud::Filter::Biquad;
using Aud::Filter::BiquadTestAccess;
using Shape = Biquad::ShapeDescriptor;
using audatoms::test::bitsOf;

namespace {

// A designed section of a random type, with memory from a random prelude.
Biquad randomSection(std::mt19937& rng) {
    std::uniform_int_distribution<int> type(1, 9);
    std::uniform_real_distribution<float> logF(std::log(20.0f), std::log(20000.0f));
    std::uniform_real_distribution<float> q(0.3f, 4.0f);
    std::uniform_real_distribution<double> gain(-15.0, 15.0);
    const auto t = static_cast<Biquad::eFilterType>(type(rng));
    const bool shelf = t == Biquad::kLowShelf || t == Biquad::kHighShelf;
    const Shape shape = shelf ? Shape{Shape::kShelfSlope, 1.0f} : Shape{Shape::kQ, q(rng)};
    Biquad b(t, std::exp(logF(rng)), 48000.0f, shape, gain(rng), true);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < 7; ++i) b.processSample(u(rng));
    return b;
}

struct Case {
    std::vector<Biquad> sections;          // channels * perChannel, channel-major
    std::vector<std::vector<float>> data;  // one buffer per channel
};

Case randomCase(std::mt19937& rng, unsigned channels, unsigned perChannel, unsigned n) {
    Case c;
    for (unsigned i = 0; i < channels * perChannel; ++i) c.sections.push_back(randomSection(rng));
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    c.data.assign(channels, std::vector<float>(n));
    for (auto& ch : c.data)
        for (float& v : ch) v = u(rng);
    return c;
}

// The reference: processSample, section by section, sample by sample.
void runScalar(Case& c, unsigned perChannel) {
    for (std::size_t ch = 0; ch < c.data.size(); ++ch)
        for (float& sample : c.data[ch]) {
            float v = sample;
            for (unsigned k = 0; k < perChannel; ++k) v = c.sections[ch * perChannel + k].processSample(v);
            sample = v;
        }
}

void runLanes(Case& c, unsigned perChannel) {
    std::vector<Biquad*> sections;
    for (Biquad& b : c.sections) sections.push_back(&b);
    std::vector<float*> x;
    for (auto& ch : c.data) x.push_back(ch.data());
    const unsigned n = c.data.empty() ? 0 : unsigned(c.data[0].size());
    Biquad::processChannels(sections.data(), perChannel, x.data(), unsigned(c.data.size()), n);
}

void expectIdentical(const Case& lanes, const Case& scalar) {
    ASSERT_EQ(lanes.data.size(), scalar.data.size());
    for (std::size_t ch = 0; ch < lanes.data.size(); ++ch)
        for (std::size_t i = 0; i < lanes.data[ch].size(); ++i)
            ASSERT_EQ(bitsOf(lanes.data[ch][i]), bitsOf(scalar.data[ch][i]))
                << "channel " << ch << ", sample " << i << ": " << lanes.data[ch][i] << " vs " << scalar.data[ch][i];
    for (std::size_t s = 0; s < lanes.sections.size(); ++s) {
        const std::vector<float> a = BiquadTestAccess::memory(lanes.sections[s]);
        const std::vector<float> b = BiquadTestAccess::memory(scalar.sections[s]);
        for (int m = 0; m < 4; ++m) ASSERT_EQ(bitsOf(a[m]), bitsOf(b[m])) << "section " << s << ", memory word " << m;
    }
}

}  // namespace

TEST(BiquadChannels, EveryShapeOfCallMatchesProcessSampleBitForBit) {
    std::mt19937 rng(7);
    int cases = 0;
    for (unsigned channels = 1; channels <= 9; ++channels)
        for (unsigned perChannel = 1; perChannel <= 9; ++perChannel)
            for (unsigned n : {1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 64u, 257u}) {
                SCOPED_TRACE(std::to_string(channels) + " channels, " + std::to_string(perChannel) +
                             " sections each, " + std::to_string(n) + " samples");
                Case lanes = randomCase(rng, channels, perChannel, n);
                Case scalar = lanes;
                runScalar(scalar, perChannel);
                runLanes(lanes, perChannel);
                expectIdentical(lanes, scalar);
                ++cases;
            }
    EXPECT_EQ(cases, 9 * 9 * 10);
}

TEST(BiquadChannels, TheLanesChangeTheSamples) {
    // A guard on the comparison above: filtering does change the signal.
    std::mt19937 rng(3);
    Case c = randomCase(rng, 4, 2, 64);
    const Case before = c;
    runLanes(c, 2);
    int changed = 0;
    for (std::size_t ch = 0; ch < 4; ++ch)
        for (std::size_t i = 0; i < 64; ++i) changed += bitsOf(c.data[ch][i]) != bitsOf(before.data[ch][i]);
    EXPECT_GT(changed, 200);
}

TEST(BiquadChannels, ChannelsWithAnInactiveSectionRunOneByOneAndTheOthersStillInLanes) {
    std::mt19937 rng(11);
    for (unsigned inactive : {0u, 2u, 5u}) {
        SCOPED_TRACE("inactive channel " + std::to_string(inactive));
        Case lanes = randomCase(rng, 6, 3, 101);
        lanes.sections[inactive * 3 + 1].setActive(false);
        Case scalar = lanes;
        runScalar(scalar, 3);
        runLanes(lanes, 3);
        expectIdentical(lanes, scalar);
        // The inactive section passed its input through and kept it as y1.
        const std::vector<float> m = BiquadTestAccess::memory(lanes.sections[inactive * 3 + 1]);
        EXPECT_EQ(bitsOf(m[2]), bitsOf(lanes.sections[inactive * 3].getLastProcessSampleResult()));
    }
}

TEST(BiquadChannels, SuccessiveBlocksContinueTheRecursion) {
    std::mt19937 rng(5);
    Case whole = randomCase(rng, 8, 3, 1000);
    Case blocks = whole;
    runScalar(whole, 3);
    std::vector<Biquad*> sections;
    for (Biquad& b : blocks.sections) sections.push_back(&b);
    for (unsigned start = 0, len = 1; start < 1000; start += len, len = len % 13 + 1) {
        const unsigned n = std::min(len, 1000u - start);
        std::vector<float*> x;
        for (auto& ch : blocks.data) x.push_back(ch.data() + start);
        Biquad::processChannels(sections.data(), 3, x.data(), 8, n);
    }
    expectIdentical(blocks, whole);
}

TEST(BiquadChannels, SpecialValuesGoThroughTheLanesAsThroughProcessSample) {
    const float specials[] = {0.0f,
                              -0.0f,
                              1e-40f,
                              -1e-42f,
                              std::numeric_limits<float>::min(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN(),
                              3.0e38f,
                              -3.0e38f,
                              1.0f,
                              -1.0f};
    for (bool flush : {false, true}) {
        SCOPED_TRACE(flush ? "flush-to-zero" : "gradual underflow");
        std::mt19937 rng(13);
        Case lanes = randomCase(rng, 8, 2, 48);
        for (std::size_t ch = 0; ch < 8; ++ch)
            for (std::size_t i = 0; i < 48; ++i)
                if ((i + ch) % 3 == 0) lanes.data[ch][i] = specials[(i + 5 * ch) % 12];
        Case scalar = lanes;
        if (flush) {
            platform::ScopedFlushDenormals guard;
            runScalar(scalar, 2);
            runLanes(lanes, 2);
        } else {
            runScalar(scalar, 2);
            runLanes(lanes, 2);
        }
        expectIdentical(lanes, scalar);
    }
}

TEST(BiquadChannels, NothingToDoLeavesEverythingAsItWas) {
    std::mt19937 rng(17);
    Case c = randomCase(rng, 4, 2, 16);
    const Case before = c;
    std::vector<Biquad*> sections;
    for (Biquad& b : c.sections) sections.push_back(&b);
    std::vector<float*> x;
    for (auto& ch : c.data) x.push_back(ch.data());
    Biquad::processChannels(sections.data(), 2, x.data(), 4, 0);   // no samples
    Biquad::processChannels(sections.data(), 0, x.data(), 4, 16);  // no sections
    Biquad::processChannels(sections.data(), 2, x.data(), 0, 16);  // no channels
    Biquad::processChannels(nullptr, 2, x.data(), 4, 16);
    Biquad::processChannels(sections.data(), 2, nullptr, 4, 16);
    expectIdentical(c, before);
}
