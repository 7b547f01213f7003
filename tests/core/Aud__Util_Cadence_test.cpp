// Samples-per-frame cadences. Plain-rate expectations are worked out by hand from the
// cadence rules (integer division, the fixed NTSC patterns); cadences of rates with a
// factor are checked against a walk transcribed in this file from the rule text, plus
// hand-worked first entries, lengths and cycle sums.
#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

using namespace Aud;
using Seq = std::vector<std::uint32_t>;

namespace {

const std::string kAt = " at ole/AudAtoms/Aud__Util_AudAtoms line ";

Qm::FrameRate fr(int code) { return Qm::FrameRate(code); }

std::vector<unsigned> plainCadence(unsigned hz, int code, std::string* printed = nullptr) {
    std::vector<unsigned> out = {7, 7, 7};  // must be cleared first
    platform::LogCapture capture;
    _GenerateDefinedFrameSeq(hz, out, fr(code));
    const std::string text = capture.assertionText();
    if (printed) *printed = text;
    else EXPECT_EQ(text, "") << hz << " Hz, code " << code;
    return out;
}

Seq frames(const SampleRate& rate, int code, std::string* printed = nullptr) {
    platform::LogCapture capture;
    Seq out = Util::getSMPTE_FrameSequence(rate, fr(code));
    const std::string text = capture.assertionText();
    if (printed) *printed = text;
    else EXPECT_EQ(text, "") << rate.word() << ", code " << code;
    return out;
}

std::uint64_t sum(const Seq& s) { return std::accumulate(s.begin(), s.end(), std::uint64_t(0)); }

// 29.97 fps at 44.1 kHz: frame n of 100 has 1472 samples when n is odd and not 23, 47
// or 71, else 1471: 47 x 1472 + 53 x 1471 = 147147.
const std::vector<unsigned> kNtsc44100 = {
    1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  //  1-10
    1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 11-20
    1472, 1471, 1471, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 21-30 (23)
    1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 31-40
    1472, 1471, 1472, 1471, 1472, 1471, 1471, 1471, 1472, 1471,  // 41-50 (47)
    1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 51-60
    1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 61-70
    1471, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 71-80 (71)
    1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 81-90
    1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471, 1472, 1471,  // 91-100
};
// 29.97 fps at 32 kHz: 1067 at frames 2, 6, 10, 14, else 1068: 4 x 1067 + 11 x 1068 = 16016.
const std::vector<unsigned> kNtsc32000 = {1068, 1067, 1068, 1068, 1068, 1067, 1068, 1068,
                                          1068, 1067, 1068, 1068, 1068, 1067, 1068};

// The scaling walk, transcribed from the rule: walk the base cadence L cyclically with
// e = 0, In = Out = 0; stop before an entry when e == 0, at the first entry, Out != 0;
// count = trunc((n + e) * s); Out += count; e = In * s - Out; once 108000 entries are
// out and n is L's last entry, count and Out get one more and e = 0.
Seq referenceWalk(const std::vector<unsigned>& L, double s) {
    Seq out;
    if (L.empty()) return out;
    double e = 0.0;
    long long in = 0, total = 0;
    for (std::size_t i = 0;; i = (i + 1) % L.size()) {
        if (e == 0.0 && i == 0 && total != 0) break;
        in += L[i];
        long long count = static_cast<long long>((L[i] + e) * s);
        total += count;
        e = double(in) * s - double(total);
        if (out.size() >= 108000 && i + 1 == L.size()) {
            ++count;
            ++total;
            e = 0.0;
        }
        out.push_back(std::uint32_t(count));
    }
    return out;
}

const SampleRate k32(keBaseSampleRate32000), k44(keBaseSampleRate44100), k48(keBaseSampleRate48000),
    k96(keBaseSampleRate96000);
const SampleRate k32ntsc(keBaseSampleRate32000, keFactor1000_1001), k44ntsc(keBaseSampleRate44100, keFactor1000_1001),
    k48ntsc(keBaseSampleRate48000, keFactor1000_1001), k96ntsc(keBaseSampleRate96000, keFactor1000_1001);

}  // namespace

// ---- the cadence of a plain base rate --------------------------------------------

TEST(GenerateDefinedFrameSeq, WholeFrameRatesDivideTheRate) {
    struct Case {
        unsigned hz;
        std::vector<unsigned> perCode;
    };  // codes 1, 3, 4, 6, 8, 9
    const Case cases[] = {
        {32000, {1333, 1280, 1066, 666, 640, 533}},  // 32000/24 = 1333.3 -> 1333 ...
        {44100, {1837, 1764, 1470, 918, 882, 735}},  // 44100/24 = 1837.5 -> 1837, /48 = 918.75 -> 918
        {48000, {2000, 1920, 1600, 1000, 960, 800}},
        {96000, {4000, 3840, 3200, 2000, 1920, 1600}},
        {0, {0, 0, 0, 0, 0, 0}},
    };
    const int codes[] = {1, 3, 4, 6, 8, 9};
    for (const Case& c : cases)
        for (int k = 0; k < 6; ++k)
            EXPECT_EQ(plainCadence(c.hz, codes[k]), std::vector<unsigned>{c.perCode[k]})
                << c.hz << " code " << codes[k];
}

TEST(GenerateDefinedFrameSeq, Film23976) {
    EXPECT_EQ(plainCadence(44100, 2), std::vector<unsigned>{1839});
    EXPECT_EQ(plainCadence(48000, 2), std::vector<unsigned>{2002});  // 48000 x 1001 / 24000
    for (unsigned hz : {32000u, 96000u, 22050u}) {
        std::string printed;
        EXPECT_TRUE(plainCadence(hz, 2, &printed).empty());
        EXPECT_EQ(printed, "assertion failed false" + kAt + "86\n");
    }
}

TEST(GenerateDefinedFrameSeq, Ntsc2997) {
    EXPECT_EQ(plainCadence(44100, 5), kNtsc44100);
    EXPECT_EQ(plainCadence(48000, 5), (std::vector<unsigned>{1602, 1601, 1602, 1601, 1602}));
    EXPECT_EQ(plainCadence(32000, 5), kNtsc32000);
    // Other rates: nothing, and no message.
    EXPECT_TRUE(plainCadence(96000, 5).empty());
    EXPECT_TRUE(plainCadence(22050, 5).empty());
}

TEST(GenerateDefinedFrameSeq, Film47952) {
    EXPECT_EQ(plainCadence(48000, 7), std::vector<unsigned>{1001});
    std::string printed;
    EXPECT_TRUE(plainCadence(44100, 7, &printed).empty());
    EXPECT_EQ(printed, "assertion failed false" + kAt + "97\n");
}

TEST(GenerateDefinedFrameSeq, Ntsc5994) {
    EXPECT_EQ(plainCadence(48000, 10), (std::vector<unsigned>{800, 801, 801, 801, 801}));
    std::string printed;
    EXPECT_TRUE(plainCadence(44100, 10, &printed).empty());
    EXPECT_EQ(printed, "assertion failed rate == 48000" + kAt + "113\n");
}

TEST(GenerateDefinedFrameSeq, OtherFrameRatesGiveOneRoundedEntryAndAnAssertion) {
    struct Case {
        unsigned hz;
        int code;
        unsigned expected;
    };
    const Case cases[] = {
        {48000, 11, 4000},  // 12 fps
        {44100, 16, 5513},  // 8 fps: 5512.5 rounds away from zero
        {44100, 26, 2943},  // 15000/1001 fps: 2942.94
        {48000, 34, 2880},  // 50/3 fps
        {48000, 47, 200},   // 240000/1001 fps: 200.2
        {48000, 35, 500},   // 96 fps
    };
    for (const Case& c : cases) {
        std::string printed;
        EXPECT_EQ(plainCadence(c.hz, c.code, &printed), std::vector<unsigned>{c.expected}) << c.code;
        EXPECT_EQ(printed, "assertion failed false" + kAt + "172\n") << c.code;
    }
}

TEST(GenerateDefinedFrameSeq, ZeroFramesPerSecondGivesNothingAndTheAssertion) {
    for (int code : {0, 48, 1000, -1}) {
        std::string printed;
        EXPECT_TRUE(plainCadence(48000, code, &printed).empty()) << code;
        EXPECT_EQ(printed, "assertion failed false" + kAt + "172\n") << code;
    }
}

// ---- frame sequences of plain rates: codes 1 to 10 at 32, 44.1, 48 and 96 kHz ---------

TEST(FrameSequence, PlainRatesAtEveryFrameRateCode) {
    struct Case {
        SampleRate rate;
        int code;
        Seq expected;
        std::string printed;
    };
    const std::string none;
    const std::string line86 = "assertion failed false" + kAt + "86\n";
    const std::string line97 = "assertion failed false" + kAt + "97\n";
    const std::string line113 = "assertion failed rate == 48000" + kAt + "113\n";
    const Seq ntsc44(kNtsc44100.begin(), kNtsc44100.end()), ntsc32(kNtsc32000.begin(), kNtsc32000.end());
    const Case cases[] = {
        {k32, 1, {1333}, none},
        {k32, 2, {}, line86},
        {k32, 3, {1280}, none},
        {k32, 4, {1066}, none},
        {k32, 5, ntsc32, none},
        {k32, 6, {666}, none},
        {k32, 7, {}, line97},
        {k32, 8, {640}, none},
        {k32, 9, {533}, none},
        {k32, 10, {}, line113},
        {k44, 1, {1837}, none},
        {k44, 2, {1839}, none},
        {k44, 3, {1764}, none},
        {k44, 4, {1470}, none},
        {k44, 5, ntsc44, none},
        {k44, 6, {918}, none},
        {k44, 7, {}, line97},
        {k44, 8, {882}, none},
        {k44, 9, {735}, none},
        {k44, 10, {}, line113},
        {k48, 1, {2000}, none},
        {k48, 2, {2002}, none},
        {k48, 3, {1920}, none},
        {k48, 4, {1600}, none},
        {k48, 5, {1602, 1601, 1602, 1601, 1602}, none},
        {k48, 6, {1000}, none},
        {k48, 7, {1001}, none},
        {k48, 8, {960}, none},
        {k48, 9, {800}, none},
        {k48, 10, {800, 801, 801, 801, 801}, none},
        // 96 kHz is the 48 kHz cadence scaled by 2: every count doubles exactly, e stays
        // 0 and the walk ends after one cycle of the base cadence.
        {k96, 1, {4000}, none},
        {k96, 2, {4004}, none},
        {k96, 3, {3840}, none},
        {k96, 4, {3200}, none},
        {k96, 5, {3204, 3202, 3204, 3202, 3204}, none},
        {k96, 6, {2000}, none},
        {k96, 7, {2002}, none},
        {k96, 8, {1920}, none},
        {k96, 9, {1600}, none},
        {k96, 10, {1600, 1602, 1602, 1602, 1602}, none},
    };
    for (const Case& c : cases) {
        std::string printed;
        EXPECT_EQ(frames(c.rate, c.code, &printed), c.expected) << c.rate.word() << " code " << c.code;
        EXPECT_EQ(printed, c.printed) << c.rate.word() << " code " << c.code;
    }
}

TEST(FrameSequence, PlainCyclesSumToTheExactSampleCount) {
    // Where the rates divide evenly: samples = frames x hz / fps, with 29.97 = 30000/1001.
    struct Case {
        SampleRate rate;
        int code;
        std::size_t frames;
        std::uint64_t samples;
    };
    const Case cases[] = {
        {k48, 5, 5, 8008},      // 5 x 48000 x 1001 / 30000
        {k44, 5, 100, 147147},  // 100 x 44100 x 1001 / 30000
        {k32, 5, 15, 16016},    // 15 x 32000 x 1001 / 30000
        {k48, 10, 5, 4004},     // 5 x 48000 x 1001 / 60000
        {k48, 2, 1, 2002},      // 48000 x 1001 / 24000
        {k48, 7, 1, 1001},      // 48000 x 1001 / 48000
        {k96, 5, 5, 16016},    {k96, 10, 5, 8008}, {k96, 2, 1, 4004}, {k96, 7, 1, 2002}, {k44, 3, 1, 1764},
        {k44, 4, 1, 1470},     {k44, 9, 1, 735},   {k32, 3, 1, 1280}, {k48, 1, 1, 2000},
    };
    for (const Case& c : cases) {
        const Seq s = frames(c.rate, c.code);
        EXPECT_EQ(s.size(), c.frames) << c.rate.word() << " code " << c.code;
        EXPECT_EQ(sum(s), c.samples) << c.rate.word() << " code " << c.code;
    }
}

// ---- frame sequences of rates divided by 1.001 --------------------------------------

TEST(FrameSequence, Rate48kDividedBy1001At2997IsTheSingleEntry1600) {
    EXPECT_EQ(frames(k48ntsc, 5), Seq{1600});
    // Only that exact word: 48 kHz with both flags of the 1.001 pair is another rate.
    SampleRate both = k48ntsc;
    both.addFactor(keFactor1001_1000);
    EXPECT_NE(frames(both, 5), Seq{1600});
}

TEST(FrameSequence, RatesDividedBy1001MatchTheWalkAtEveryFrameRateCode) {
    const SampleRate bases[] = {k32, k44, k48, k96};
    const SampleRate ntsc[] = {k32ntsc, k44ntsc, k48ntsc, k96ntsc};
    const double multiplier[] = {1.0, 1.0, 1.0, 2.0};
    const unsigned baseHz[] = {32000, 44100, 48000, 48000};
    for (int b = 0; b < 4; ++b) {
        for (int code = 1; code <= 10; ++code) {
            if (b == 2 && code == 5) continue;  // the special case above
            std::string expectedPrinted;
            const std::vector<unsigned> L = plainCadence(baseHz[b], code, &expectedPrinted);
            const Seq expected = referenceWalk(L, multiplier[b] * (1.0 / 1.001));
            std::string printed;
            const Seq got = frames(ntsc[b], code, &printed);
            EXPECT_EQ(printed, expectedPrinted) << bases[b].word() << " code " << code;
            ASSERT_EQ(got.size(), expected.size()) << bases[b].word() << " code " << code;
            EXPECT_TRUE(got == expected) << bases[b].word() << " code " << code;
            // No cadence of these closes with e exactly 0 before the cap: each runs to the
            // first cycle boundary at or after 108001 entries.
            if (!L.empty()) {
                const std::size_t cycles = (108001 + L.size() - 1) / L.size();
                EXPECT_EQ(got.size(), cycles * L.size()) << bases[b].word() << " code " << code;
            }
        }
    }
}

TEST(FrameSequence, FirstEntriesOf48kDividedBy1001At30WorkedByHand) {
    // s = 1/1.001, L = {1600}: 1600 s = 1598.40 -> 1598, e = 0.40; (1600.40) s = 1598.80
    // -> 1598, e = 3200 s - 3196 = 0.80; (1600.80) s = 1599.20 -> 1599, e = 0.20.
    const Seq s = frames(k48ntsc, 4);
    ASSERT_EQ(s.size(), 108001u);
    EXPECT_EQ(s[0], 1598u);
    EXPECT_EQ(s[1], 1598u);
    EXPECT_EQ(s[2], 1599u);
    // 108001 frames hold 108001 x 1600 / 1.001 = 172628971.03 samples; the walk keeps
    // 0 <= e < 1.001 before the forced last sample, so the sum is 172628971 + 1.
    EXPECT_EQ(sum(s), 172628972u);
}

TEST(FrameSequence, EvenlyDividingRatesDividedBy1001SumToTheirSamplesPlusTheClosingOne) {
    // Samples per frame of these are whole (hz / 1.001 over fps / 1.001, or 29.97 at
    // 44.1 and 32 kHz). The walk's sum is then exact, or one more where the walk had no
    // deficit when the cap forced the closing sample.
    struct Case {
        SampleRate rate;
        int code;
        std::size_t frames;
        std::uint64_t samples;
    };
    const Case cases[] = {
        {k48ntsc, 10, 108005, 108005ull * 800},      // exact
        {k44ntsc, 5, 108100, 108100ull * 1470},      // 44100 / 30: exact
        {k32ntsc, 5, 108015, 108015ull * 3200 / 3},  // 32000 / 30: exact
        {k48ntsc, 2, 108001, 108001ull * 2000 + 1},  // + the closing sample
        {k48ntsc, 7, 108001, 108001ull * 1000 + 1}, {k96ntsc, 2, 108001, 108001ull * 4000 + 1},
        {k96ntsc, 5, 108005, 108005ull * 3200 + 1}, {k96ntsc, 10, 108005, 108005ull * 1600 + 1},
    };
    for (const Case& c : cases) {
        const Seq s = frames(c.rate, c.code);
        EXPECT_EQ(s.size(), c.frames) << c.rate.word() << " code " << c.code;
        EXPECT_EQ(sum(s), c.samples) << c.rate.word() << " code " << c.code;
    }
}

TEST(FrameSequence, EmptyBaseCadenceGivesAnEmptySequence) {
    std::string printed;
    EXPECT_TRUE(frames(k44ntsc, 10, &printed).empty());
    EXPECT_EQ(printed, "assertion failed rate == 48000" + kAt + "113\n");
    EXPECT_TRUE(frames(k44, 10, &printed).empty());
    EXPECT_EQ(printed, "assertion failed rate == 48000" + kAt + "113\n");
    EXPECT_TRUE(frames(SampleRate(keBaseSampleRate44100, keFactor24_25), 7, &printed).empty());
    EXPECT_EQ(printed, "assertion failed false" + kAt + "97\n");
}

TEST(FrameSequence, ZeroFramesPerSecondGivesAnEmptySequence) {
    std::string printed;
    EXPECT_TRUE(frames(k48ntsc, 0, &printed).empty());
    EXPECT_EQ(printed, "assertion failed false" + kAt + "172\n");
    EXPECT_TRUE(frames(k48, 0, &printed).empty());
    EXPECT_EQ(printed, "assertion failed false" + kAt + "172\n");
}

TEST(FrameSequence, HostDefinedFrameRateGivesOneEntryAndTheAssertion) {
    std::string printed;
    EXPECT_EQ(frames(k48, 11, &printed), Seq{4000});  // 48000 / 12 fps
    EXPECT_EQ(printed, "assertion failed false" + kAt + "172\n");
}

// ---- folded base rates ---------------------------------------------------------------

TEST(FrameSequence, Rate96kAt25IsTheSingleEntry3840) {
    // 48000 / 25 = 1920, doubled; e is 0 at the end of the first cycle.
    EXPECT_EQ(frames(k96, 3), Seq{3840});
}

TEST(FrameSequence, Rates22050And11025FoldOnto44100) {
    const SampleRate k22(keBaseSampleRate22050), k11(keBaseSampleRate11025);
    EXPECT_EQ(frames(k22, 3), Seq{882});  // 1764 x 0.5
    EXPECT_EQ(frames(k22, 4), Seq{735});  // 1470 x 0.5
    EXPECT_EQ(frames(k22, 8), Seq{441});  // 882 x 0.5
    EXPECT_EQ(frames(k11, 3), Seq{441});  // 1764 x 0.25
    // 44100 / 24 = 1837 halves to 918.5: the walk carries the half sample.
    const Seq film = frames(k22, 1);
    EXPECT_EQ(film, referenceWalk({1837}, 0.5));
    ASSERT_GE(film.size(), 3u);
    EXPECT_EQ(film[0], 918u);  // 918.5 -> 918, e = 0.5
    EXPECT_EQ(film[1], 918u);  // (1837.5) x 0.5 = 918.75 -> 918, e = 1837 - 1836 = 1.0
    EXPECT_EQ(film[2], 919u);  // (1838) x 0.5 = 919, e = 2755.5 - 2755 = 0.5
    std::string printed;
    EXPECT_TRUE(frames(k22, 7, &printed).empty());  // 44.1 kHz has no 47.952 cadence
    EXPECT_EQ(printed, "assertion failed false" + kAt + "97\n");
}

TEST(FrameSequence, ScaleAbove2IsDefinedAndEnds) {
    // 96 kHz x 1.001 at 25 fps: s = 2.002 and the error returns to exactly 0 after 275
    // frames, which hold 275 x 96096 / 25 = 1057056 samples.
    const SampleRate up(keBaseSampleRate96000, keFactor1001_1000);
    const Seq s25 = frames(up, 3);
    EXPECT_EQ(s25.size(), 275u);
    EXPECT_EQ(sum(s25), 1057056u);

    // At 29.97 fps the error grows by a factor of about 1.002 a frame: the walk is
    // unstable, saturates instead of overflowing, and the cap still ends it.
    // Hand-worked start: 1602 x 2.002 = 3207.20 -> 3207, e = 0.204; 1601.204 x 2.002 =
    // 3205.61 -> 3205, e = 0.406; 1602.406 x 2.002 = 3208.02 -> 3208, e = -0.390;
    // 1600.610 x 2.002 = 3204.4 -> 3204.
    const Seq s2997 = frames(up, 5);
    ASSERT_EQ(s2997.size(), 108005u);
    EXPECT_EQ((Seq(s2997.begin(), s2997.begin() + 4)), (Seq{3207, 3205, 3208, 3204}));
}

// ---- base rates without a cadence ----------------------------------------------------

TEST(FrameSequence, UnsupportedBaseIsReportedAndCarriesOn) {
    platform::LogCapture capture;
    EXPECT_EQ(frames(SampleRate(keBaseSampleRate16000), 3), Seq{640});  // 16000 / 25
    EXPECT_EQ(frames(SampleRate(keBaseSampleRate24000), 1), Seq{1000});
    EXPECT_EQ(frames(SampleRate(), 3), Seq{0});  // no rate: 0 Hz
    EXPECT_EQ(capture.splats(), (std::vector<std::string>(3, "Not implemented for this rate!")));
    capture.clear();
    EXPECT_EQ(frames(k48, 3), Seq{1920});
    EXPECT_TRUE(capture.splats().empty());
}

TEST(FrameSequence, ProjectRelativeRateUsesTheProjectBaseAfterTheReport) {
    SampleRate* project = Private::getProjectHardwareSampleRateNamedObject();
    ASSERT_NE(project, nullptr);
    const SampleRate saved = *project;
    *project = k48;
    platform::LogCapture capture;
    EXPECT_EQ(frames(SampleRate(keBaseSampleRateProject), 3), Seq{1920});
    EXPECT_EQ(capture.splats(), std::vector<std::string>{"Not implemented for this rate!"});
    *project = saved;
}

// ---- field sequences -----------------------------------------------------------------

TEST(FieldSequence, EachFrameSplitsSmallerHalfFirst) {
    EXPECT_EQ(Util::getSMPTE_FieldSequence(k48, fr(5)), (Seq{801, 801, 800, 801, 801, 801, 800, 801, 801, 801}));
    EXPECT_EQ(Util::getSMPTE_FieldSequence(k48, fr(3)), (Seq{960, 960}));
    EXPECT_EQ(Util::getSMPTE_FieldSequence(k48ntsc, fr(5)), (Seq{800, 800}));
}

TEST(FieldSequence, FieldsOf1601Are800Then801) {
    // 48 kHz at 29.97: the second frame holds 1601 samples.
    const Seq f = Util::getSMPTE_FieldSequence(k48, fr(5));
    ASSERT_EQ(f.size(), 10u);
    EXPECT_EQ(f[2], 800u);
    EXPECT_EQ(f[3], 801u);
}

TEST(FieldSequence, EmptyFramesGiveEmptyFields) { EXPECT_TRUE(Util::getSMPTE_FieldSequence(k44, fr(10)).empty()); }

TEST(FieldSequence, IsTwiceAsLongAndSumsToTheFrames) {
    for (const SampleRate& r : {k44, k48ntsc, k32ntsc}) {
        for (int code : {1, 4, 5}) {
            const Seq f = frames(r, code);
            const Seq h = Util::getSMPTE_FieldSequence(r, fr(code));
            ASSERT_EQ(h.size(), 2 * f.size());
            for (std::size_t i = 0; i < f.size(); ++i) {
                EXPECT_EQ(h[2 * i], f[i] / 2);
                EXPECT_EQ(h[2 * i] + h[2 * i + 1], f[i]);
            }
        }
    }
}
