// Aud::SimpleMixState in whole object records: the layer reader's messages, truncated
// records, stream format 1, the class registration, hierarchy names and the debug flag.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/ScratchDir.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

using Aud::SimpleMixState;
using audatoms::test::assertionLine;
using Bytes = audatoms::test::StreamBytes;
using audatoms::test::ownData;
using audatoms::test::record;
using audatoms::test::Unpacked;
using audatoms::test::unpackRecord;
using audatoms::test::wholeRecord;

namespace {

Qm::Ptr<SimpleMixState> sampleState() {
    Qm::Ptr<SimpleMixState> s(new SimpleMixState(3, 4, 6));
    s->setInputLevel(0, 0.25f);
    s->setInputLevel(2, 1.25f);
    s->setInputPan(1, 0.125f);
    s->setInputMuteState(2, true);
    s->setInputSoloState(1, true);
    s->setInputRoutedToMix(1, 1, true);
    s->setInputRoutedToMix(2, -1, false);
    s->setMixLevel(-1, 0.75f);
    s->setMixLevel(2, 0.5f);
    s->setMixMuteState(1, true);
    s->setMixSoloState(0, true);
    s->setMixRoutedToOutput(2, 3, true, true);
    s->setMixRoutedToOutput(0, -1, false, true);
    return s;
}

// A record of the three layers with the given lengths for the mixer's layer.
std::string recordWithAsHeader(const std::string& asName, std::uint32_t own, std::uint32_t total,
                               const std::string& body) {
    const std::uint32_t asLayer = std::uint32_t(asName.size() + 1 + 2 + 8 + body.size());
    Bytes b;
    b.header2("$", 2, 0, 0, 2 + 2 + 8 + asLayer);
    b.header2("T", 1, 0, 0, asLayer);
    b.header2(asName, 1, 1, own, total);
    b.raw(body);
    return b.str();
}

TEST(SimpleMixStateStream, ShortNameMismatchSkipsTheLayer) {
    Qm::Ptr<SimpleMixState> s = sampleState();
    const std::string own = ownData(*s);
    Qm::Ptr<SimpleMixState> target = sampleState();
    target->setInputLevel(0, 0.0f);
    const std::string bytes = recordWithAsHeader("XX", std::uint32_t(own.size()), std::uint32_t(own.size()), own);
    const Unpacked u = unpackRecord(*target, bytes);
    EXPECT_EQ(u.status, kStreamLayerShortNameMismatch);
    EXPECT_EQ(u.errors, "Expected short name 'AS' for layer Aud::SimpleMixState, got XX.");
    EXPECT_EQ(u.position, bytes.size());  // skipped to the layer's end
    EXPECT_TRUE(target->valid());         // not unpacked at all
    EXPECT_EQ(target->getInputLevel(0), 0.0f);
}

TEST(SimpleMixStateStream, ThePrintableTypeNameIsAcceptedAsShortName) {
    Qm::Ptr<SimpleMixState> s = sampleState();
    const std::string own = ownData(*s);
    SimpleMixState target;
    const Unpacked u = unpackRecord(
        target, recordWithAsHeader("Aud::SimpleMixState", std::uint32_t(own.size()), std::uint32_t(own.size()), own));
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(target, *s, &why)) << why;
}

TEST(SimpleMixStateStream, ZeroOwnLengthSkipsTheNameCheckAndOverreads) {
    Qm::Ptr<SimpleMixState> s = sampleState();
    const std::string own = ownData(*s);
    SimpleMixState target;
    const Unpacked u = unpackRecord(target, recordWithAsHeader("ZZ", 0, 0, own));
    EXPECT_EQ(u.status, kStreamLayerFailed);
    EXPECT_EQ(u.errors, "Error: Unpacker read beyond end of chunk while unpacking object Aud::SimpleMixState, layer "
                        "Aud::SimpleMixState v1.1, " +
                            std::to_string(own.size()) + " bytes overread.\n");
}

TEST(SimpleMixStateStream, UnreadTrailingBytesAreSkippedWithAWarning) {
    Qm::Ptr<SimpleMixState> s = sampleState();
    const std::string own = ownData(*s) + std::string("\x01\x02\x03", 3);
    SimpleMixState target;
    const std::string bytes = recordWithAsHeader("AS", std::uint32_t(own.size()), std::uint32_t(own.size()), own);
    const Unpacked u = unpackRecord(target, bytes);
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    EXPECT_EQ(u.log, "Warning: Not all object data was read while unpacking object Aud::SimpleMixState, layer "
                     "Aud::SimpleMixState v1.1, 3/" +
                         std::to_string(own.size()) + " bytes unread.\n");
    EXPECT_EQ(u.position, bytes.size());
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(target, *s, &why)) << why;
}

TEST(SimpleMixStateStream, ReadingPastTheOwnLengthFails) {
    Qm::Ptr<SimpleMixState> s = sampleState();
    const std::string own = ownData(*s);
    SimpleMixState target;
    const auto shortLength = std::uint32_t(own.size() - 2);
    const Unpacked u = unpackRecord(target, recordWithAsHeader("AS", shortLength, shortLength, own));
    EXPECT_EQ(u.status, kStreamLayerFailed);
    EXPECT_EQ(u.errors, "Error: Unpacker read beyond end of chunk while unpacking object Aud::SimpleMixState, layer "
                        "Aud::SimpleMixState v1.1, 2 bytes overread.\n");
    EXPECT_TRUE(target.valid());  // everything was read before the check
}

TEST(SimpleMixStateStream, AnEmptyLayerAtTheEndReadsNothing) {
    Bytes b;
    b.header2("$", 2, 0, 0, 12 + 13);
    b.header2("T", 1, 0, 0, 13);
    b.header2("AS", 1, 1, 0, 0);
    SimpleMixState target;
    const Unpacked u = unpackRecord(target, b.str());
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    EXPECT_FALSE(target.valid());
}

TEST(SimpleMixStateStream, EndOfFileNamesTheLayer) {
    Qm::Ptr<SimpleMixState> s = sampleState();
    const std::string full = record(*s);
    const std::size_t tStart = 2 + 2 + 8, asStart = tStart + 12, ownStart = asStart + 13;
    const std::vector<std::pair<std::size_t, std::string>> cases = {
        {0, "Streamable"},
        {5, "Streamable"},
        {tStart, "Streamable"},
        {tStart + 3, "Taggable"},
        {asStart, "Taggable"},
        {asStart + 7, "Aud::SimpleMixState"},
        {ownStart, "Aud::SimpleMixState"},
        {ownStart + 20, "Aud::SimpleMixState"},
        {full.size() - 1, "Aud::SimpleMixState"},
    };
    for (const auto& [length, layer] : cases) {
        SimpleMixState target;
        const Unpacked u = unpackRecord(target, full.substr(0, length));
        EXPECT_EQ(u.status, kStreamLayerFailed) << length;
        EXPECT_EQ(u.errors, "Unexpected end-of-file while unpacking Aud::SimpleMixState, layer " + layer + ".")
            << length;
    }
}

// Every value of s equals the one in a or the one in b.
bool eachValueFromEither(const SimpleMixState& s, const SimpleMixState& a, const SimpleMixState& b, std::string* why) {
    auto check = [&](bool ok, const std::string& what) {
        if (!ok && why->empty()) *why = what;
        return ok;
    };
    bool all = true;
    for (int i = 0; i < s.numInputChans(); ++i) {
        all &= check(s.getInputLevel(i) == a.getInputLevel(i) || s.getInputLevel(i) == b.getInputLevel(i), "level");
        all &= check(s.getInputPan(i) == a.getInputPan(i) || s.getInputPan(i) == b.getInputPan(i), "pan");
        all &=
            check(s.getInputMuteState(i) == a.getInputMuteState(i) || s.getInputMuteState(i) == b.getInputMuteState(i),
                  "mute");
        all &=
            check(s.getInputSoloState(i) == a.getInputSoloState(i) || s.getInputSoloState(i) == b.getInputSoloState(i),
                  "solo");
        for (int mix = -1; mix < s.numMixChans() - 1; ++mix)
            all &= check(s.getInputRoutedToMix(i, mix) == a.getInputRoutedToMix(i, mix) ||
                             s.getInputRoutedToMix(i, mix) == b.getInputRoutedToMix(i, mix),
                         "input route");
    }
    for (int mix = -1; mix < s.numMixChans() - 1; ++mix) {
        all &= check(s.getMixLevel(mix) == a.getMixLevel(mix) || s.getMixLevel(mix) == b.getMixLevel(mix), "mix level");
        all &=
            check(s.getMixMuteState(mix) == a.getMixMuteState(mix) || s.getMixMuteState(mix) == b.getMixMuteState(mix),
                  "mix mute");
        all &=
            check(s.getMixSoloState(mix) == a.getMixSoloState(mix) || s.getMixSoloState(mix) == b.getMixSoloState(mix),
                  "mix solo");
        for (int out = (mix == -1 ? 0 : -2); out < s.numOutputChans() - 2; ++out)
            for (bool left : {true, false})
                all &= check(s.getMixRoutedToOutput(mix, out, left) == a.getMixRoutedToOutput(mix, out, left) ||
                                 s.getMixRoutedToOutput(mix, out, left) == b.getMixRoutedToOutput(mix, out, left),
                             "output route");
    }
    return all;
}

TEST(SimpleMixStateStream, TruncatedAtEveryOffset) {
    Qm::Ptr<SimpleMixState> original = sampleState();
    const std::string full = record(*original);
    const std::size_t ownStart = full.size() - ownData(*original).size();
    const std::size_t dimensionsEnd = ownStart + 1 + 12;  // valid byte and three int32
    Qm::Ptr<SimpleMixState> defaults(new SimpleMixState(3, 4, 6));
    int partial = 0;
    for (std::size_t length = 0; length < full.size(); ++length) {
        SimpleMixState fresh;
        Qm::Ptr<SimpleMixState> earlier = sampleState();
        earlier->setInputLevel(1, 0.0625f);
        Qm::Ptr<SimpleMixState> earlierCopy = sampleState();
        earlierCopy->setInputLevel(1, 0.0625f);
        for (SimpleMixState* target : {&fresh, earlier.get()}) {
            const Unpacked u = unpackRecord(*target, full.substr(0, length));
            EXPECT_EQ(u.status, kStreamLayerFailed) << length;
            EXPECT_NE(u.errors, "") << length;
            std::string why;
            if (length <= ownStart) {
                // The mixer's own data was never reached: the object is untouched.
                if (target == &fresh) EXPECT_FALSE(target->valid()) << length;
                else EXPECT_TRUE(audatoms::test::sameState(*target, *earlierCopy, &why)) << length << " " << why;
            } else if (length < dimensionsEnd) {
                EXPECT_FALSE(target->valid()) << length;
            } else {
                ASSERT_TRUE(target->valid()) << length;
                EXPECT_EQ(target->numInputChans(), 3);
                EXPECT_EQ(target->numMixChans(), 4);
                EXPECT_EQ(target->numOutputChans(), 6);
                EXPECT_TRUE(eachValueFromEither(*target, *original, *defaults, &why)) << length << " " << why;
                if (target == &fresh && !audatoms::test::sameState(*target, *defaults, nullptr)) ++partial;
            }
        }
    }
    EXPECT_GT(partial, 0);  // some prefixes carry values beyond the defaults
    SimpleMixState whole;
    EXPECT_EQ(unpackRecord(whole, full).errors, "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(whole, *original, &why)) << why;
}

TEST(SimpleMixStateStream, Format1RecordBuiltByHand) {
    Qm::Ptr<SimpleMixState> s = sampleState();
    const std::string own = ownData(*s);
    const auto ownSize = std::uint32_t(own.size());
    // Format 1: versions as one byte below 255, lengths as uint16 below 65535.
    Bytes b;
    b.str("$").u8(1).u8(0).u16(0).u16(2 + 2 + 4 + 3 + 2 + 4 + ownSize);
    b.str("T").u8(1).u8(0).u16(0).u16(3 + 2 + 4 + ownSize);
    b.str("AS").u8(1).u8(1).u16(ownSize).u16(ownSize);
    b.raw(own);
    SimpleMixState target;
    const Unpacked u = unpackRecord(target, b.str());
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(target, *s, &why)) << why;
    // Packing in format 1 writes the same bytes.
    EXPECT_EQ(record(*s, 1), b.str());
}

TEST(SimpleMixStateStream, Format1LongLengthsUseTheEscape) {
    // 1024 inputs x 64 mixes: a 65536-byte input routing table, so the mixer's own length
    // needs 0xFFFF and a uint32.
    SimpleMixState s(1024, 64, 2);
    s.setInputRoutedToMix(1023, 62, true);
    const std::string own = ownData(s);
    ASSERT_GT(own.size(), 65535u);
    const std::string bytes = record(s, 1);
    Bytes expectedAs;
    expectedAs.str("AS")
        .u8(1)
        .u8(1)
        .u16(0xFFFF)
        .u32(std::uint32_t(own.size()))
        .u16(0xFFFF)
        .u32(std::uint32_t(own.size()));
    // "$" and "T" headers: name, two version bytes, own length 0 (2 bytes), total escaped (6 bytes).
    const std::size_t dollarHeader = 2 + 2 + 2 + 6, taggableHeader = 2 + 2 + 2 + 6;
    EXPECT_EQ(bytes.substr(dollarHeader + taggableHeader, expectedAs.size()), expectedAs.str());
    SimpleMixState back;
    EXPECT_EQ(unpackRecord(back, bytes).errors, "");
    EXPECT_TRUE(back.getInputRoutedToMix(1023, 62));
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(back, s, &why)) << why;
}

TEST(SimpleMixStateStream, Format1OversizedRevisionsFail) {
    for (bool majorOversized : {true, false}) {
        Bytes b;
        b.str("$").u8(1).u8(0).u16(0).u16(100);
        b.str("T");
        if (majorOversized) b.u8(0xFF).u16(256).u8(0);
        else b.u8(1).u8(0xFF).u16(300);
        b.u16(0).u16(0);
        SimpleMixState target;
        const Unpacked u = unpackRecord(target, b.str());
        EXPECT_EQ(u.status, kStreamLayerFailed);
        EXPECT_EQ(u.errors, majorOversized ? " Strm1.0 Object has oversized major rev (T). "
                                           : " Strm1.0 Object has oversized minor rev (T). ");
    }
}

TEST(SimpleMixStateStream, Format1Revision255IsReadAndRefusedByTheMixer) {
    Bytes b;
    b.str("$").u8(1).u8(0).u16(0).u16(2 + 2 + 4 + 3 + 6 + 4 + 1);
    b.str("T").u8(1).u8(0).u16(0).u16(3 + 6 + 4 + 1);
    b.str("AS").u8(0xFF).u16(255).u8(0xFF).u16(255).u16(1).u16(1).u8(0);
    SimpleMixState target;
    const Unpacked u = unpackRecord(target, b.str());
    EXPECT_EQ(u.errors, "Encountered unknown version of SoftwareAudioMixer::SimpleMixState (current v1.1, "
                        "encountered v255.255).");
    EXPECT_FALSE(target.valid());
}

TEST(SimpleMixStateStream, UnknownStreamFormatFails) {
    Bytes b;
    b.str("$").u8(3).u8(0).u32(0).u32(0);
    SimpleMixState target;
    const Unpacked u = unpackRecord(target, b.str());
    EXPECT_EQ(u.status, kStreamLayerFailed);
    EXPECT_EQ(u.errors, "Unrecognized version for Streamable base");
}

TEST(SimpleMixStateStream, RegistrationFindsTheBuilderByEitherName) {
    EXPECT_EQ(SimpleMixState::STRM_L_SimpleMixState_registrar_.longName(), "Taggable.Aud::SimpleMixState");
    EXPECT_EQ(SimpleMixState::STRM_L_SimpleMixState_registrar_.shortName(), "T.AS");
    EXPECT_EQ(StreamClassRegistrar::findBuilder("Taggable.Aud::SimpleMixState"), &Aud::STRM_L_SimpleMixState_builder);
    EXPECT_EQ(StreamClassRegistrar::findBuilder("T.AS"), &Aud::STRM_L_SimpleMixState_builder);
    EXPECT_EQ(StreamClassRegistrar::findBuilder("AS"), nullptr);
    EXPECT_EQ(StreamClassRegistrar::findBuilder("Aud::SimpleMixState"), nullptr);
    const auto names = StreamClassRegistrar::registeredLongNames();
    EXPECT_EQ(std::count(names.begin(), names.end(), LightweightString<char>("Taggable.Aud::SimpleMixState")), 1);

    Qm::Ptr<SimpleMixState> s = sampleState();
    StreamFile f;
    f.setBytes(record(*s));
    PStream p(f);
    Qm::Ptr<Streamable> built = StreamClassRegistrar::build("T.AS", p);
    auto* state = dynamic_cast<SimpleMixState*>(built.get());
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(p.errorText(), "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(*state, *s, &why)) << why;
    EXPECT_FALSE(StreamClassRegistrar::build("no such class", p));
}

TEST(SimpleMixStateStream, HierarchyAndRevisionNames) {
    SimpleMixState s;
    EXPECT_EQ(s.hierarchyName(true, false), "Taggable.Aud::SimpleMixState");
    EXPECT_EQ(s.hierarchyName(false, false), "T.AS");
    EXPECT_EQ(s.hierarchyName(true, true), "Streamable.Taggable.Aud::SimpleMixState");
    EXPECT_EQ(s.hierarchyName(false, true), "$.T.AS");
    EXPECT_EQ(SimpleMixState::subHierarchyName(false, false), "T.AS");
    EXPECT_EQ(s.STRM_typeName(), "Aud::SimpleMixState");
    EXPECT_STREQ(SimpleMixState::revisionName(), "Aud__SimpleMixState_R1");
    EXPECT_STREQ(SimpleMixState::STRM_shortLayerName(), "AS");
    EXPECT_STREQ(Taggable::STRM_shortLayerName(), "T");
    EXPECT_STREQ(Streamable::shortLayerName(), "$");
}

TEST(SimpleMixStateStream, DebugFlagFollowsTheConfigurationValue) {
    config_set_int("showMixChansDebug", 1);
    SimpleMixState::readDebugConfiguration();
    EXPECT_TRUE(SimpleMixState::showMixChansDebug());
    config_set_int("showMixChansDebug", 2);
    SimpleMixState::readDebugConfiguration();
    EXPECT_FALSE(SimpleMixState::showMixChansDebug());
    config_set_int("showMixChansDebug", 1);
    SimpleMixState::readDebugConfiguration();
    config_set_int("showMixChansDebug", 0);
    SimpleMixState::readDebugConfiguration();
    EXPECT_FALSE(SimpleMixState::showMixChansDebug());
    config_reset();
    SimpleMixState::readDebugConfiguration();
}

// Run by DebugFlagIsReadWhenTheLibraryIsLoaded in a child process whose configuration
// file sets the value; run on its own it checks the flag of this process's environment.
TEST(SimpleMixStateStream, DebugFlagAtLoad) {
    const char* expected = std::getenv("MIXTEST_EXPECT_DEBUG");
    EXPECT_EQ(SimpleMixState::showMixChansDebug(), expected != nullptr && std::string(expected) == "1");
}

TEST(SimpleMixStateStream, DebugFlagIsReadWhenTheLibraryIsLoaded) {
    char exe[4096];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    ASSERT_GT(n, 0);
    exe[n] = '\0';
    audatoms::test::ScratchDir dir;
    for (auto [value, expected] : {std::pair{"1", "1"}, std::pair{"2", "0"}, std::pair{"0", "0"}}) {
        const std::string config = dir.file("mixtest_debug.conf");
        std::ofstream(config) << "# mixer\nshowMixChansDebug = " << value << "\n";
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            setenv("AUDATOMS_CONFIG", config.c_str(), 1);
            setenv("MIXTEST_EXPECT_DEBUG", expected, 1);
            const int devnull = open("/dev/null", O_WRONLY);
            dup2(devnull, 1);
            execl(exe, exe, "--gtest_filter=SimpleMixStateStream.DebugFlagAtLoad", static_cast<char*>(nullptr));
            _exit(127);
        }
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "value " << value;
    }
}

}  // namespace
