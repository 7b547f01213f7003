// Aud::SimpleMixState: saving to and loading from files, as an object stream record and
// as configuration text; damaged and truncated files.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/ScratchDir.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using Aud::SimpleMixState;
using audatoms::test::assertionsOf;

namespace {

// A fresh, empty directory for one test.
class SimpleMixStateFiles : public testing::Test {
protected:
    std::string path(const std::string& name) const { return dir_.file(name); }
    std::vector<std::string> listing() const { return dir_.entries(); }
    static std::string read(const std::string& p) {
        std::ifstream in(p, std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }
    static void write(const std::string& p, const std::string& bytes) { std::ofstream(p, std::ios::binary) << bytes; }
    audatoms::test::ScratchDir dir_;
};

Qm::Ptr<SimpleMixState> sample(unsigned seed) {
    std::mt19937 rng(seed);
    return audatoms::test::randomState(rng, true, 32, 4);
}

TEST_F(SimpleMixStateFiles, StreamFileRoundTripAndExactBytes) {
    Qm::Ptr<SimpleMixState> s = sample(1);
    std::string error;
    ASSERT_TRUE(s->saveToStreamFile(path("mix.strm"), &error)) << error;
    StreamFile mem;
    PStream p(mem);
    s->STRM_hierarchyPack(p);
    EXPECT_EQ(read(path("mix.strm")), mem.bytes());
    SimpleMixState back;
    ASSERT_TRUE(back.loadFromStreamFile(path("mix.strm"), &error)) << error;
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(back, *s, &why)) << why;
    EXPECT_EQ(listing(), std::vector<std::string>{"mix.strm"});  // no temporary left behind
}

TEST_F(SimpleMixStateFiles, SavingOverALongerFileReplacesItWhole) {
    SimpleMixState big(400, 8, 18);
    ASSERT_TRUE(big.saveToStreamFile(path("mix.strm")));
    SimpleMixState small(2, 4, 4);
    ASSERT_TRUE(small.saveToStreamFile(path("mix.strm")));
    SimpleMixState back;
    std::string error;
    ASSERT_TRUE(back.loadFromStreamFile(path("mix.strm"), &error)) << error;
    EXPECT_EQ(back.numInputChans(), 2);
    EXPECT_EQ(listing(), std::vector<std::string>{"mix.strm"});
}

TEST_F(SimpleMixStateFiles, AFailedSaveLeavesNothingBehind) {
    SimpleMixState s(2, 4, 4);
    std::string error;
    EXPECT_FALSE(s.saveToStreamFile(path("missing/dir/mix.strm"), &error));
    EXPECT_NE(error, "");
    EXPECT_FALSE(s.saveConfigurationFile(path("missing/dir/mix.ini"), &error));
    EXPECT_EQ(listing(), std::vector<std::string>{});
    // A directory in the way: the rename fails and the temporary is removed.
    ASSERT_EQ(mkdir(path("taken").c_str(), 0755), 0);
    ASSERT_TRUE(SimpleMixState(1, 1, 1).saveToStreamFile(path("taken/inner")));
    EXPECT_FALSE(s.saveToStreamFile(path("taken"), &error));
    EXPECT_NE(error, "");
    EXPECT_EQ(listing(), std::vector<std::string>{"taken"});
    std::remove(path("taken/inner").c_str());
    rmdir(path("taken").c_str());
}

TEST_F(SimpleMixStateFiles, MissingDamagedAndTruncatedStreamFiles) {
    SimpleMixState s(2, 4, 4);
    std::string error;
    EXPECT_FALSE(s.loadFromStreamFile(path("nothing.strm"), &error));
    EXPECT_NE(error, "");

    write(path("empty.strm"), "");
    EXPECT_FALSE(s.loadFromStreamFile(path("empty.strm"), &error));
    EXPECT_EQ(error, "Unexpected end-of-file while unpacking Aud::SimpleMixState, layer Streamable.");

    write(path("text.strm"), "[SimpleMixState]\nVersion=1.1\n");
    EXPECT_FALSE(s.loadFromStreamFile(path("text.strm"), &error));
    EXPECT_NE(error, "");

    SimpleMixState original(8, 4, 4);
    original.setInputLevel(7, 0.25f);
    original.setMixSoloState(2, true);
    ASSERT_TRUE(original.saveToStreamFile(path("good.strm")));
    const std::string bytes = read(path("good.strm"));
    for (std::size_t cut : {bytes.size() - 1, bytes.size() / 2, std::size_t(40)}) {
        write(path("cut.strm"), bytes.substr(0, cut));
        SimpleMixState target;
        assertionsOf([&] { EXPECT_FALSE(target.loadFromStreamFile(path("cut.strm"), &error)) << cut; });
        EXPECT_EQ(error, "Unexpected end-of-file while unpacking Aud::SimpleMixState, layer Aud::SimpleMixState.");
    }
    // A flipped version byte: refused, the state left invalid.
    std::string newer = bytes;
    newer[2 + 2 + 8 + 2 + 2 + 8 + 3 + 1] = 2;  // the mixer layer's minor version
    write(path("newer.strm"), newer);
    SimpleMixState target(2, 4, 4);
    platform::LogCapture log;
    EXPECT_FALSE(target.loadFromStreamFile(path("newer.strm"), &error));
    EXPECT_EQ(error,
              "Encountered unknown version of SoftwareAudioMixer::SimpleMixState (current v1.1, encountered v1.2).");
    EXPECT_FALSE(target.valid());
}

TEST_F(SimpleMixStateFiles, ConfigurationFileRoundTripKeepsOtherSections) {
    write(path("editor.ini"), "[Project]\nname=demo\n\n[SimpleMixState.InputChannels.Fader]\n000=0.1\n");
    Qm::Ptr<SimpleMixState> s = sample(3);
    std::string error;
    ASSERT_TRUE(s->saveConfigurationFile(path("editor.ini"), &error)) << error;
    QmIniFile ini;
    ASSERT_TRUE(ini.load(path("editor.ini")));
    ASSERT_EQ(ini.section("Project").size(), 1u);
    EXPECT_EQ(ini.section("Project")[0].value(), "demo");
    SimpleMixState back(s->numInputChans(), s->numMixChans(), s->numOutputChans());
    ASSERT_TRUE(back.loadConfigurationFile(path("editor.ini"), &error)) << error;
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(back, *s, &why, {false})) << why;
    EXPECT_EQ(listing(), std::vector<std::string>{"editor.ini"});
}

TEST_F(SimpleMixStateFiles, DamagedConfigurationFilesGiveDefaultsForWhatIsUnreadable) {
    SimpleMixState s(2, 2, 4);
    std::string error;
    EXPECT_FALSE(s.loadConfigurationFile(path("nothing.ini"), &error));
    EXPECT_NE(error, "");
    write(path("bad.ini"), std::string("\x01\x02[Simple\n=\n[SimpleMixState.InputChannels.Pan]\n000=0.125\n001\n") +
                               std::string("\0\0\xff", 3));
    ASSERT_TRUE(s.loadConfigurationFile(path("bad.ini"), &error)) << error;
    EXPECT_EQ(s.getInputPan(0), 0.125f);
    EXPECT_EQ(s.getInputPan(1), 0.5f);
    SimpleMixState invalid;
    EXPECT_FALSE(invalid.loadConfigurationFile(path("bad.ini"), &error));
    EXPECT_NE(error, "");
}

}  // namespace
