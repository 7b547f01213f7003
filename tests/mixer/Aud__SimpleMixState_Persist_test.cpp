// Aud::SimpleMixState: the own data of its object stream layer, byte by byte; reading
// version 1.0 with the fader conversion; refused versions; routing blocks; bounded counts.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using Aud::SimpleMixState;
using audatoms::test::assertionLine;
using Bytes = audatoms::test::StreamBytes;
using audatoms::test::assertionsOf;
using audatoms::test::faderFromMagnitude;
using audatoms::test::ownData;
using audatoms::test::record;
using audatoms::test::Unpacked;
using audatoms::test::unpackRecord;
using audatoms::test::wholeRecord;

namespace {

void expectSameBytes(const std::string& actual, const std::string& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(unsigned(std::uint8_t(actual[i])), unsigned(std::uint8_t(expected[i]))) << "byte " << i;
}

// Cell positions as the layout describes them, for 4 mixes and 4 outputs.
int inputCell(int input, int mix) { return input * 4 + (mix + 1); }
int outputCell(int mix, int output, bool left) { return ((mix + 1) * 4 + (output + 2)) * 2 + (left ? 0 : 1); }

// 2 inputs, 4 mixes, 4 outputs with levels, pans, routes, mutes and solos set.
Qm::Ptr<SimpleMixState> knownState() {
    Qm::Ptr<SimpleMixState> s(new SimpleMixState(2, 4, 4));
    s->setInputLevel(0, 0.25f);
    s->setInputLevel(1, 1.5f);
    s->setInputPan(0, 0.0f);
    s->setInputPan(1, 0.75f);
    s->setMixLevel(-1, 0.5f);
    s->setMixLevel(0, 0.125f);
    s->setMixLevel(1, 1.25f);
    s->setMixLevel(2, 0.0f);
    s->setInputRoutedToMix(0, 0, true);
    s->setInputRoutedToMix(1, -1, false);
    s->setInputRoutedToMix(1, 2, true);
    s->setMixRoutedToOutput(0, 1, false, true);  // exclusive: takes output 1 from the main mix
    s->setMixRoutedToOutput(1, -2, true, true);  // special output: a single cell
    s->setInputMuteState(1, true);
    s->setInputSoloState(0, true);
    s->setMixMuteState(2, true);
    s->setMixSoloState(-1, true);
    s->setMixSoloState(1, true);
    return s;
}

// The known state's own data, worked out from the layout table.
std::string knownStateOwnData() {
    std::vector<std::uint8_t> in(2 * 4, 0);
    in[inputCell(0, -1)] = 1;  // defaults: every input feeds the main mix
    in[inputCell(1, -1)] = 1;
    in[inputCell(0, 0)] = 1;
    in[inputCell(1, -1)] = 0;
    in[inputCell(1, 2)] = 1;
    std::vector<std::uint8_t> out(4 * 4 * 2, 0);  // the used part: mixes x outputs x 2
    out[outputCell(-1, 0, true)] = 1;             // defaults
    out[outputCell(-1, 1, false)] = 1;
    for (int mix = -1; mix <= 2; ++mix)
        for (bool left : {true, false}) out[outputCell(mix, 1, left)] = 0;
    out[outputCell(0, 1, false)] = 1;
    out[outputCell(1, -2, true)] = 1;
    Bytes b;
    b.u8(1).i32(2).i32(4).i32(4);
    b.u32(2 * 4).f32(0.25f).f32(1.5f);                        // input levels: a byte count
    b.u32(2 * 4).f32(0.0f).f32(0.75f);                        // input pans
    b.u32(4 * 4).f32(0.5f).f32(0.125f).f32(1.25f).f32(0.0f);  // mix levels, main mix first
    b.block(in).block(out);
    b.u32(2).u8(0).u8(1);              // input mutes: an element count
    b.u32(2).u8(1).u8(0);              // input solos
    b.u32(4).u8(0).u8(0).u8(0).u8(1);  // mix mutes, slots -1, 0, 1, 2
    b.u32(4).u8(1).u8(0).u8(1).u8(0);  // mix solos
    return b.str();
}

// Own data of a 1.0 or 1.1 record with 2 inputs, 4 mixes and 4 outputs.
std::string ownDataWith(const std::vector<float>& inputLevels, const std::vector<float>& mixLevels) {
    Bytes b;
    b.u8(1).i32(2).i32(4).i32(4);
    b.u32(8).f32(inputLevels[0]).f32(inputLevels[1]);
    b.u32(8).f32(0.5f).f32(0.25f);
    b.u32(16);
    for (float v : mixLevels) b.f32(v);
    b.block(std::vector<std::uint8_t>(8, 0)).block(std::vector<std::uint8_t>(32, 0));
    b.u32(2).u8(0).u8(0).u32(2).u8(0).u8(0).u32(4).u32(0).u32(4).u32(0);
    return b.str();
}

TEST(SimpleMixStatePersist, KnownStateOwnDataByteByByte) {
    Qm::Ptr<SimpleMixState> s = knownState();
    expectSameBytes(ownData(*s), knownStateOwnData());
}

TEST(SimpleMixStatePersist, KnownStateWholeRecordByteByByte) {
    Qm::Ptr<SimpleMixState> s = knownState();
    const std::string bytes = record(*s);
    expectSameBytes(bytes, wholeRecord(knownStateOwnData()));
    // The layer versions written: Streamable = stream format 2, Taggable 1.0, mixer 1.1.
    EXPECT_EQ(s->Streamable::STRM_layerVersion().major, 2u);
    EXPECT_EQ(s->STRM_layerVersion().major, 1u);
    EXPECT_EQ(s->STRM_layerVersion().minor, 1u);
}

TEST(SimpleMixStatePersist, InvalidStateIsOneZeroByteAndReadsBackInvalid) {
    SimpleMixState invalid;
    expectSameBytes(ownData(invalid), std::string(1, '\0'));
    const std::string bytes = record(invalid);
    expectSameBytes(bytes, wholeRecord(std::string(1, '\0')));

    Qm::Ptr<SimpleMixState> target = knownState();
    const Unpacked u = unpackRecord(*target, bytes);
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    EXPECT_EQ(u.printed, "");
    EXPECT_FALSE(target->valid());
    EXPECT_FALSE(target->getDirty());
    EXPECT_EQ(target->numInputChans(), 0);
    EXPECT_EQ(target->numMixChans(), 0);
    EXPECT_EQ(target->numOutputChans(), 0);
}

TEST(SimpleMixStatePersist, KnownStateReadsBackEqualAndDirty) {
    Qm::Ptr<SimpleMixState> s = knownState();
    SimpleMixState back;
    const Unpacked u = unpackRecord(back, wholeRecord(knownStateOwnData()));
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    EXPECT_EQ(u.printed, "");
    EXPECT_EQ(u.log, "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(back, *s, &why)) << why;
    EXPECT_TRUE(back.getDirty());  // the reset inside init marks it
}

TEST(SimpleMixStatePersist, Version10IsReadThroughTheFaderCurve) {
    const std::vector<float> inputs = {1.0f, 0.5f};
    const std::vector<float> mixes = {0.0f, 2.0f, 10.0f, -0.001f};
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(ownDataWith(inputs, mixes), 1, 0));
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    ASSERT_TRUE(s.valid());
    EXPECT_EQ(s.STRM_layerVersion().minor, 0u);
    EXPECT_EQ(s.getInputLevel(0), 1.0f);  // exactly 1.0 stays
    EXPECT_EQ(s.getInputLevel(1), faderFromMagnitude(0.5f));
    // Independent check against the fader law: -6.02 dB lies between -10 dB at 49/72 and
    // -5 dB at 60/72: (49 + 11 * (20 log10 0.5 + 10) / 5) / 72 = 0.802148.
    EXPECT_NEAR(s.getInputLevel(1), 0.802148f, 2e-4f);
    EXPECT_EQ(s.getMixLevel(-1), 0.0f);
    EXPECT_EQ(s.getMixLevel(0), faderFromMagnitude(2.0f));
    // +6.02 dB lies between +5 dB at 87/72 and +10 dB at 100/72: 1.245189.
    EXPECT_NEAR(s.getMixLevel(0), 1.245189f, 2e-4f);
    EXPECT_EQ(s.getMixLevel(1), faderFromMagnitude(10.0f));    // past the table: last node, extrapolated
    EXPECT_EQ(s.getMixLevel(2), faderFromMagnitude(-0.001f));  // quotient -0.2 truncates to node 0
    EXPECT_LT(s.getMixLevel(2), 0.0f);                         // unpacking does not clamp
    // Pans are not levels: no conversion.
    EXPECT_EQ(s.getInputPan(1), 0.25f);

    // Packing writes version 1.1 with the converted values.
    StreamFile f;
    PStream p(f);
    s.STRM_hierarchyPack(p);
    EXPECT_EQ(s.STRM_layerVersion().minor, 1u);
    SimpleMixState again;
    EXPECT_EQ(unpackRecord(again, f.bytes()).errors, "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(again, s, &why)) << why;
}

TEST(SimpleMixStatePersist, Version11LevelsAreTakenAsTheyAre) {
    SimpleMixState s;
    unpackRecord(s, wholeRecord(ownDataWith({1.0f, 0.5f}, {0.0f, 2.0f, 10.0f, -0.001f}), 1, 1));
    EXPECT_EQ(s.getInputLevel(1), 0.5f);
    EXPECT_EQ(s.getMixLevel(0), 2.0f);  // not clamped either: read as stored
    EXPECT_EQ(s.getMixLevel(1), 10.0f);
}

TEST(SimpleMixStatePersist, NewerVersionsAreRefusedAndLeaveTheStateInvalid) {
    const std::string own = knownStateOwnData();
    for (auto [major, minor] : {std::pair{1u, 2u}, std::pair{2u, 0u}, std::pair{255u, 255u}}) {
        Qm::Ptr<SimpleMixState> s = knownState();
        const Unpacked u = unpackRecord(*s, wholeRecord(own, major, minor));
        const std::string v = std::to_string(major) + "." + std::to_string(minor);
        EXPECT_EQ(u.errors, "Encountered unknown version of SoftwareAudioMixer::SimpleMixState (current v1.1, "
                            "encountered v" +
                                v + ").");
        EXPECT_FALSE(s->valid());
        EXPECT_FALSE(s->getDirty());
        // Nothing of the own data was read: the framework skips it with a warning.
        EXPECT_EQ(u.log, "Warning: Not all object data was read while unpacking object Aud::SimpleMixState, layer "
                         "Aud::SimpleMixState v" +
                             v + ", " + std::to_string(own.size()) + "/" + std::to_string(own.size()) +
                             " bytes unread.\n");
        EXPECT_EQ(u.status, kStreamLayerOk);
    }
}

TEST(SimpleMixStatePersist, ShorterRoutingBlocksAreZeroPadded) {
    Bytes b;
    b.u8(1).i32(2).i32(4).i32(4).u32(0).u32(0).u32(0);
    b.block({1, 1, 1});           // 3 of 8 bytes
    b.block({0, 0, 0, 0, 0, 1});  // 6 of 32 bytes: mix -1, output 0, right
    b.u32(0).u32(0).u32(0).u32(0);
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
    EXPECT_EQ(u.errors, "");
    EXPECT_EQ(u.printed, "");
    ASSERT_TRUE(s.valid());
    EXPECT_TRUE(s.getInputRoutedToMix(0, -1));
    EXPECT_TRUE(s.getInputRoutedToMix(0, 0));
    EXPECT_TRUE(s.getInputRoutedToMix(0, 1));
    EXPECT_FALSE(s.getInputRoutedToMix(0, 2));
    EXPECT_FALSE(s.getInputRoutedToMix(1, -1));  // padded with zeros, not the default
    EXPECT_TRUE(s.getMixRoutedToOutput(-1, 0, false));
    EXPECT_FALSE(s.getMixRoutedToOutput(-1, 0, true));  // the default route was replaced
    EXPECT_FALSE(s.getMixRoutedToOutput(-1, 1, false));
    // Zero counts: levels, pans and switches keep their defaults.
    EXPECT_EQ(s.getInputLevel(0), 1.0f);
    EXPECT_EQ(s.getInputPan(1), 0.5f);
}

TEST(SimpleMixStatePersist, LongerRoutingBlockFailsWithTheBinarySizeMessage) {
    Bytes b;
    b.u8(1).i32(2).i32(4).i32(4).u32(8).f32(0.5f).f32(0.25f).u32(0).u32(0);
    b.block(std::vector<std::uint8_t>(9, 1));  // one byte too many
    b.block(std::vector<std::uint8_t>(32, 0));
    b.u32(2).u8(1).u8(1).u32(0).u32(0).u32(0);
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
    EXPECT_EQ(u.printed, assertionLine(772));
    EXPECT_EQ(u.errors, "Encountered unexpected binary data size while unpacking SoftwareAudioMixer::SimpleMixState");
    // Valid, with what was read so far over the defaults.
    ASSERT_TRUE(s.valid());
    EXPECT_EQ(s.getInputLevel(0), 0.5f);
    EXPECT_EQ(s.getInputLevel(1), 0.25f);
    EXPECT_TRUE(s.getInputRoutedToMix(1, -1));  // the refused block left the table alone
    EXPECT_FALSE(s.getInputMuteState(0));       // not read
}

TEST(SimpleMixStatePersist, LongerMixRoutingBlockFailsToo) {
    Bytes b;
    b.u8(1).i32(1).i32(1).i32(2).u32(0).u32(0).u32(0);
    b.block({1}).block({0, 0, 0, 0, 1});  // used part: 1 x 2 x 2 = 4 bytes
    b.u32(0).u32(0).u32(0).u32(0);
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
    EXPECT_EQ(u.printed, assertionLine(772));
    EXPECT_EQ(u.errors, "Encountered unexpected binary data size while unpacking SoftwareAudioMixer::SimpleMixState");
    EXPECT_TRUE(s.valid());
}

TEST(SimpleMixStatePersist, CheckUnpackBinary) {
    SimpleMixState s;
    auto blockStream = [](const std::vector<std::uint8_t>& v) {
        Bytes b;
        b.block(v);
        return b.str();
    };
    {
        StreamFile f;
        f.setBytes(blockStream({7, 8}));
        PStream p(f);
        unsigned char dest[5] = {9, 9, 9, 9, 9};
        EXPECT_TRUE(s.checkUnpackBinary(dest, 4, p));
        EXPECT_EQ(std::vector<int>(dest, dest + 5), (std::vector<int>{7, 8, 0, 0, 9}));
    }
    {
        StreamFile f;
        f.setBytes(blockStream({1, 2, 3, 4}));
        PStream p(f);
        unsigned char dest[4] = {};
        EXPECT_TRUE(s.checkUnpackBinary(dest, 4, p));
        EXPECT_EQ(std::vector<int>(dest, dest + 4), (std::vector<int>{1, 2, 3, 4}));
    }
    {
        StreamFile f;
        f.setBytes(blockStream({1, 2, 3, 4, 5}));
        PStream p(f);
        unsigned char dest[4] = {9, 9, 9, 9};
        bool ok = true;
        EXPECT_EQ(assertionsOf([&] { ok = s.checkUnpackBinary(dest, 4, p); }), assertionLine(772));
        EXPECT_FALSE(ok);
        EXPECT_EQ(std::vector<int>(dest, dest + 4), (std::vector<int>{9, 9, 9, 9}));
        EXPECT_TRUE(f.atEnd());  // the block was consumed
    }
    {
        StreamFile f;
        f.setBytes(blockStream({1, 2, 3}).substr(0, 5));  // length says 3, one byte there
        PStream p(f);
        unsigned char dest[4] = {9, 9, 9, 9};
        EXPECT_FALSE(s.checkUnpackBinary(dest, 4, p));
        EXPECT_EQ(std::vector<int>(dest, dest + 4), (std::vector<int>{9, 9, 9, 9}));
    }
    {
        StreamFile f;
        f.setBytes(blockStream({}));
        PStream p(f);
        EXPECT_TRUE(s.checkUnpackBinary(nullptr, 0, p));
    }
}

TEST(SimpleMixStatePersist, CountsLargerThanTheTablesLeaveTheRestUnread) {
    // 12 bytes of input levels for 2 inputs: two floats are read and the third one is
    // where the reader then expects the pan byte count, so it is written as one.
    Bytes b;
    b.u8(1).i32(2).i32(2).i32(2);
    b.u32(12).f32(0.5f).f32(0.25f);
    b.u32(8).f32(-1.0f).f32(2.0f);     // pans
    b.u32(20).f32(0.75f).f32(0.125f);  // 5 mix levels claimed for 2 mixes
    b.block({1, 0, 1, 1}).block({0, 0, 0, 0, 0, 0, 0, 0});
    b.u32(1000).u8(1).u8(1);  // 1000 mutes claimed for 2 inputs
    b.u32(3).u8(1).u8(0);     // solos: 3 claimed
    b.u32(7).u8(1).u8(0);     // mix mutes
    b.u32(2).u8(0).u8(1);     // mix solos
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
    EXPECT_EQ(u.status, kStreamLayerOk);
    EXPECT_EQ(u.errors, "");
    EXPECT_EQ(u.printed, "");
    ASSERT_TRUE(s.valid());
    EXPECT_EQ(s.getInputLevel(0), 0.5f);
    EXPECT_EQ(s.getInputLevel(1), 0.25f);
    EXPECT_EQ(s.getInputPan(0), -1.0f);
    EXPECT_EQ(s.getInputPan(1), 2.0f);
    EXPECT_EQ(s.getMixLevel(-1), 0.75f);
    EXPECT_EQ(s.getMixLevel(0), 0.125f);
    EXPECT_TRUE(s.getInputRoutedToMix(0, -1));
    EXPECT_FALSE(s.getInputRoutedToMix(0, 0));
    EXPECT_TRUE(s.getInputRoutedToMix(1, 0));
    EXPECT_TRUE(s.getInputMuteState(0));
    EXPECT_TRUE(s.getInputMuteState(1));
    EXPECT_TRUE(s.getInputSoloState(0));
    EXPECT_FALSE(s.getInputSoloState(1));
    EXPECT_TRUE(s.getMixMuteState(-1));
    EXPECT_FALSE(s.getMixMuteState(0));
    EXPECT_FALSE(s.getMixSoloState(-1));
    EXPECT_TRUE(s.getMixSoloState(0));
}

TEST(SimpleMixStatePersist, EveryNonZeroFlagByteIsTrue) {
    Bytes b;
    b.u8(1).i32(3).i32(2).i32(2).u32(0).u32(0).u32(0);
    b.block(std::vector<std::uint8_t>(6, 0)).block(std::vector<std::uint8_t>(8, 0));
    b.u32(3).u8(2).u8(0).u8(255);  // input mutes
    b.u32(3).u8(0).u8(128).u8(1);  // input solos
    b.u32(2).u8(7).u8(0);          // mix mutes
    b.u32(2).u8(0).u8(64);         // mix solos
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
    EXPECT_EQ(u.errors, "");
    EXPECT_TRUE(s.getInputMuteState(0));
    EXPECT_FALSE(s.getInputMuteState(1));
    EXPECT_TRUE(s.getInputMuteState(2));
    EXPECT_FALSE(s.getInputSoloState(0));
    EXPECT_TRUE(s.getInputSoloState(1));
    EXPECT_TRUE(s.getInputSoloState(2));
    EXPECT_TRUE(s.getMixMuteState(-1));
    EXPECT_FALSE(s.getMixMuteState(0));
    EXPECT_FALSE(s.getMixSoloState(-1));
    EXPECT_TRUE(s.getMixSoloState(0));
    // Routing cells are different: only a byte equal to 1 means routed.
    Bytes r;
    r.u8(1).i32(1).i32(2).i32(2).u32(0).u32(0).u32(0);
    r.block({2, 1}).block({0, 0, 0, 0, 255, 1, 0, 0});
    r.u32(0).u32(0).u32(0).u32(0);
    SimpleMixState t;
    EXPECT_EQ(unpackRecord(t, wholeRecord(r.str())).errors, "");
    EXPECT_FALSE(t.getInputRoutedToMix(0, -1));
    EXPECT_TRUE(t.getInputRoutedToMix(0, 0));
    EXPECT_FALSE(t.getMixRoutedToOutput(0, -2, true));
    EXPECT_TRUE(t.getMixRoutedToOutput(0, -2, false));
}

TEST(SimpleMixStatePersist, SmallByteCountsReadNothing) {
    Bytes b;
    b.u8(1).i32(1).i32(1).i32(2).u32(3).u32(0).u32(0).block({1}).block({0, 0, 0, 0});
    b.u32(0).u32(0).u32(0).u32(0);
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
    // A byte count of 3 holds no whole float: nothing is read, and the next field (the
    // pan byte count) starts right after the count.
    EXPECT_EQ(u.errors, "");
    EXPECT_EQ(s.getInputLevel(0), 1.0f);
}

TEST(SimpleMixStatePersist, UnsupportedDimensionsAreRefused) {
    for (auto [n, m, o] :
         {std::tuple{-1, 4, 4}, std::tuple{1025, 4, 4}, std::tuple{2, 65, 4}, std::tuple{2, -4, 4},
          std::tuple{2, 4, 19}, std::tuple{2, 4, -1}, std::tuple{0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF}}) {
        Bytes b;
        b.u8(1).i32(n).i32(m).i32(o);
        SimpleMixState s;
        const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
        EXPECT_EQ(u.errors, "Encountered unsupported dimensions (" + std::to_string(n) + " inputs, " +
                                std::to_string(m) + " mixes, " + std::to_string(o) +
                                " outputs) while unpacking SoftwareAudioMixer::SimpleMixState");
        EXPECT_FALSE(s.valid());
    }
    // The limits themselves are read.
    Bytes b;
    b.u8(1).i32(1024).i32(64).i32(18);
    b.u32(0).u32(0).u32(0).u32(0).u32(0).u32(0).u32(0).u32(0).u32(0);
    SimpleMixState s;
    const Unpacked u = unpackRecord(s, wholeRecord(b.str()));
    EXPECT_EQ(u.errors, "");
    EXPECT_TRUE(s.valid());
    EXPECT_EQ(s.numInputChans(), 1024);
    EXPECT_EQ(s.numOutputChans(), 18);
}

TEST(SimpleMixStatePersist, ZeroSizedTablesRoundTrip) {
    for (auto [n, m, o] : {std::tuple{0, 4, 4}, std::tuple{3, 2, 0}, std::tuple{0, 1, 0}}) {
        SimpleMixState s(n, m, o);
        SimpleMixState back;
        const Unpacked u = unpackRecord(back, record(s));
        EXPECT_EQ(u.errors, "");
        EXPECT_EQ(u.log, "");
        std::string why;
        EXPECT_TRUE(audatoms::test::sameState(back, s, &why)) << why;
    }
}

}  // namespace
