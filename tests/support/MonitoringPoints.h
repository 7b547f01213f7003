// Test helper for the monitoring point registry: registers a point with a display
// name (one channel, 60 dB range) and keeps both of its ids. Registration failures are
// reported as test failures.
#pragma once

#include "AudAtoms/metering/Aud__MonitoringPoint.h"

namespace audatoms::test {

struct RegisteredPoint {
    IdStamp readerId = IdStamp::invalidId();
    IdStamp writerId = IdStamp::invalidId();
    Aud::MonitoringPointWriter writer() const { return Aud::MonitoringPointWriter(writerId); }
};

RegisteredPoint registerPoint(const wchar_t* name);

}  // namespace audatoms::test
