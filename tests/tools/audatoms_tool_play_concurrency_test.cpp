// The player under concurrent use: a headless run with edits of every kind from the
// user-interface thread every 10 ms (faders, pans, mutes, solos, automation nodes
// written, moved and erased) while the audio thread renders. In the ThreadSanitizer
// build (make test-tsan) the run lasts 60 seconds and any report fails it (the tool
// exits with the sanitizer's status); in the other builds it lasts 4 seconds.
#include "tests/support/JackServer.h"
#include "tests/support/ToolTestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

using namespace audatoms::test;

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr int kSeconds = 60;
#else
constexpr int kSeconds = 4;
#endif

TEST(PlayConcurrency, EditsEveryTenMillisecondsWhilePlaying) {
    ScratchDir dir;
    const int n = 48000 * 2;
    std::vector<double> st(std::size_t(n) * 2);
    for (int i = 0; i < n; ++i) {
        st[std::size_t(i) * 2] = 0.4 * std::sin(2 * M_PI * 220 * i / 48000.0);
        st[std::size_t(i) * 2 + 1] = 0.4 * std::sin(2 * M_PI * 330 * i / 48000.0);
    }
    writeDoubles(dir.file("st.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 48000, st);
    writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=" + std::to_string(kSeconds) +
                                     "\nOutputs=2\n[Inputs]\nFile=st.wav\n[Automation.0]\n0=1\n0.5=0.5\n1=1\n"
                                     "[EQ.1]\nBand=peaking:1000:q=1:+3\n");
    std::ostringstream e;
    int lines = 0;
    for (int k = 1; k < kSeconds * 100 - 20; ++k, ++lines) {
        const double t = k * 0.01;
        switch (k % 7) {
        case 0: e << t << " fader " << k % 2 << " " << 0.5 + 0.1 * (k % 5) << "\n"; break;
        case 1: e << t << " pan " << k % 2 << " " << 0.1 * (k % 10) << "\n"; break;
        case 2: e << t << " mute " << k % 2 << " " << (k % 4 < 2 ? "on" : "off") << "\n"; break;
        case 3: e << t << " solo " << k % 2 << " " << (k % 4 < 2 ? "on" : "off") << "\n"; break;
        case 4: e << t << " node " << k % 2 << " now " << 0.2 + 0.05 * (k % 10) << "\n"; break;
        case 5: e << t << " move 0 0.5 " << 0.5 + 0.001 * (k % 50) << "\n"; break;
        default: e << t << " erase 1 " << t - 0.03 << "\n"; break;
        }
    }
    writeText(dir.file("edits.txt"), e.str());
    JackServer server(48000, 256, "tsan");
    ASSERT_TRUE(server.ready());
    const RunResult r =
        runTool({"--json", "play", dir.file("s.ini"), "--server", server.name(), "--no-ui", "--no-connect", "--edits",
                 dir.file("edits.txt"), "--seconds", std::to_string(kSeconds * 3)});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err.find("ThreadSanitizer"), std::string::npos) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["edits"].size(), std::size_t(lines));
    EXPECT_EQ(j["frames_played"], std::int64_t(kSeconds) * 48000);
}

}  // namespace
