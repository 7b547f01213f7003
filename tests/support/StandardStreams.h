// What a call writes on the process's standard output and standard error: file
// descriptors 1 and 2 are sent to scratch files for the call and put back after it.
// Only the host reporting tests use it, to check which stream each report goes to;
// every other test observes assertion reports through platform::LogCapture.
#pragma once

#include <functional>
#include <string>

namespace audatoms::test {

struct StreamTexts {
    std::string out;  // standard output
    std::string err;  // standard error
};

StreamTexts captureStandardStreams(const std::function<void()>& fn);

}  // namespace audatoms::test
