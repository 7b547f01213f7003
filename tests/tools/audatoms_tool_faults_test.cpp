// The rendered audio file survives every single I/O fault of a render: the tool runs
// with the fault-injection library preloaded, and the k-th write, fsync, close or
// rename (on files, not the standard streams) fails with EIO or ENOSPC, for every k of
// a clean render. Each time the tool either fails with status 1 and a message naming
// the output and the system's reason while the old output stays as it was, or (for a
// fault that does not touch the output, such as closing an input) succeeds with the
// complete new output; no temporary file is ever left.
#include "tests/support/ScratchDir.h"
#include "tests/support/ToolTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <cmath>
#include <map>
#include <optional>
#include <sstream>

using namespace audatoms::test;

namespace {

// Sets environment variables for the tool runs of one scope.
class ChildEnvironment {
public:
    void set(const std::string& name, const std::string& value) {
        if (!saved_.count(name)) {
            const char* old = std::getenv(name.c_str());
            saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
        }
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    ~ChildEnvironment() {
        for (const auto& [name, value] : saved_) {
            if (value) ::setenv(name.c_str(), value->c_str(), 1);
            else ::unsetenv(name.c_str());
        }
    }

private:
    std::map<std::string, std::optional<std::string>> saved_;
};

std::string bytesOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::map<std::string, int> readCounts(const std::string& path) {
    std::map<std::string, int> counts;
    std::ifstream in(path);
    std::string op;
    int n = 0;
    while (in >> op >> n) counts[op] = n;
    return counts;
}

TEST(ToolOutputFaults, EverySingleFaultOfARenderLeavesTheOldOutputOrTheNewOne) {
    ScratchDir dir;
    std::vector<double> frames(48000 / 2);
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i] = 0.25 * std::sin(double(i) * 0.05);
    writeDoubles(dir.file("in.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 48000, frames);
    auto session = [&](const std::string& length) {
        return "[Session]\nSampleRate=48000\nLength=" + length + "\nFrameRate=25\nOutputs=2\n[Inputs]\nFile=in.wav\n";
    };
    writeText(dir.file("old.ini"), session("0.2"));
    writeText(dir.file("new.ini"), session("0.5"));
    const std::string out = dir.file("out.wav");
    auto render = [&](const std::string& which) {
        return runTool({"--quiet", "render", dir.file(which), "-o", out, "--sample-type", "24"});
    };

    ChildEnvironment env;
    env.set("LD_PRELOAD", AUDFAULT_LIBRARY_PATH);
#if defined(__SANITIZE_ADDRESS__)
    // The preloaded library comes before the sanitizer's runtime in the tool.
    const char* asan = std::getenv("ASAN_OPTIONS");
    env.set("ASAN_OPTIONS", std::string(asan ? asan : "") + ":verify_asan_link_order=0");
#endif
    ASSERT_EQ(render("old.ini").status, 0);
    const std::string oldBytes = bytesOf(out);
    env.set("AUDATOMS_FAULT", "count:" + dir.file("counts"));
    RunResult clean = render("new.ini");
    ASSERT_EQ(clean.status, 0) << clean.err;
    const std::string newBytes = bytesOf(out);
    ASSERT_NE(oldBytes, newBytes);
    const auto counts = readCounts(dir.file("counts"));
    ASSERT_GT(counts.at("write"), 1);
    ASSERT_GE(counts.at("fsync"), 1);
    ASSERT_GE(counts.at("rename"), 1);

    int faults = 0, failures = 0;
    for (const char* op : {"write", "fsync", "close", "rename"}) {
        for (int k = 1; k <= counts.at(op); ++k) {
            for (const char* err : {"EIO", "ENOSPC"}) {
                SCOPED_TRACE(std::string(op) + " call " + std::to_string(k) + " fails with " + err);
                env.set("AUDATOMS_FAULT", "");
                ASSERT_EQ(render("old.ini").status, 0);
                ASSERT_TRUE(bytesOf(out) == oldBytes);
                env.set("AUDATOMS_FAULT", std::string(op) + ":" + std::to_string(k) + ":" + err);
                const RunResult r = render("new.ini");
                ++faults;
                if (r.status == 0) {
                    EXPECT_TRUE(bytesOf(out) == newBytes) << "a render that succeeds must have written it all";
                } else {
                    ++failures;
                    EXPECT_EQ(r.status, 1) << r.err;
                    EXPECT_TRUE(bytesOf(out) == oldBytes) << "a failed render must leave the old output as it was";
                    EXPECT_NE(r.err.find(out), std::string::npos) << r.err;
                    const std::string reason = std::strerror(std::string(err) == "EIO" ? EIO : ENOSPC);
                    EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
                }
                std::vector<std::string> expected{"counts", "in.wav", "new.ini", "old.ini", "out.wav"};
                EXPECT_EQ(dir.entries(), expected) << "no temporary file is left";
            }
        }
    }
    std::printf("clean render: %d write, %d fsync, %d close, %d rename; %d faults, %d failed renders\n",
                counts.at("write"), counts.at("fsync"), counts.at("close"), counts.at("rename"), faults, failures);
    EXPECT_GT(failures, 0);
}

}  // namespace
