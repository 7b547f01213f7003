// Integer configuration settings of the host, by name.
// config_int(name, default): a value set in-process with config_set_int wins; else the
// value in the file named by the environment variable AUDATOMS_CONFIG (lines
// "name = value", '#' starts a comment; the value is a decimal integer with an optional
// sign, within the range of int; other lines are ignored; the last valid line for a
// name wins); else the default.
// config_reset() forgets in-process values. Thread-safe; the file is read on each call.
#pragma once

#include "platform/AudPlatformExport.h"

AUDPLATFORM_EXPORT int config_int(const char* name, int defaultValue);
AUDPLATFORM_EXPORT void config_set_int(const char* name, int value);
AUDPLATFORM_EXPORT void config_reset();
