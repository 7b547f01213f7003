// Fuzzes reading the persisted sample-rate text: any bytes must read without a crash,
// give either the all-zero rate or the scanned word, and a read word must write and
// read back to itself.
#include "AudAtoms/AudAtoms.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    // Unreadable input logs a warning on every call: send the host log to /dev/null, and
    // since LogBoth copies a file log to standard error as well, let the fuzzer close the
    // target's standard error (its own output and sanitizer reports keep a duplicate).
    setenv("AUDATOMS_LOG_FILE", "/dev/null", 1);
    for (int i = 1; i < *argc; ++i)
        if (std::strncmp((*argv)[i], "-close_fd_mask=", 15) == 0) return 0;
    static std::vector<char*> args;
    static char closeStderr[] = "-close_fd_mask=2";
    args.assign(*argv, *argv + *argc);
    args.insert(args.begin() + 1, closeStderr);
    args.push_back(nullptr);
    *argc += 1;
    *argv = args.data();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const LightweightString<char> text(reinterpret_cast<const char*>(data), size);
    Aud::SampleRate rate(Aud::keBaseSampleRate48000, Aud::keFactor2);
    rate.setFromString(text);

    const LightweightString<char> written = rate.asString();
    Aud::SampleRate back;
    back.setFromString(written);
    if (!(back == rate)) std::abort();
    if (!written.empty() && written.c_str()[0] != '[') std::abort();

    // The display forms of whatever word was read must be buildable too.
    const LightweightString<wchar_t> shown = Aud::getDisplayString(Aud::SampleRate::fromWord(rate.word()));
    (void)Aud::fromDisplayString(shown);
    (void)Aud::SampleRate::calcFactor(rate.factor());
    return 0;
}
