// A one-line progress bar on standard error for long work, drawn only when standard
// error is a terminal and the tool was not asked to be quiet; silent otherwise.
// Redraws at most ten times a second; finish() clears the line.
// Threads: the main thread of the tool.
#pragma once

#include <chrono>
#include <string>

namespace audtool {

class ProgressBar {
public:
    ProgressBar(std::string label, bool quiet);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    bool enabled() const { return enabled_; }
    // fraction in 0..1.
    void update(double fraction);
    void finish();

private:
    std::string label_;
    bool enabled_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point last_{};
};

}  // namespace audtool
