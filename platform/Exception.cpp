#include "platform/Exception.h"

#include <sstream>
#include <thread>

namespace Qm::Exception {

RuntimeError::RuntimeError(const std::string& message, const char* file, int line)
    : std::runtime_error(message), file_(file ? file : ""), line_(line) {
    context_.push_back("RuntimeError: " + message);
    context_.push_back("  thrown at " + file_ + " line " + std::to_string(line));
    std::ostringstream thread;
    thread << "  on thread " << std::this_thread::get_id();
    context_.push_back(thread.str());
}

}  // namespace Qm::Exception
