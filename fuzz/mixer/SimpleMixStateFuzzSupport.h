// Shared by the mixer state fuzz targets: the assertion lines and log warnings that bad
// input is expected to produce are kept quiet, so that the runs are not slowed down by
// them (libFuzzer's own reports go to standard error, which stays open). The host log
// goes to /dev/null; the assertion lines are kept off standard output by a silencing
// capture made afresh for each input, so that its record holds one input's lines only.
#pragma once

#include "platform/Report.h"

#include <cstdlib>

// Called once, from LLVMFuzzerInitialize.
inline void quietExpectedDiagnostics() { setenv("AUDATOMS_LOG_FILE", "/dev/null", 1); }

// Alive for the whole of one LLVMFuzzerTestOneInput call.
class QuietAssertionLines {
    platform::LogCapture capture_{platform::LogCapture::AssertionEcho::silenced};
};
