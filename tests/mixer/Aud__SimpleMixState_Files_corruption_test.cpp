// Aud::SimpleMixState's persisted forms on damaged input: the object stream record cut
// at every byte and with every single bit of its first 512 bytes flipped is either
// read or refused with an error text (never a crash, a hang or unbounded memory); the
// configuration text damaged the same way reads as far as it is readable (unreadable
// entries keep their defaults).
#include "AudAtoms/AudAtoms.h"
#include "tests/support/AllocationMeter.h"
#include "tests/support/Damage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using audatoms::test::AllocationMeter;
using audatoms::test::forEveryDamage;

namespace {

Qm::Ptr<Aud::SimpleMixState> sample() {
    Qm::Ptr<Aud::SimpleMixState> s(new Aud::SimpleMixState(16, 4, 6));
    for (int i = 0; i < 16; ++i) s->setInputLevel(i, float(i) / 16);
    s->setMixSoloState(2, true);
    return s;
}

// The most heap a reader may hold while reading a damaged record: the largest mixer
// state the record's dimension fields can describe is bounded by the library's limits,
// so the bound is a fixed size, not a multiple of the input.
constexpr long long kRecordBound = 4 * 1024 * 1024;

TEST(DamagedMixerStateRecords, EveryTruncationAndBitFlipIsReadOrRefused) {
    StreamFile packed;
    PStream out(packed);
    ASSERT_TRUE(STRM_succeeded(sample()->STRM_hierarchyPack(out)));
    const std::string good = packed.bytes();
    long long worstPeak = 0;
    int refused = 0, read = 0;
    const auto n = forEveryDamage(good, [&](const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        platform::LogCapture quiet(platform::LogCapture::AssertionEcho::silenced);
        StreamFile in;
        in.setBytes(bytes);
        PStream s(in);
        Qm::Ptr<Aud::SimpleMixState> target(new Aud::SimpleMixState);
        AllocationMeter meter;
        const int status = target->STRM_hierarchyUnpack(s);
        worstPeak = std::max(worstPeak, meter.peakBytes());
        EXPECT_LE(meter.peakBytes(), kRecordBound);
        if (STRM_succeeded(status) && s.errorText().empty()) {
            ++read;
        } else {
            ++refused;
            EXPECT_FALSE(s.errorText().empty()) << "a refused record says why";
        }
    });
    std::printf("mixer state record (%zu bytes): %d cuts, %d flips; %d refused, %d read; peak heap %lld bytes\n",
                good.size(), n.truncations, n.flips, refused, read, worstPeak);
    EXPECT_EQ(refused + read, n.truncations + n.flips);
    EXPECT_GE(refused, n.truncations);  // every cut record is refused
}

TEST(DamagedMixerStateConfigurationText, EveryTruncationAndBitFlipReads) {
    QmIniFile ini;
    sample()->storeCompatibleConfigurationInformation(ini);
    const std::string good = ini.toText();
    long long worstPeak = 0;
    const auto n = forEveryDamage(good, [&](const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        platform::LogCapture quiet(platform::LogCapture::AssertionEcho::silenced);
        QmIniFile damaged;
        damaged.fromText(bytes);
        Aud::SimpleMixState target(16, 4, 6);
        AllocationMeter meter;
        target.retrieveCompatibleConfigurationInformation(damaged);
        worstPeak = std::max(worstPeak, meter.peakBytes());
        EXPECT_LE(meter.peakBytes(), kRecordBound);
        EXPECT_TRUE(target.valid());
    });
    std::printf("mixer configuration text (%zu bytes): %d cuts, %d flips; peak heap %lld bytes\n", good.size(),
                n.truncations, n.flips, worstPeak);
}

}  // namespace
