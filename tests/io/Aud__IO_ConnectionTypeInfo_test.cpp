#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Aud;

namespace {

using Rep = IO_ConnectionTypeInfo::Rep;
const std::string kInvalid = "Method called on invalid IO_ConnectionTypeInfo object";
const std::string kLine56 = "assertion failed false at ole/AudAtoms/Aud__IO_ConnectionTypeInfo line 56\n";

Rep digital(bool absolute, double lower, double upper, bool src = true) {
    return Rep{true, -12.0, 6.0, absolute, lower, upper, src, "up to 2:1", 2, keIO_ConnectionTypeAES_EBU};
}

const SampleRate k32(keBaseSampleRate32000), k44(keBaseSampleRate44100), k48(keBaseSampleRate48000),
    k96(keBaseSampleRate96000);

}  // namespace

TEST(IO_ConnectionTypeInfo, RecordFieldsAreReadThroughTheHandle) {
    Rep rep{true, -20.5, 12.25, false, 0.1, 0.2, true, "Hardware SRC", 1, keIO_ConnectionTypeAnalogue};
    const IO_ConnectionTypeInfo info(&rep);
    platform::LogCapture capture;
    EXPECT_TRUE(info.valid());
    EXPECT_TRUE(info.supportsGainControl());
    EXPECT_EQ(info.mininumGain(), -20.5);
    EXPECT_EQ(info.maximumGain(), 12.25);
    EXPECT_TRUE(info.supportsSRC());
    EXPECT_EQ(info.getConnectionClass(), 1);
    EXPECT_TRUE(info.isAnalogue());
    EXPECT_FALSE(info.isDigital());
    EXPECT_FALSE(info.isMixer());
    EXPECT_EQ(info.type(), keIO_ConnectionTypeAnalogue);
    EXPECT_EQ(info.getSRCDisplayString(), L"Hardware SRC");
    EXPECT_EQ(info.getDisplayString(), resourceStrW(11646));
    EXPECT_TRUE(capture.splats().empty());
}

TEST(IO_ConnectionTypeInfo, ClassPredicates) {
    Rep rep = digital(false, 0, 0);
    const IO_ConnectionTypeInfo info(&rep);
    EXPECT_TRUE(info.isDigital());
    rep.connectionClass = 3;  // the handle sees the host's record, not a copy
    EXPECT_TRUE(info.isMixer());
    EXPECT_FALSE(info.isDigital());
    rep.connectionClass = 4;
    EXPECT_FALSE(info.isAnalogue() || info.isDigital() || info.isMixer());
}

TEST(IO_ConnectionTypeInfo, EmptyConversionDescriptionGivesAnEmptyString) {
    Rep rep = digital(false, 0, 0);
    rep.srcDescription = LightweightString<char>();
    EXPECT_TRUE(IO_ConnectionTypeInfo(&rep).getSRCDisplayString().empty());
    rep.srcDescription = "";
    EXPECT_TRUE(IO_ConnectionTypeInfo(&rep).getSRCDisplayString().empty());
}

TEST(IO_ConnectionTypeInfo, RelativeRangeAcceptsWithinTheFractionOfTheFirstRate) {
    Rep rep = digital(false, 0.1, 0.1);
    const IO_ConnectionTypeInfo info(&rep);
    // 48000 - 0.1 x 48000 = 43200 <= 44100: accepted; 0.1 x 48000 + 48000 = 52800 < 96000.
    EXPECT_TRUE(info.supportsSRC(k48, k44));
    EXPECT_FALSE(info.supportsSRC(k48, k96));
    // 48000 x 25/24 = 50000 <= 52800; 48000 x 24/25 = 46080 >= 43200; 44100 x 24/25 = 42336 < 43200.
    EXPECT_TRUE(info.supportsSRC(k48, SampleRate(keBaseSampleRate48000, keFactor25_24)));
    EXPECT_TRUE(info.supportsSRC(k48, SampleRate(keBaseSampleRate48000, keFactor24_25)));
    EXPECT_FALSE(info.supportsSRC(k48, SampleRate(keBaseSampleRate44100, keFactor24_25)));
    EXPECT_TRUE(info.supportsSRC(k48, k48));
    // The range follows the first rate: 96000 - 9600 = 86400 > 48000.
    EXPECT_FALSE(info.supportsSRC(k96, k48));
}

TEST(IO_ConnectionTypeInfo, RelativeRangeBoundsAreInclusive) {
    // 32000 with limits 0.5 and 2.0: 16000 (lower bound exactly) and 96000 (upper exactly).
    Rep rep = digital(false, 0.5, 2.0);
    const IO_ConnectionTypeInfo info(&rep);
    EXPECT_TRUE(info.supportsSRC(k32, SampleRate(keBaseSampleRate16000)));
    EXPECT_TRUE(info.supportsSRC(k32, k96));
    EXPECT_FALSE(info.supportsSRC(k32, SampleRate(keBaseSampleRate11025)));
}

TEST(IO_ConnectionTypeInfo, AbsoluteRangeIgnoresTheFirstRate) {
    Rep rep = digital(true, 44100.0, 48000.0);
    const IO_ConnectionTypeInfo info(&rep);
    for (const SampleRate& first : {SampleRate(), k32, k96}) {
        EXPECT_TRUE(info.supportsSRC(first, k44));  // at the lower limit
        EXPECT_TRUE(info.supportsSRC(first, k48));  // at the upper limit
        EXPECT_FALSE(info.supportsSRC(first, k32));
        EXPECT_FALSE(info.supportsSRC(first, k96));
        EXPECT_FALSE(info.supportsSRC(first, SampleRate(keBaseSampleRate48000, keFactor1001_1000)));  // 48048
    }
}

TEST(IO_ConnectionTypeInfo, DigitalWithoutConversionAcceptsNothing) {
    Rep rep = digital(true, 0.0, 1e9, false);
    EXPECT_FALSE(IO_ConnectionTypeInfo(&rep).supportsSRC(k48, k48));
}

TEST(IO_ConnectionTypeInfo, AnalogueAndMixerAcceptAnyPairEvenWithoutConversion) {
    for (int cls : {1, 3, 0}) {
        Rep rep = digital(true, 50000.0, 50001.0, false);
        rep.connectionClass = cls;
        const IO_ConnectionTypeInfo info(&rep);
        EXPECT_TRUE(info.supportsSRC(k48, k96)) << cls;
        EXPECT_TRUE(info.supportsSRC(k32, SampleRate())) << cls;
    }
}

TEST(IO_ConnectionTypeInfo, DisplayNamesOfTheTypes) {
    struct Case {
        int type;
        LightweightString<wchar_t> text;
    };
    const Case named[] = {
        {2, resourceStrW(11646)}, {3, resourceStrW(11645)}, {4, L"1394"}, {5, resourceStrW(11643)},
        {6, resourceStrW(11647)}, {7, resourceStrW(11644)}, {9, L"HDMI"},
    };
    for (const Case& c : named) {
        platform::LogCapture capture;
        EXPECT_EQ(getDisplayString(eIO_ConnectionType(c.type)), c.text) << c.type;
        EXPECT_EQ(capture.assertionText(), "") << c.type;
        EXPECT_FALSE(c.text.empty());
    }
    for (int t : {0, 1, 8, 10, 11, -1, 1000}) {
        platform::LogCapture capture;
        EXPECT_EQ(getDisplayString(eIO_ConnectionType(t)), resourceStrW(10055)) << t;
        EXPECT_EQ(capture.assertionText(), kLine56) << t;
    }
}

TEST(IO_ConnectionTypeInfo, InvalidHandleReportsAndAnswersZeros) {
    const IO_ConnectionTypeInfo info;
    EXPECT_FALSE(info.valid());
    platform::LogCapture capture;
    EXPECT_EQ(info.type(), keIO_ConnectionTypeInvalid);  // no report
    EXPECT_TRUE(capture.splats().empty());

    EXPECT_FALSE(info.supportsGainControl());
    EXPECT_EQ(info.mininumGain(), 0.0);
    EXPECT_EQ(info.maximumGain(), 0.0);
    EXPECT_FALSE(info.supportsSRC());
    EXPECT_EQ(info.getConnectionClass(), 0);
    EXPECT_FALSE(info.isAnalogue());
    EXPECT_FALSE(info.isDigital());
    EXPECT_FALSE(info.isMixer());
    EXPECT_TRUE(info.getSRCDisplayString().empty());
    EXPECT_TRUE(info.supportsSRC(k48, k96));  // class 0 is not digital
    EXPECT_EQ(capture.splats(), std::vector<std::string>(10, kInvalid));

    capture.clear();
    EXPECT_EQ(info.getDisplayString(), resourceStrW(10055));
    EXPECT_EQ(capture.assertionText(), kLine56);
    EXPECT_EQ(capture.splats(), std::vector<std::string>{kInvalid});
}

TEST(AudCapsVector, FindsConnectionTypesByType) {
    Rep analogue{false, 0, 0, false, 0, 0, false, "", 1, keIO_ConnectionTypeAnalogue};
    Rep aes = digital(false, 0.1, 0.1);
    Rep aes2 = digital(true, 1, 2);
    const std::vector<IO_ConnectionTypeInfo> std{IO_ConnectionTypeInfo(&analogue), IO_ConnectionTypeInfo(&aes),
                                                 IO_ConnectionTypeInfo(&aes2)};
    const IO_ConnectionTypeInfoVector list(std);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list.find(keIO_ConnectionTypeAnalogue), 0u);
    EXPECT_EQ(list.find(keIO_ConnectionTypeAES_EBU), 1u);  // the first of two
    EXPECT_EQ(list.find(keIO_ConnectionTypeHDMI), 3u);     // none: the length
    EXPECT_TRUE(list[keIO_ConnectionTypeAES_EBU].isDigital());
    EXPECT_FALSE(list[keIO_ConnectionTypeAES_EBU].supportsSRC(k48, k96));  // aes, not aes2
    EXPECT_EQ(list[std::size_t(2)].type(), keIO_ConnectionTypeAES_EBU);    // by position

    platform::LogCapture capture;
    const IO_ConnectionTypeInfo missing = list[keIO_ConnectionTypeHDMI];
    EXPECT_FALSE(missing.valid());
    EXPECT_EQ(missing.type(), 0);
    EXPECT_TRUE(capture.splats().empty());
}

TEST(AudCapsVector, EmptyListFindsNothing) {
    const IO_ConnectionTypeInfoVector list;
    EXPECT_EQ(list.find(keIO_ConnectionTypeAnalogue), 0u);
    EXPECT_FALSE(list[keIO_ConnectionTypeAnalogue].valid());
    // An invalid handle in a list has type 0, so looking for type 0 finds it.
    const IO_ConnectionTypeInfoVector withInvalid(std::vector<IO_ConnectionTypeInfo>(2));
    EXPECT_EQ(withInvalid.find(keIO_ConnectionTypeInvalid), 0u);
}
