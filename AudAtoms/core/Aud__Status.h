// Aud::eStatus: the library's one result code, with its predicates and debug names.
// Values are fixed (hosts store and compare them), gaps included. Codes 3 to 6 are
// neither ok nor failure; 44 is a failure without a name. Predicates compare the code
// as an unsigned 32-bit number, so negative codes are neither ok nor failure.
// Pure functions: any thread, no allocation.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

namespace Aud {

enum eStatus : int {
    sSuccess = 0,
    sReady = 1,
    sPending = 2,
    sInvalid = 7,
    sAlreadyReserved = 8,
    sAlreadyInGroup = 9,
    sNotFound = 10,
    sOutOfRange = 11,
    sHardwareNotCapable = 12,
    sSampleRateMismatch = 13,
    sConflictingSampleRate = 14,
    sConflictingIO_SyncSource = 15,
    sConflictingIO_MixerState = 16,
    sConflictingChannelNumber = 17,
    sFailedToSetHardwareSampleRateOrSyncSource = 18,
    sInvalidIO_MixerState = 19,
    sInvalidIO_Direction = 20,
    sInvalidSampleRate = 21,
    sInvalidIO_ConnectionType = 22,
    sInvalidIO_SyncSourceType = 23,
    sInvalidReserverName = 24,
    sChannelNumberOutOfRange = 25,
    sIO_SyncSourceInputNumberOutOfRange = 26,
    sIO_ConnectionTypeNotAvailable = 27,
    sIO_SyncSourceTypeNotSupported = 28,
    sSampleRateNotSupported = 29,
    sUnavailable = 30,
    sInvalidEditType = 31,
    sReadFailed = 32,
    sOutOfNodes = 33,
    sOutOfMemory = 34,
    sIteratorStateMismatch = 35,
    sInvalidChannelNumber = 36,
    sCaptureActive = 37,
    sDeactivationInProgress = 38,
    sAlreadyInUse = 39,
    sEditHasNoAudioChannels = 40,
    sInvalidEdit = 41,
    sRenderingAbortedByCallbackFn = 42,
    sEditIsInvalid = 43,
};

AUDATOMS_EXPORT bool isOk(eStatus s);       // 0, 1, 2
AUDATOMS_EXPORT bool isWarning(eStatus s);  // always false
AUDATOMS_EXPORT bool isFailure(eStatus s);  // 7 to 44
// The code's name, or "<UNKNOWN>" for 3 to 6, 44 and anything outside 0 to 43.
// Static strings, never freed.
AUDATOMS_EXPORT const char* getDebugString(eStatus s);

}  // namespace Aud
