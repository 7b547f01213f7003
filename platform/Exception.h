// Qm::Exception::RuntimeError: the host's runtime-error exception, made from a
// message, the source file and line that threw, and carrying diagnostic context lines
// (the message, the place and the throwing thread), filled in on construction.
#pragma once

#include "platform/AudPlatformExport.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace Qm::Exception {

class AUDPLATFORM_EXPORT RuntimeError : public std::runtime_error {
public:
    RuntimeError(const std::string& message, const char* file, int line);

    const std::string& file() const { return file_; }
    int line() const { return line_; }
    const std::vector<std::string>& context() const { return context_; }

private:
    std::string file_;
    int line_;
    std::vector<std::string> context_;
};

}  // namespace Qm::Exception
