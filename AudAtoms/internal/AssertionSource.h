// Internal: the source position named by a library file's assertion reports. Each file
// declares its position once,
//     constexpr Aud::detail::AssertionSource kSource{"ole/AudAtoms/Aud__SampleRate"};
// and reports a failed check with its condition text and its line number:
//     kSource.report("false", 174);
// which prints "assertion failed false at ole/AudAtoms/Aud__SampleRate line 174" on
// standard output (see platform/Report.h) and returns; the caller then takes its
// fallback. The line numbers are fixed parts of the printed text, written out at each
// call: they are not positions in the file that makes the call.
// Threads: any thread (as assertionReport). Not part of the public interface.
#pragma once

#include "platform/Report.h"

namespace Aud::detail {

struct AssertionSource {
    const char* name;

    void report(const char* condition, int line) const { assertionReport(condition, name, line); }
};

}  // namespace Aud::detail
