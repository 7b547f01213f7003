// Shared by the mixer state fuzz targets: the assertion lines and log warnings that bad
// input is expected to produce go to /dev/null, so that the runs are not slowed down by
// them (libFuzzer's own reports go to standard error, which stays open).
#pragma once

#include <cstdio>
#include <cstdlib>

inline void quietExpectedDiagnostics() {
    setenv("AUDATOMS_LOG_FILE", "/dev/null", 1);
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
}
