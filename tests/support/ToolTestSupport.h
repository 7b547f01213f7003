// Helpers of the audatoms tool suites: a scratch folder per test, running the built
// tool (AUDATOMS_TOOL_PATH) with its output captured, and writing and reading audio
// files with libsndfile directly (independently of the tool's own paths).
#pragma once

#include "ScratchDir.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
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
    int status = -1;      // exit status, or 128 + signal
    std::string out;      // standard output
    std::string err;      // standard error
};

// Runs the tool with the arguments, in `cwd` when given; standard input is /dev/null.
inline RunResult runTool(const std::vector<std::string>& args, const std::string& cwd = "") {
    ScratchDir capture;
    const std::string outPath = capture.file("stdout"), errPath = capture.file("stderr");
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int in = ::open("/dev/null", O_RDONLY);
        const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
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
    r.out = readText(outPath);
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

inline void writeDoubles(const std::string& path, int format, int channels, int rate, const std::vector<double>& frames) {
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
        const std::uint32_t u = std::uint32_t(bytes[i]) | std::uint32_t(bytes[i + 1]) << 8 | std::uint32_t(bytes[i + 2]) << 16;
        v.push_back(std::int32_t(u << 8) >> 8);
    }
    return v;
}

} // namespace audatoms::test
