#include "AudAtoms/core/Aud__Status.h"

#include <cstdint>
#include <iterator>

namespace Aud {

bool isOk(eStatus s) { return std::uint32_t(s) <= 2u; }

bool isWarning(eStatus) { return false; }

bool isFailure(eStatus s) { return std::uint32_t(s) - 7u <= 37u; }

const char* getDebugString(eStatus s) {
    static const char* const names[] = {
        "sSuccess",
        "sReady",
        "sPending",
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        "sInvalid",
        "sAlreadyReserved",
        "sAlreadyInGroup",
        "sNotFound",
        "sOutOfRange",
        "sHardwareNotCapable",
        "sSampleRateMismatch",
        "sConflictingSampleRate",
        "sConflictingIO_SyncSource",
        "sConflictingIO_MixerState",
        "sConflictingChannelNumber",
        "sFailedToSetHardwareSampleRateOrSyncSource",
        "sInvalidIO_MixerState",
        "sInvalidIO_Direction",
        "sInvalidSampleRate",
        "sInvalidIO_ConnectionType",
        "sInvalidIO_SyncSourceType",
        "sInvalidReserverName",
        "sChannelNumberOutOfRange",
        "sIO_SyncSourceInputNumberOutOfRange",
        "sIO_ConnectionTypeNotAvailable",
        "sIO_SyncSourceTypeNotSupported",
        "sSampleRateNotSupported",
        "sUnavailable",
        "sInvalidEditType",
        "sReadFailed",
        "sOutOfNodes",
        "sOutOfMemory",
        "sIteratorStateMismatch",
        "sInvalidChannelNumber",
        "sCaptureActive",
        "sDeactivationInProgress",
        "sAlreadyInUse",
        "sEditHasNoAudioChannels",
        "sInvalidEdit",
        "sRenderingAbortedByCallbackFn",
        "sEditIsInvalid",
    };
    const std::uint32_t i = std::uint32_t(s);
    if (i < std::size(names) && names[i]) return names[i];
    return "<UNKNOWN>";
}

}  // namespace Aud
