// A JACK server of its own for a test: `jackd -n NAME -d dummy` under a unique name,
// started by the constructor (which waits until a client can connect) and stopped by
// the destructor (SIGTERM, then SIGKILL after 5 s), also when the test fails (and by
// the kernel when the test's process dies). Not in
// realtime mode (-r), so that it starts on machines without realtime privileges.
// Also: running the tool with extra environment variables, and in a tmux session.
#pragma once

#include "ScratchDir.h"
#include "ToolTestSupport.h"

#include <jack/jack.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace audatoms::test {

inline std::string uniqueJackName(const std::string& what) {
    static std::atomic<int> counter{0};
    return "audatoms-" + what + "-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
}

class JackServer {
public:
    JackServer(unsigned rate, unsigned period, const std::string& what = "test") : name_(uniqueJackName(what)) {
        const std::string r = std::to_string(rate), p = std::to_string(period);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // the server ends with the test, even a crashed one
            const int null = ::open("/dev/null", O_RDWR);
            ::dup2(null, 0);
            ::dup2(null, 1);
            ::dup2(null, 2);
            ::execlp("jackd", "jackd", "-r", "-n", name_.c_str(), "-d", "dummy", "-r", r.c_str(), "-p", p.c_str(),
                     static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ready_ = waitReady();
    }
    ~JackServer() { stop(); }
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    const std::string& name() const { return name_; }
    bool ready() const { return ready_; }

    void stop() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        for (int i = 0; i < 500; ++i) {
            if (::waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    bool waitReady() {
        ::jack_set_error_function([](const char*) {});
        ::jack_set_info_function([](const char*) {});
        for (int i = 0; i < 200; ++i) {
            if (::waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
                return false;
            }
            jack_status_t status{};
            jack_client_t* c = ::jack_client_open(
                "probe", static_cast<jack_options_t>(JackNoStartServer | JackServerName), &status, name_.c_str());
            if (c) {
                ::jack_client_close(c);
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }

    std::string name_;
    pid_t pid_ = -1;
    bool ready_ = false;
};

// runTool with extra environment variables ("NAME=value").
inline RunResult runToolWithEnv(const std::vector<std::string>& args, const std::vector<std::string>& env) {
    std::vector<std::pair<std::string, std::string>> saved;
    for (const std::string& e : env) {
        const std::string key = e.substr(0, e.find('='));
        const char* old = std::getenv(key.c_str());
        saved.emplace_back(key, old ? std::string(old) : std::string("\x01"));
        ::setenv(key.c_str(), e.substr(e.find('=') + 1).c_str(), 1);
    }
    RunResult r = runTool(args);
    for (const auto& [key, old] : saved) {
        if (old == "\x01") ::unsetenv(key.c_str());
        else ::setenv(key.c_str(), old.c_str(), 1);
    }
    return r;
}

}  // namespace audatoms::test
