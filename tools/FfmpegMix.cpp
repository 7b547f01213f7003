#include "tools/FfmpegMix.h"

#include "tools/BenchSession.h"
#include "tools/Result.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <vector>

extern char** environ;

namespace audtool {

namespace {

// The filter graph: the benchmark's automation curve as a volume expression, its three
// bands at the same frequencies and gains, its pan positions, and one amix.
std::string filterGraph(unsigned inputs) {
    std::string g;
    for (unsigned i = 0; i < inputs; ++i) {
        const double pan = double(i % 5) / 4.0;
        const double left = std::cos(pan * M_PI / 2), right = std::sin(pan * M_PI / 2);
        g += formatText("[%u:a]volume=volume='0.5+0.5*sin(t+%u)':eval=frame,"
                        "lowshelf=f=%u:g=2,equalizer=f=%u:t=q:w=1.1:g=-3,highshelf=f=%u:g=1.5,"
                        "pan=stereo|c0=%.6f*c0|c1=%.6f*c0[in%u];",
                        i, i, 80 + 5 * i, 800 + 50 * i, 6000 + 100 * i, left, right, i);
    }
    for (unsigned i = 0; i < inputs; ++i) g += formatText("[in%u]", i);
    g += formatText("amix=inputs=%u:normalize=0[mix]", inputs);
    return g;
}

// The last line of text in the file that is not blank, for an error message.
std::string lastLine(const std::string& path) {
    std::ifstream in(path);
    std::string line, last = "(no message)";
    while (std::getline(in, line))
        if (line.find_first_not_of(" \t\r") != std::string::npos) last = line;
    return last;
}

}  // namespace

FfmpegMixRun runFfmpegMix(const std::filesystem::path& dir, unsigned inputs, double seconds) {
    FfmpegMixRun run;
    writeBenchSession(dir, inputs, seconds);
    std::vector<std::string> args = {"ffmpeg",   "-nostdin", "-hide_banner",    "-loglevel", "error",
                                     "-threads", "1",        "-filter_threads", "1",         "-filter_complex_threads",
                                     "1"};
    for (unsigned i = 0; i < inputs; ++i) {
        args.insert(args.end(), {"-i", (dir / formatText("input_%02u.wav", i)).string()});
    }
    args.insert(args.end(),
                {"-filter_complex", filterGraph(inputs), "-map", "[mix]", "-c:a", "pcm_s24le", "-f", "null", "-"});
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const std::string log = (dir / "ffmpeg.log").string();
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = 0;
    const auto t0 = std::chrono::steady_clock::now();
    const int spawned = posix_spawnp(&pid, "ffmpeg", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        run.why = spawned == ENOENT ? std::string("ffmpeg was not found on PATH")
                                    : std::string("ffmpeg could not be started: ") + std::strerror(spawned);
        return run;
    }
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            run.why = std::string("waiting for ffmpeg failed: ") + std::strerror(errno);
            return run;
        }
    }
    run.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        run.why = "ffmpeg failed: " + lastLine(log);
        return run;
    }
    const auto toSeconds = [](const timeval& tv) { return double(tv.tv_sec) + double(tv.tv_usec) * 1e-6; };
    run.cpuSeconds = toSeconds(usage.ru_utime) + toSeconds(usage.ru_stime);
    run.ran = true;
    return run;
}

}  // namespace audtool
