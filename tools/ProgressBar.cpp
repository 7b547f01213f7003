#include "tools/ProgressBar.h"

#include <cstdio>
#include <unistd.h>

namespace audtool {

ProgressBar::ProgressBar(std::string label, bool quiet)
    : label_(std::move(label)), enabled_(!quiet && ::isatty(STDERR_FILENO)) {}

ProgressBar::~ProgressBar() { finish(); }

void ProgressBar::update(double fraction) {
    if (!enabled_) return;
    const auto now = std::chrono::steady_clock::now();
    if (drawn_ && now - last_ < std::chrono::milliseconds(100) && fraction < 1.0) return;
    last_ = now;
    if (fraction < 0) fraction = 0;
    if (fraction > 1) fraction = 1;
    constexpr int kWidth = 40;
    const int filled = static_cast<int>(fraction * kWidth + 0.5);
    char bar[kWidth + 1];
    for (int i = 0; i < kWidth; ++i) bar[i] = i < filled ? '#' : '-';
    bar[kWidth] = '\0';
    std::fprintf(stderr, "\r%s [%s] %3d%%", label_.c_str(), bar, static_cast<int>(fraction * 100 + 0.5));
    std::fflush(stderr);
    drawn_ = true;
}

void ProgressBar::finish() {
    if (!enabled_ || !drawn_) return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    drawn_ = false;
}

}  // namespace audtool
