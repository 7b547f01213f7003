// Replays fuzz inputs through a fuzz target without libFuzzer, so that every committed
// corpus (and with it every past finding) runs as an ordinary test in every build,
// under whatever sanitizers that build has.
//   <target>_replay [-flags ignored] PATH...   (a PATH is an input file or a folder of them)
// Inputs run in name order; the exit status is 0 when every input returned, 1 when a
// path could not be read. A crash or sanitizer report ends the program as it would the
// fuzzer, after "replaying PATH" has named the input on standard output.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) __attribute__((weak));

namespace {

bool readFile(const std::filesystem::path& path, std::vector<std::uint8_t>& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// The files a command-line path names: itself, or a folder's regular files by name.
bool collect(const std::string& arg, std::vector<std::filesystem::path>& out) {
    std::error_code ec;
    const std::filesystem::path path(arg);
    if (!std::filesystem::is_directory(path, ec)) {
        if (!std::filesystem::is_regular_file(path, ec)) return false;
        out.push_back(path);
        return true;
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path, ec))
        if (entry.is_regular_file(ec)) files.push_back(entry.path());
    if (ec) return false;
    std::sort(files.begin(), files.end());
    out.insert(out.end(), files.begin(), files.end());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-') continue;  // libFuzzer's flags mean nothing here
        if (!collect(argv[i], inputs)) {
            std::fprintf(stderr, "fuzz replay: cannot read '%s'\n", argv[i]);
            return 1;
        }
    }
    std::vector<std::uint8_t> bytes;
    for (const auto& input : inputs) {
        std::printf("replaying %s\n", input.c_str());
        std::fflush(stdout);
        if (!readFile(input, bytes)) {
            std::fprintf(stderr, "fuzz replay: cannot read '%s'\n", input.c_str());
            return 1;
        }
        // An exactly sized copy of its own, as libFuzzer gives: a read past the end is
        // a sanitizer report, and even an empty input has a valid address.
        const std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[bytes.size()]);
        std::copy(bytes.begin(), bytes.end(), copy.get());
        LLVMFuzzerTestOneInput(copy.get(), bytes.size());
    }
    std::printf("replayed %zu inputs\n", inputs.size());
    return 0;
}
