// The one scratch folder of the test suites: a fresh folder under the system's
// temporary folder ($TMPDIR when set, else /tmp), named audatoms-test-XXXXXX, removed
// with everything in it when the object goes. Header-only, so that the command-line
// tool's suites (which do not link the support library) use the same one.
#pragma once

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace audatoms::test {

class ScratchDir {
public:
    // Throws std::runtime_error when the folder cannot be made (the test then fails).
    ScratchDir() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "audatoms-test-XXXXXX").string();
        if (!::mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed for " + tmpl);
        path_ = tmpl;
    }
    ~ScratchDir() {
        // A test may have left the folder read-only; make it removable first.
        ::chmod(path_.c_str(), 0700);
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    // Names of the folder's entries, sorted (to check that nothing was left behind).
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(path_)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string path_;
};

}  // namespace audatoms::test
