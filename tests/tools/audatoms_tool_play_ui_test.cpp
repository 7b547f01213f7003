// The player's terminal mixer, driven as a person would: tmux runs `audatoms play` on a
// terminal of its own, send-keys moves the first strip's fader and mutes it, and
// capture-pane shows the strip's new fader value, its mute mark and its meter moving.
#include "tests/support/JackServer.h"
#include "tests/support/ToolTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace audatoms::test;

namespace {

// Runs a command, returning its standard output (and its status through `status`).
std::string shell(const std::string& command, int* status = nullptr) {
    std::string out;
    if (FILE* p = ::popen(command.c_str(), "r")) {
        char buf[4096];
        for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
        const int s = ::pclose(p);
        if (status) *status = WIFEXITED(s) ? WEXITSTATUS(s) : -1;
    }
    return out;
}

// A tmux server on a socket of its own, killed with everything in it at the end.
class Tmux {
public:
    Tmux() : socket_(uniqueJackName("tmux")) {}
    ~Tmux() { shell("tmux -L " + socket_ + " kill-server >/dev/null 2>&1"); }
    std::string run(const std::string& args, int* status = nullptr) const {
        return shell("tmux -L " + socket_ + " " + args + " 2>&1", status);
    }
    std::string pane() const { return run("capture-pane -p -t ui"); }
    void keys(const std::string& k) const { run("send-keys -t ui " + k); }
    bool alive() const {
        int status = 1;
        run("has-session -t ui", &status);
        return status == 0;
    }

private:
    std::string socket_;
};

// The selected strip's row of the mixer ("> in  0 ..."), or "".
std::string selectedRow(const std::string& pane) {
    std::istringstream in(pane);
    for (std::string line; std::getline(in, line);)
        if (line.rfind("> in  0", 0) == 0) return line;
    return "";
}

std::string waitForRow(const Tmux& t, double seconds) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < until) {
        const std::string row = selectedRow(t.pane());
        if (!row.empty()) return row;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return "";
}

TEST(PlayUi, KeysMoveTheFaderAndMuteAndTheMeterMoves) {
    int status = 1;
    shell("tmux -V", &status);
    ASSERT_EQ(status, 0) << "tmux is needed (scripts/install-deps.sh installs it)";
    ScratchDir dir;
    // A tone whose level swells and falls twice a second: a meter that keeps moving.
    const int n = 48000 * 12;
    std::vector<double> x(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        x[std::size_t(i)] =
            0.8 * std::sin(2 * M_PI * 440 * i / 48000.0) * (0.5 - 0.5 * std::cos(2 * M_PI * 2 * i / 48000.0));
    writeDoubles(dir.file("tone.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 48000, x);
    writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=12\n[Inputs]\nFile=tone.wav\n");
    JackServer server(48000, 256, "ui");
    ASSERT_TRUE(server.ready());

    Tmux t;
    const std::string command = std::string(AUDATOMS_TOOL_PATH) + " play " + dir.file("s.ini") + " --server " +
                                server.name() + " --no-connect --seconds 20";
    t.run("new-session -d -s ui -x 160 -y 30 '" + command + "'");
    const std::string first = waitForRow(t, 10.0);
    ASSERT_FALSE(first.empty()) << "the mixer did not appear:\n" << t.pane();
    // Columns: marker and name (2 + 28), two blanks, the fader position.
    const double fader = std::stod(first.substr(32, 5));
    EXPECT_NE(first.find(" . . "), std::string::npos) << "not unmuted and unsoloed at the start: " << first;

    // Space starts the transport; two presses of Right move the fader up by 0.1.
    t.keys("Space");
    t.keys("Right");
    t.keys("Right");
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    std::string row = selectedRow(t.pane());
    char expected[16];
    std::snprintf(expected, sizeof expected, "%5.3f", fader + 0.1);
    EXPECT_EQ(row.substr(32, 5), expected) << row;

    t.keys("m");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    row = selectedRow(t.pane());
    EXPECT_NE(row.find(" M . "), std::string::npos) << "no mute mark: " << row;

    // The meter (the rest of the row) changes between captures a tenth of a second apart.
    std::vector<std::string> rows;
    for (int i = 0; i < 8; ++i) {
        rows.push_back(selectedRow(t.pane()));
        std::this_thread::sleep_for(std::chrono::milliseconds(110));
    }
    int changes = 0;
    for (std::size_t i = 1; i < rows.size(); ++i) changes += rows[i] != rows[i - 1];
    EXPECT_GE(changes, 3) << rows.front() << "\n" << rows.back();
    EXPECT_NE(rows.back().find('#'), std::string::npos) << "the meter shows no level: " << rows.back();

    t.keys("q");
    for (int i = 0; i < 50 && t.alive(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(t.alive()) << "q did not quit the player";
}

}  // namespace
