// Helpers of the audatoms tool suites: a scratch folder per test, running the built
// tool (AUDATOMS_TOOL_PATH) with its output captured, and writing and reading audio
// files with libsndfile directly (independently of the tool's own paths).
//
// Every render test gets its mix through MixCapture (a render in this process) or
// renderWithTool (the tool's render command); both fail the test on a mix sample that is
// not a finite number. A tool render writes integer samples, where an infinity or a NaN
// only shows as a clipped or odd value, so renderWithTool also renders the same session
// file here and checks the float mix the file was made from.
#pragma once

#include "tools/AudioSource.h"
#include "tools/RenderJob.h"
#include "tools/Renderer.h"
#include "tools/Session.h"
#include "ScratchDir.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace audatoms::test {

inline void writeText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
}

inline std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

struct RunResult {
    int status = -1;  // exit status, or 128 + signal
    std::string out;  // standard output
    std::string err;  // standard error
};

// Runs the tool with the arguments, in `cwd` when given; standard input is /dev/null.
// Standard output is captured into RunResult::out, or goes to `stdoutPath` when one is
// given (an existing file or device such as /dev/full; `out` is then empty).
inline RunResult runTool(const std::vector<std::string>& args, const std::string& cwd = "",
                         const std::string& stdoutPath = "") {
    ScratchDir capture;
    const std::string outPath = stdoutPath.empty() ? capture.file("stdout") : stdoutPath;
    const std::string errPath = capture.file("stderr");
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int in = ::open("/dev/null", O_RDONLY);
        const int out = stdoutPath.empty() ? ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644)
                                           : ::open(outPath.c_str(), O_WRONLY);
        const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        if (!cwd.empty() && ::chdir(cwd.c_str()) != 0) ::_exit(127);
        std::vector<char*> argv;
        std::string tool = AUDATOMS_TOOL_PATH;
        argv.push_back(tool.data());
        std::vector<std::string> copy = args;
        for (std::string& a : copy) argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(tool.c_str(), argv.data());
        ::_exit(127);
    }
    int wstatus = 0;
    ::waitpid(pid, &wstatus, 0);
    RunResult r;
    r.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
    if (stdoutPath.empty()) r.out = readText(outPath);
    r.err = readText(errPath);
    return r;
}

// Writes interleaved frames with libsndfile's own conversion: doubles (full scale 1.0)
// or 32-bit integers (full scale 2^31).
template <class T>
void writeFrames(const std::string& path, int format, int channels, int rate, const std::vector<T>& frames) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr) << sf_strerror(nullptr) << " for " << path;
    sf_command(f, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    const sf_count_t n = sf_count_t(frames.size() / channels);
    if constexpr (std::is_same_v<T, double>) EXPECT_EQ(sf_writef_double(f, frames.data(), n), n);
    else EXPECT_EQ(sf_writef_int(f, frames.data(), n), n);
    sf_close(f);
}

inline void writeDoubles(const std::string& path, int format, int channels, int rate,
                         const std::vector<double>& frames) {
    writeFrames(path, format, channels, rate, frames);
}

inline void writeInts(const std::string& path, int format, int channels, int rate, const std::vector<int>& frames) {
    writeFrames(path, format, channels, rate, frames);
}

struct Audio {
    SF_INFO info{};
    std::vector<double> samples;  // interleaved, libsndfile's normalised decode
    std::vector<int> ints;        // interleaved, libsndfile's integer decode (full scale 2^31)
};

inline Audio readAudio(const std::string& path) {
    Audio a;
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &a.info);
    EXPECT_NE(f, nullptr) << sf_strerror(nullptr) << " for " << path;
    if (!f) return a;
    a.samples.resize(std::size_t(a.info.frames) * a.info.channels);
    sf_readf_double(f, a.samples.data(), a.info.frames);
    sf_seek(f, 0, SEEK_SET);
    a.ints.resize(a.samples.size());
    sf_readf_int(f, a.ints.data(), a.info.frames);
    sf_close(f);
    return a;
}

// Packed little-endian signed 24-bit samples.
inline std::vector<std::int32_t> rawInt24(const std::string& path) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_NE(f, nullptr);
    std::vector<std::int32_t> v;
    if (!f) return v;
    std::vector<unsigned char> bytes(std::size_t(info.frames) * info.channels * 3);
    sf_read_raw(f, bytes.data(), sf_count_t(bytes.size()));
    sf_close(f);
    for (std::size_t i = 0; i + 2 < bytes.size(); i += 3) {
        const std::uint32_t u =
            std::uint32_t(bytes[i]) | std::uint32_t(bytes[i + 1]) << 8 | std::uint32_t(bytes[i + 2]) << 16;
        v.push_back(std::int32_t(u << 8) >> 8);
    }
    return v;
}

// Fails the current test when any of x[0 .. n-1] is an infinity or a NaN, naming the
// first (its index counted from `first`) and how many there are; true when all are finite.
inline bool expectFinite(const float* x, std::size_t n, const std::string& what, std::int64_t first = 0) {
    std::size_t bad = 0, at = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (!std::isfinite(x[i])) {
            if (bad++ == 0) at = i;
        }
    if (bad)
        ADD_FAILURE() << what << ": " << bad << " samples are not finite, the first at frame "
                      << first + std::int64_t(at) << " (" << x[at] << ")";
    return bad == 0;
}

// A render's output channels as the sink gets them, each block checked finite on arrival
// (an output's first failing block is reported, not every one after it), and kept
// unless `keep` is false.
struct MixCapture {
    std::vector<std::vector<float>> out;
    std::int64_t frames = 0;
    bool keep = true;

    void attach(audtool::Renderer& r) {
        out.assign(r.config().outputs, {});
        failed_.assign(out.size(), 0);
        frames = 0;
        r.setSink([this](const float* const* o, unsigned n) {
            for (std::size_t k = 0; k < out.size(); ++k) {
                if (!failed_[k]) failed_[k] = !expectFinite(o[k], n, "output " + std::to_string(k + 1), frames);
                if (keep) out[k].insert(out[k].end(), o[k], o[k] + n);
            }
            frames += n;
        });
    }

private:
    std::vector<char> failed_;
};

// Renders a session in this process as `audatoms render` does (buildRenderJob, run),
// from its files or from `sources` (one per session file), checking every block
// finite; the outputs are kept when `keep`.
inline MixCapture renderSession(const audtool::Session& session,
                                std::vector<std::unique_ptr<audtool::AudioSource>> sources = {}, bool keep = true) {
    MixCapture cap;
    cap.keep = keep;
    audtool::RenderJob job = audtool::buildRenderJob(session, std::move(sources));
    cap.attach(*job.renderer);
    job.renderer->run();
    return cap;
}

// The same for a session file (loadSession).
inline MixCapture renderSessionHere(const std::string& sessionPath, bool keep = true) {
    return renderSession(audtool::loadSession(sessionPath), {}, keep);
}

// Runs `audatoms GLOBAL... render SESSION -o OUTPUT OPTIONS...`; when the render
// succeeds, the session is rendered here too, so that a sample that is not finite fails
// the test even though the file holds integers.
inline RunResult renderWithTool(const std::vector<std::string>& global, const std::string& sessionPath,
                                const std::string& output, const std::vector<std::string>& options = {}) {
    std::vector<std::string> args = global;
    args.insert(args.end(), {"render", sessionPath, "-o", output});
    args.insert(args.end(), options.begin(), options.end());
    RunResult r = runTool(args);
    if (r.status == 0) {
        SCOPED_TRACE("the float mix of " + sessionPath);
        renderSessionHere(sessionPath, false);
    }
    return r;
}

}  // namespace audatoms::test
