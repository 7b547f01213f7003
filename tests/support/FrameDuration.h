// Sets the current project's frame duration for as long as the object lives, then puts
// the previous one back. Level automation tests use it to fix an end guard's effective
// time (raw time + a quarter of the frame duration).
#pragma once

#include "platform/FrameRate.h"

namespace audatoms::test {

class FrameDurationScope {
public:
    explicit FrameDurationScope(double seconds) : saved_(Qm::CurrentProject::getFrameDuration()) {
        Qm::CurrentProject::setFrameDuration(seconds);
    }
    ~FrameDurationScope() { Qm::CurrentProject::setFrameDuration(saved_); }
    FrameDurationScope(const FrameDurationScope&) = delete;
    FrameDurationScope& operator=(const FrameDurationScope&) = delete;

private:
    double saved_;
};

}  // namespace audatoms::test
