// The preferences and INI readers on damaged files: every truncation and every single
// bit flip in the first 512 bytes gives a clear refusal (preferences: false, with the
// line) or a reading that writes back to itself (INI: unreadable lines skipped), and
// the reader never holds more heap memory than a stated bound while reading.
#include "platform/EditorPreferences.h"
#include "platform/IniFile.h"
#include "tests/support/AllocationMeter.h"
#include "tests/support/Damage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using audatoms::test::AllocationMeter;
using audatoms::test::forEveryDamage;

namespace {

// The readers' bound: live heap memory while reading a text of n bytes.
long long readerBound(std::size_t n) { return 16 * static_cast<long long>(n) + 64 * 1024; }

std::string samplePreferences() {
    EditorPreferences p;
    for (int i = 0; i < 40; ++i) {
        p.setPreference(("Int" + std::to_string(i)).c_str(), i * 7919);
        p.setPreference(("Real" + std::to_string(i)).c_str(), i / 3.0);
        p.setPreference(("Flag" + std::to_string(i)).c_str(), i % 2 == 0);
    }
    p.setPreference("Odd key = with # and \\ and\nnewline", 1);
    return p.toText();
}

TEST(DamagedPreferences, EveryTruncationAndBitFlipIsRefusedOrReadWhole) {
    const std::string good = samplePreferences();
    long long worstPeak = 0;
    int refused = 0, read = 0;
    const auto n = forEveryDamage(good, [&](const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        EditorPreferences p;
        p.setPreference("Before", 1);
        const std::string before = p.toText();
        std::string error;
        AllocationMeter meter;
        const bool ok = p.fromText(bytes, &error);
        worstPeak = std::max(worstPeak, meter.peakBytes());
        EXPECT_LE(meter.peakBytes(), readerBound(bytes.size()));
        if (!ok) {
            ++refused;
            EXPECT_NE(error.find("line "), std::string::npos) << error;
            EXPECT_EQ(p.toText(), before) << "a refused text changes nothing";
        } else {
            ++read;
            EditorPreferences again;
            EXPECT_TRUE(again.fromText(p.toText(), &error)) << error;
            EXPECT_EQ(again.toText(), p.toText());
        }
    });
    std::printf("preferences (%zu bytes): %d cuts, %d flips; %d refused, %d read; peak heap %lld bytes\n", good.size(),
                n.truncations, n.flips, refused, read, worstPeak);
    EXPECT_GT(refused, 0);
    EXPECT_GT(read, 0);
}

std::string sampleIni() {
    QmIniFile ini;
    for (int s = 0; s < 6; ++s)
        for (int i = 0; i < 12; ++i)
            ini.section(("Section" + std::to_string(s)).c_str())
                .emplace_back(("key" + std::to_string(i) + "=value " + std::to_string(i * s)).c_str(), '=');
    return "; a comment\n# another\n" + ini.toText();
}

TEST(DamagedIniFiles, EveryTruncationAndBitFlipReadsToAFixedPoint) {
    const std::string good = sampleIni();
    long long worstPeak = 0;
    int withSkips = 0;
    const auto n = forEveryDamage(good, [&](const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        QmIniFile ini;
        AllocationMeter meter;
        const int skipped = ini.fromText(bytes);
        worstPeak = std::max(worstPeak, meter.peakBytes());
        EXPECT_LE(meter.peakBytes(), readerBound(bytes.size()));
        EXPECT_GE(skipped, 0);
        withSkips += skipped > 0;
        QmIniFile again;
        EXPECT_EQ(again.fromText(ini.toText()), 0);
        EXPECT_EQ(again.toText(), ini.toText());
    });
    std::printf("INI text (%zu bytes): %d cuts, %d flips; %d with skipped lines; peak heap %lld bytes\n", good.size(),
                n.truncations, n.flips, withSkips, worstPeak);
    EXPECT_GT(withSkips, 0);
}

}  // namespace
