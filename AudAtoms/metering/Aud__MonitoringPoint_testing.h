// Test hooks of the monitoring-point registry. Not installed and not exported: tests
// reach them through the static testing library (AudAtoms::Testing).
#pragma once

#include "AudAtoms/metering/Aud__MonitoringPoint.h"

namespace Aud {

// Consistency-check hook: forgets the reader-to-writer mapping of a reader id (under the
// registry's lock) so that the registry's self-check of mpUnregister can be exercised.
void forgetReaderMappingForTesting(MonitoringPointManager& manager, const IdStamp& readerId);

}  // namespace Aud
