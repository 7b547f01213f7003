#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

using namespace Aud;

namespace {

const std::string kLine174 = "assertion failed false at ole/AudAtoms/Aud__SampleRate line 174\n";

// The eight flags in the order of the word: pair by pair, first flag then its inverse.
const eFactor kFlags[8] = {keFactor24_25, keFactor25_24, keFactor1001_1000, keFactor1000_1001,
                           keFactor30_24, keFactor24_30, keFactor2,         keFactor1_2};

// The 81 canonical factors: for each pair none, its first flag or its second flag.
std::vector<eFactor> canonicalFactors() {
    std::vector<eFactor> out;
    for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b)
            for (int c = 0; c < 3; ++c)
                for (int d = 0; d < 3; ++d) {
                    unsigned f = 0;
                    const int choice[4] = {a, b, c, d};
                    for (int pair = 0; pair < 4; ++pair)
                        if (choice[pair]) f |= unsigned(kFlags[2 * pair + choice[pair] - 1]);
                    out.push_back(eFactor(f));
                }
    return out;
}

// The multiplier written out step by step from the documented order of operations.
double expectedMultiplier(unsigned f) {
    auto on = [f](eFactor x, eFactor y) { return (f & x) && !(f & y); };
    double m = 1.0;
    if (on(keFactor24_25, keFactor25_24)) m = 0.96;
    if (on(keFactor25_24, keFactor24_25)) m = m * 1.0416666666666667;
    if (on(keFactor1001_1000, keFactor1000_1001)) m = m * 1.001;
    if (on(keFactor1000_1001, keFactor1001_1000)) m = m / 1.001;
    if (on(keFactor30_24, keFactor24_30)) m = m * 1.25;
    if (on(keFactor24_30, keFactor30_24)) m = m * 0.8;
    if (on(keFactor1_2, keFactor2)) m = m * 0.5;
    if (on(keFactor2, keFactor1_2)) m = m + m;
    return m;
}

// Every test leaves the process-wide project rate all-zero and the service available.
class SampleRateTest : public ::testing::Test {
protected:
    void SetUp() override { resetProject(); }
    void TearDown() override { resetProject(); }
    static void resetProject() {
        Qm::NamedObjectsNamespace::global().setAvailable(true);
        *Private::getProjectHardwareSampleRateNamedObject() = SampleRate();
    }
    static void setProject(SampleRate r) { *Private::getProjectHardwareSampleRateNamedObject() = r; }
};

}  // namespace

TEST_F(SampleRateTest, DefaultIsInvalidWithZeroRates) {
    const SampleRate r;
    EXPECT_EQ(r.word(), 0u);
    EXPECT_FALSE(r.valid());
    EXPECT_EQ(r.baseSampleRate(), keBaseSampleRateInvalid);
    EXPECT_EQ(r.factor(), keFactorNone);
    EXPECT_EQ(r.calcBaseSampleRate(), 0u);
    EXPECT_EQ(r.calcCombinedSampleRate(), 0.0);
    EXPECT_EQ(sizeof(SampleRate), 4u);
}

TEST_F(SampleRateTest, FortyEightKilohertzPulledDown) {
    const SampleRate pulled(keBaseSampleRate48000, keFactor1000_1001);
    EXPECT_EQ(pulled.word(), 264u);  // 8 | 0x100
    EXPECT_EQ(pulled.calcCombinedSampleRate(), 48000.0 / 1.001);
    EXPECT_EQ(pulled.calcCombinedSampleRate(), 47952.04795204796);
    const SampleRate plain(keBaseSampleRate48000, keFactorNone);
    EXPECT_EQ(plain.word(), 8u);
    EXPECT_FALSE(pulled == plain);
    EXPECT_TRUE(pulled != plain);
}

TEST_F(SampleRateTest, BothFlagsOfAPairCancelButStayInTheWord) {
    SampleRate r(keBaseSampleRate48000, keFactor1000_1001);
    r.addFactor(keFactor1001_1000);
    EXPECT_EQ(r.word(), 392u);  // 8 | 0x80 | 0x100
    EXPECT_EQ(r.calcCombinedSampleRate(), 48000.0);
    EXPECT_FALSE(r == SampleRate(keBaseSampleRate48000, keFactorNone));
    r.removeFactor(keFactor1000_1001);
    EXPECT_EQ(r.word(), 136u);  // 8 | 0x80
    double m = 1.0;
    m = m * 1.001;
    EXPECT_EQ(r.calcCombinedSampleRate(), 48000.0 * m);
    EXPECT_EQ(r.calcCombinedSampleRate(), 48047.99999999999);
}

TEST_F(SampleRateTest, FortyFourOneAtFilmToPalSpeedIsExact) {
    EXPECT_EQ(SampleRate(keBaseSampleRate44100, keFactor24_25).calcCombinedSampleRate(), 42336.0);
    EXPECT_EQ(SampleRate(keBaseSampleRate44100, keFactor24_25).calcCombinedSampleRate(), 44100.0 * 0.96);
}

TEST_F(SampleRateTest, ConstructorSetsBaseThenFactor) {
    const SampleRate r(keBaseSampleRate44100, keFactor24_25 | keFactor2);
    EXPECT_EQ(r.word(), 2087u);  // 7 | 0x20 | 0x800
    EXPECT_EQ(r.baseSampleRate(), keBaseSampleRate44100);
    EXPECT_EQ(r.factor(), keFactor24_25 | keFactor2);
    EXPECT_EQ(SampleRate(keBaseSampleRate96000).word(), 9u);
}

TEST_F(SampleRateTest, SettersReplaceTheirFieldWithoutMasking) {
    SampleRate r(keBaseSampleRate48000, keFactor2);
    r.baseSampleRate(keBaseSampleRate11025);
    EXPECT_EQ(r.word(), 0x800u | 2u);
    r.factor(keFactor1_2 | keFactor30_24);
    EXPECT_EQ(r.word(), 0x1000u | 0x200u | 2u);
    // A base code wider than five bits spills into the factor bits.
    r.baseSampleRate(eBaseSampleRate(0x28));
    EXPECT_EQ(r.word(), 0x1000u | 0x200u | 0x28u);
    EXPECT_EQ(r.baseSampleRate(), eBaseSampleRate(8));
    // A factor with low bits set spills into the base code.
    r.factor(eFactor(0x23));
    EXPECT_EQ(r.word(), 0x08u | 0x23u);
    // factor() returns every bit above bit 4, stray high bits included.
    EXPECT_EQ(SampleRate::fromWord(0xFFFF2108u).factor(), eFactor(0xFFFF2100u));
}

TEST_F(SampleRateTest, AddAndRemoveFactorTouchOnlyTheGivenFlags) {
    SampleRate r(keBaseSampleRate32000, keFactor24_25);
    r.addFactor(keFactor25_24 | keFactor2);
    EXPECT_EQ(r.word(), 6u | 0x20u | 0x40u | 0x800u);
    EXPECT_EQ(r.calcFactor(), 2.0);
    r.removeFactor(keFactor24_25 | keFactor1_2);
    EXPECT_EQ(r.word(), 6u | 0x40u | 0x800u);
    r.removeFactor(keFactorNone);
    EXPECT_EQ(r.word(), 6u | 0x40u | 0x800u);
}

TEST_F(SampleRateTest, InvertSwapsEveryPair) {
    EXPECT_EQ(SampleRate::invert(keFactor24_25 | keFactor1001_1000), keFactor25_24 | keFactor1000_1001);
    EXPECT_EQ(SampleRate::invert(keFactorNone), keFactorNone);
    for (int pair = 0; pair < 4; ++pair) {
        EXPECT_EQ(SampleRate::invert(kFlags[2 * pair]), kFlags[2 * pair + 1]) << pair;
        EXPECT_EQ(SampleRate::invert(kFlags[2 * pair + 1]), kFlags[2 * pair]) << pair;
        // Both flags of a pair stay as they are.
        const eFactor both = kFlags[2 * pair] | kFlags[2 * pair + 1];
        EXPECT_EQ(SampleRate::invert(both), both) << pair;
    }
    // The low five bits and bits above the eight flags are dropped.
    EXPECT_EQ(SampleRate::invert(eFactor(0x1Fu | 0x20u | 0xFFFFE000u)), keFactor25_24);
}

TEST_F(SampleRateTest, InvertUndoesTheMultiplier) {
    for (const eFactor f : canonicalFactors()) {
        const double product = SampleRate::calcFactor(f) * SampleRate::calcFactor(SampleRate::invert(f));
        EXPECT_LT(std::fabs(product - 1.0), 1e-12) << unsigned(f);
        EXPECT_EQ(SampleRate::calcFactor(f | SampleRate::invert(f)), 1.0) << unsigned(f);
    }
}

TEST_F(SampleRateTest, CalcFactorFollowsTheFixedOrderForEveryFlagSet) {
    for (unsigned i = 0; i < 256; ++i) {
        const unsigned f = i << 5;
        EXPECT_EQ(SampleRate::calcFactor(eFactor(f)), expectedMultiplier(f)) << f;
    }
    EXPECT_EQ(SampleRate::calcFactor(keFactor25_24), 1.0416666666666667);
    EXPECT_EQ(SampleRate::calcFactor(keFactor2), 2.0);
    EXPECT_EQ(SampleRate::calcFactor(keFactor1_2), 0.5);
    EXPECT_EQ(SampleRate::calcFactor(keFactor24_30 | keFactor1_2), 0.4);
    // 1/1.001 comes from a division, not a multiplication by the reciprocal literal.
    EXPECT_EQ(SampleRate::calcFactor(keFactor24_25 | keFactor1000_1001), 0.96 / 1.001);
}

TEST_F(SampleRateTest, CalcFactorIgnoresBitsOutsideTheFlags) {
    EXPECT_EQ(SampleRate::calcFactor(eFactor(0x1Fu)), 1.0);
    EXPECT_EQ(SampleRate::calcFactor(eFactor(0xFFFFE000u)), 1.0);
    EXPECT_EQ(SampleRate::calcFactor(eFactor(0xFFFFE000u | 0x1Fu | 0x20u)), 0.96);
    EXPECT_EQ(SampleRate::fromWord(0x20u | 0x7u | 0x4000u).calcCombinedSampleRate(), 44100.0 * 0.96);
}

TEST_F(SampleRateTest, AllCanonicalFactorsAreDistinctAndRoundTrip) {
    const std::vector<eFactor> factors = canonicalFactors();
    ASSERT_EQ(factors.size(), 81u);
    std::vector<double> multipliers;
    for (const eFactor f : factors) {
        const double m = SampleRate::calcFactor(f);
        multipliers.push_back(m);
        eFactor found = eFactor(0xFFFFFFFFu);
        EXPECT_EQ(SampleRate::determineFactorFromFloat(found, m), sSuccess) << unsigned(f);
        EXPECT_EQ(found, f) << unsigned(f);
        EXPECT_EQ(SampleRate::invert(SampleRate::invert(f)), f) << unsigned(f);
    }
    EXPECT_EQ(std::set<double>(multipliers.begin(), multipliers.end()).size(), 81u);
    std::sort(multipliers.begin(), multipliers.end());
    double closest = 1e9;
    for (std::size_t i = 1; i < multipliers.size(); ++i)
        closest = std::min(closest, multipliers[i] - multipliers[i - 1]);
    // The nearest two lie about 0.00038 apart, far beyond the search tolerance.
    EXPECT_GT(closest, 0.00038);
    EXPECT_LT(closest, 0.00039);
}

TEST_F(SampleRateTest, DetermineFactorFromFloatEdgeCases) {
    eFactor f = keFactor2;
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 1.0000005), sSuccess);
    EXPECT_EQ(f, keFactorNone);
    f = keFactorNone;
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 0.96), sSuccess);
    EXPECT_EQ(f, keFactor24_25);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 1.2), sSuccess);
    EXPECT_EQ(f, keFactor24_25 | keFactor30_24);
    f = keFactor2;
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 3.0), sInvalid);
    EXPECT_EQ(f, keFactorNone);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 2.0), sSuccess);
    EXPECT_EQ(f, keFactor2);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 1.0 / 1.001), sSuccess);
    EXPECT_EQ(f, keFactor1000_1001);
    f = keFactor2;
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 0.0), sInvalid);
    EXPECT_EQ(f, keFactorNone);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, -0.96), sInvalid);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, std::nan("")), sInvalid);
    EXPECT_EQ(f, keFactorNone);
}

TEST_F(SampleRateTest, DetermineFactorToleranceIsAbsolute) {
    eFactor f = keFactorNone;
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 1.0 + 0.0000009), sSuccess);
    EXPECT_EQ(f, keFactorNone);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, 1.0 - 0.0000011), sInvalid);
    // The largest multiplier: a relative tolerance of 1e-6 would accept 2.4e-6 away.
    const eFactor top = keFactor25_24 | keFactor1001_1000 | keFactor30_24 | keFactor2;
    const double m = SampleRate::calcFactor(top);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, m + 0.0000009), sSuccess);
    EXPECT_EQ(f, top);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, m + 0.0000015), sInvalid);
    EXPECT_EQ(f, keFactorNone);
    // The smallest multiplier: a relative tolerance would reject 0.9e-6 away.
    const eFactor bottom = keFactor24_25 | keFactor1000_1001 | keFactor24_30 | keFactor1_2;
    const double b = SampleRate::calcFactor(bottom);
    EXPECT_EQ(SampleRate::determineFactorFromFloat(f, b - 0.0000009), sSuccess);
    EXPECT_EQ(f, bottom);
}

TEST_F(SampleRateTest, CalcSampleRateMapsExactRatesOnly) {
    const std::pair<unsigned, eBaseSampleRate> table[] = {
        {11025, keBaseSampleRate11025}, {16000, keBaseSampleRate16000}, {22050, keBaseSampleRate22050},
        {24000, keBaseSampleRate24000}, {32000, keBaseSampleRate32000}, {44100, keBaseSampleRate44100},
        {48000, keBaseSampleRate48000}, {96000, keBaseSampleRate96000}};
    platform::LogCapture capture;
    for (const auto& [hz, code] : table) {
        EXPECT_EQ(SampleRate::calcSampleRate(hz), code) << hz;
        EXPECT_EQ(SampleRate::calcBaseSampleRate(code), hz) << hz;
    }
    EXPECT_EQ(capture.assertionText(), "");
}

TEST_F(SampleRateTest, CalcSampleRateOfUnknownRatePrintsAndGivesZero) {
    platform::LogCapture capture;
    EXPECT_EQ(SampleRate::calcSampleRate(8000), keBaseSampleRateInvalid);
    EXPECT_EQ(capture.assertionText(), kLine174);
    for (unsigned hz : {47999u, 0u, 88200u, 192000u, 4294967295u}) {
        capture.clear();
        EXPECT_EQ(SampleRate::calcSampleRate(hz), keBaseSampleRateInvalid) << hz;
        EXPECT_EQ(capture.assertionText(), kLine174) << hz;
    }
}

TEST_F(SampleRateTest, UnknownBaseCodesAreValidButHaveNoRate) {
    const SampleRate twelve = SampleRate::fromWord(12);
    EXPECT_TRUE(twelve.valid());
    EXPECT_EQ(twelve.calcBaseSampleRate(), 0u);
    EXPECT_EQ(twelve.calcCombinedSampleRate(), 0.0);
    for (unsigned code = 10; code <= 31; ++code) {
        EXPECT_TRUE(SampleRate::fromWord(code).valid()) << code;
        EXPECT_EQ(SampleRate::calcBaseSampleRate(eBaseSampleRate(code)), 0u) << code;
    }
    EXPECT_EQ(SampleRate::calcBaseSampleRate(keBaseSampleRateInvalid), 0u);
    EXPECT_EQ(SampleRate::calcBaseSampleRate(eBaseSampleRate(1000)), 0u);
}

// Not a fixture test: the first lookup in a fresh process creates the object all-zero
// (the fixture tests leave it all-zero too).
TEST(SampleRateProject, IsSharedAndAllZeroUntilWritten) {
    SampleRate* shared = Private::getProjectHardwareSampleRateNamedObject();
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(shared, Private::getProjectHardwareSampleRateNamedObject());
    EXPECT_EQ(shared,
              Qm::NamedObjectsNamespace::global().findOrCreate<SampleRate>("Aud__CurrentProjectHardwareSampleRate"));
    EXPECT_EQ(getProjectHardwareSampleRate().word(), 0u);
    const SampleRate project(keBaseSampleRateProject, keFactor1000_1001);
    EXPECT_EQ(project.calcBaseSampleRate(), 0u);
    EXPECT_EQ(project.calcCombinedSampleRate(), 0.0);
}

TEST_F(SampleRateTest, ProjectRelativeRateUsesOnlyTheProjectBase) {
    setProject(SampleRate(keBaseSampleRate44100, keFactor2));
    EXPECT_EQ(getProjectHardwareSampleRate(), SampleRate(keBaseSampleRate44100, keFactor2));
    const SampleRate project(keBaseSampleRateProject, keFactor1000_1001);
    EXPECT_TRUE(project.valid());
    EXPECT_EQ(project.calcBaseSampleRate(), 44100u);
    EXPECT_EQ(SampleRate::calcBaseSampleRate(keBaseSampleRateProject), 44100u);
    EXPECT_EQ(project.calcCombinedSampleRate(), 44100.0 / 1.001);
    // Never equal to the concrete rate it stands for.
    EXPECT_FALSE(project == SampleRate(keBaseSampleRate44100, keFactor1000_1001));
}

TEST_F(SampleRateTest, SpecializedReplacesOnlyTheBaseOfAProjectRelativeRate) {
    setProject(SampleRate(keBaseSampleRate44100, keFactor2));
    const SampleRate s = SampleRate(keBaseSampleRateProject, keFactor1000_1001).specialized();
    EXPECT_EQ(s, SampleRate(keBaseSampleRate44100, keFactor1000_1001));
    EXPECT_EQ(s.word(), 263u);  // 7 | 0x100
    // Concrete and invalid rates come back unchanged.
    EXPECT_EQ(SampleRate(keBaseSampleRate96000, keFactor1_2).specialized().word(), 9u | 0x1000u);
    EXPECT_EQ(SampleRate().specialized().word(), 0u);
    EXPECT_EQ(SampleRate::fromWord(0x2000u | 20u).specialized().word(), 0x2000u | 20u);
}

TEST_F(SampleRateTest, ProjectRateThatIsItselfProjectRelativeHasNoRate) {
    setProject(SampleRate(keBaseSampleRateProject, keFactor2));
    EXPECT_EQ(SampleRate::calcBaseSampleRate(keBaseSampleRateProject), 0u);
    EXPECT_EQ(SampleRate(keBaseSampleRateProject).specialized().baseSampleRate(), keBaseSampleRateProject);
}

TEST_F(SampleRateTest, MissingNamedObjectThrows) {
    Qm::NamedObjectsNamespace::global().setAvailable(false);
    EXPECT_EQ(Private::getProjectHardwareSampleRateNamedObject(), nullptr);
    try {
        getProjectHardwareSampleRate();
        ADD_FAILURE() << "no exception";
    } catch (const Qm::Exception::RuntimeError& e) {
        EXPECT_STREQ(e.what(), "Failed to find project sample rate named object!");
        EXPECT_EQ(e.file(), "Aud__SampleRate");
        EXPECT_EQ(e.line(), 38);
        ASSERT_FALSE(e.context().empty());
        EXPECT_NE(e.context()[0].find("Failed to find project sample rate named object!"), std::string::npos);
    }
    const SampleRate project(keBaseSampleRateProject, keFactor2);
    EXPECT_THROW(project.calcBaseSampleRate(), Qm::Exception::RuntimeError);
    EXPECT_THROW(project.calcCombinedSampleRate(), Qm::Exception::RuntimeError);
    EXPECT_THROW(project.specialized(), Qm::Exception::RuntimeError);
    // Concrete rates never consult the project rate.
    const SampleRate concrete(keBaseSampleRate48000, keFactor2);
    EXPECT_EQ(concrete.specialized(), concrete);
    EXPECT_EQ(concrete.calcCombinedSampleRate(), 96000.0);
}

TEST_F(SampleRateTest, SearchableVectorFindsTheFirstEqualWord) {
    const std::vector<SampleRate> rates = {SampleRate(keBaseSampleRate44100), SampleRate(keBaseSampleRate48000),
                                           SampleRate(keBaseSampleRate48000, keFactor1000_1001),
                                           SampleRate(keBaseSampleRate48000)};
    const SearchableVector<SampleRate> list(rates);
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list.find(SampleRate(keBaseSampleRate48000)), std::size_t(1));
    EXPECT_EQ(list.find(SampleRate(keBaseSampleRate48000, keFactor1000_1001)), std::size_t(2));
    EXPECT_EQ(list.find(SampleRate(keBaseSampleRate96000)), std::size_t(4));
    // Whole-word equality: both flags of pair 2 compute to 48 kHz but are another word.
    EXPECT_EQ(list.find(SampleRate(keBaseSampleRate48000, keFactor1001_1000 | keFactor1000_1001)), std::size_t(4));
    const SearchableVector<SampleRate> empty;
    EXPECT_EQ(empty.find(SampleRate()), std::size_t(0));
    SearchableVector<SampleRate> grown;
    grown.push_back(SampleRate());
    EXPECT_EQ(grown.find(SampleRate()), std::size_t(0));
}
