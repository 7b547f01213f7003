// audatoms play SESSION.ini [--server NAME] [--no-connect | --connect PORT...] [--no-ui]
//                           [--seconds N] [--start S] [--loop A B] [--edits FILE]
//                           [--capture FILE [--capture-type 16|24|24-unpacked]]
// Plays a session on a JACK server in real time, with the terminal mixer when standard
// input and output are a terminal (and --no-ui is not given), headless otherwise.
#include "tools/AudioFileWriter.h"
#include "tools/Commands.h"
#include "tools/MixerUi.h"
#include "tools/PlayReport.h"
#include "tools/Player.h"
#include "tools/ScriptedEdits.h"
#include "tools/ToolError.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>
#include <unistd.h>

namespace audtool {

namespace {

struct PlayCliOptions {
    std::filesystem::path session;
    std::string server;
    std::string clientName = "audatoms";
    bool noConnect = false;
    std::vector<std::string> connect;
    bool noUi = false;
    double seconds = -1;
    double start = 0;
    std::vector<double> loop;
    std::filesystem::path edits;
    std::filesystem::path capture;
    std::string captureType = "24";
    double aheadSeconds = 4;
    unsigned diskDelayMs = 0;
    std::string plant;
};

// Applies the scripted edits whose time the transport has reached.
struct EditPlayer {
    std::vector<ScriptedEdit> edits;
    std::size_t next = 0;
    std::vector<AppliedEdit> applied;

    void poll(Player& player) {
        const double at = player.positionSeconds();
        while (next < edits.size() && edits[next].time <= at) {
            const ScriptedEdit& e = edits[next++];
            applied.push_back({e.line, e.text, e.time, applyEdit(e, player)});
        }
    }
};

std::unique_ptr<Result> runPlay(const GlobalOptions& g, const PlayCliOptions& o) {
    const int captureType = exportSampleType(o.captureType);
    const Session session = loadSession(o.session);
    EditPlayer edits;
    if (!o.edits.empty()) edits.edits = loadEdits(o.edits);
    std::stable_sort(edits.edits.begin(), edits.edits.end(),
                     [](const ScriptedEdit& a, const ScriptedEdit& b) { return a.time < b.time; });

    PlayerOptions po;
    po.server = o.server;
    po.clientName = o.clientName;
    po.connect = !o.noConnect;
    po.connectPorts = o.connect;
    po.capture = !o.capture.empty();
    po.disk.aheadSeconds = o.aheadSeconds;
    po.disk.delayMsPerChunk = o.diskDelayMs;
    po.plant = o.plant;
    Player player(session, po);
    for (const ScriptedEdit& e : edits.edits)
        if (e.input >= player.numInputs())
            throw InputError(o.edits.string() + ":" + std::to_string(e.line) + ": input " + std::to_string(e.input) +
                             " is not in the session (inputs 0 to " + std::to_string(player.numInputs() - 1) + ")");
    if (o.loop.size() == 2) player.setLoop(o.loop[0], o.loop[1]);
    if (o.start > 0) player.locate(o.start);

    const bool ui = !o.noUi && ::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO);
    const double limit = o.seconds >= 0 ? o.seconds : 1e300;  // default: to the end (or q)
    const auto t0 = std::chrono::steady_clock::now();
    auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(); };
    player.start();
    if (ui) {
        runMixerUi(
            player, [&] { edits.poll(player); }, limit);
    } else {
        player.play();
        // The user-interface thread of a headless run: the scripted edits, at their times.
        while (elapsed() < limit && !player.atEnd() && !player.serverGone()) {
            edits.poll(player);
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    }
    const double wall = elapsed();
    player.stop();

    auto report = makePlayReport(player, wall);
    report->edits = std::move(edits.applied);
    if (!o.capture.empty()) {
        player.writeCapture(o.capture, captureType);
        report->capturePath = o.capture.string();
        report->note = "wrote " + o.capture.string() + "\n";
    }
    if (player.serverGone()) report->failure = "the JACK server stopped during the run";
    else if (!player.diskError().empty()) report->failure = "reading an input failed: " + player.diskError();
    (void)g;
    return report;
}

}  // namespace

void addPlayCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<PlayCliOptions>();
    CLI::App* sub = app.add_subcommand("play", "Play a session on a JACK server in real time, with a terminal mixer");
    sub->footer("Needs a running JACK server (jackd, or PipeWire's JACK layer) at the session's sample rate.\n"
                "With a terminal: the mixer (keys: see the README). Without one, or with --no-ui: plays for\n"
                "--seconds (default: to the session's end) and prints the callback figures.\n"
                "Exit status 2 when no server runs, the rates differ or an input cannot be read.");
    sub->add_option("SESSION", o->session, "Session file")->required();
    sub->add_option("--server", o->server, "JACK server name (default: the default server)");
    sub->add_option("--name", o->clientName, "JACK client name")->capture_default_str();
    sub->add_flag("--no-connect", o->noConnect, "Do not connect the outputs to the playback ports");
    sub->add_option("--connect", o->connect, "Connect the outputs, in order, to these ports")->expected(1, 16);
    sub->add_flag("--no-ui", o->noUi, "Run headless even on a terminal");
    sub->add_option("--seconds", o->seconds, "Stop after this many seconds of wall time")
        ->check(CLI::NonNegativeNumber);
    sub->add_option("--start", o->start, "Start from this position (seconds)")->check(CLI::NonNegativeNumber);
    sub->add_option("--loop", o->loop, "Loop between two positions (seconds)")->expected(2);
    sub->add_option("--edits", o->edits, "Replay timed edits from this file (see the README)");
    sub->add_option("--capture", o->capture, "Write what the callbacks rendered to this file");
    sub->add_option("--capture-type", o->captureType, "Captured samples: 16, 24 or 24-unpacked")->capture_default_str();
    sub->add_option("--read-ahead", o->aheadSeconds, "Seconds read ahead per input file")
        ->check(CLI::Range(0.1, 60.0))
        ->capture_default_str();
    // Test-only: a throttled disk reader, and a planted allocation or lock in the callback.
    sub->add_option("--test-disk-delay-ms", o->diskDelayMs)->group("");
    sub->add_option("--test-plant", o->plant)->check(CLI::IsMember({"alloc", "lock"}))->group("");
    sub->callback([&action, &g, o] { action = [&g, o] { return runPlay(g, *o); }; });
}

}  // namespace audtool
