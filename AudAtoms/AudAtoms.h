// AudAtoms: the audio atoms library of a non-linear video editor.
// This umbrella header includes every public header of the library, subsystem by
// subsystem, and every header of the host platform layer it is built on. It is the one
// include an embedding host needs: #include "AudAtoms/AudAtoms.h".
// AudAtoms/internal/ is not public and is not installed.
#pragma once

// The host platform layer: one header per service.
#include "platform/AtomicFile.h"
#include "platform/Config.h"
#include "platform/CriticalSection.h"
#include "platform/DynamicIntegralStorage.h"
#include "platform/EditorPreferences.h"
#include "platform/Exception.h"
#include "platform/FloatingPointMode.h"
#include "platform/FrameRate.h"
#include "platform/HostTypes.h"
#include "platform/IdStamp.h"
#include "platform/IniFile.h"
#include "platform/LightweightString.h"
#include "platform/MemHolder.h"
#include "platform/NamedObjects.h"
#include "platform/OS.h"
#include "platform/Ptr.h"
#include "platform/Report.h"
#include "platform/Resources.h"
#include "platform/StreamClassRegistrar.h"
#include "platform/StreamLayers.h"
#include "platform/Streamable.h"
#include "platform/Streams.h"
#include "platform/ValCompare.h"

// Core types, sample rates and timing
#include "AudAtoms/core/Aud__SampleRate.h"
#include "AudAtoms/core/Aud__Status.h"
#include "AudAtoms/core/Aud__Util_AudAtoms.h"
#include "AudAtoms/core/Aud__Util_Timing.h"
#include "AudAtoms/core/SearchableVector.h"

// Buffers and sample formats
#include "AudAtoms/buffers/Aud__SampleConvert.h"
#include "AudAtoms/buffers/Aud__SampleManip.h"
#include "AudAtoms/buffers/Aud__StreamBuffer.h"
#include "AudAtoms/buffers/AudioChannelCache.h"
#include "AudAtoms/buffers/AudioInterleaver.h"
#include "AudAtoms/buffers/audiometadata.h"

// Signal processing kernels
#include "AudAtoms/kernels/Aud__Biquad.h"
#include "AudAtoms/kernels/Aud__GainCurve.h"
#include "AudAtoms/kernels/Aud__MixRender.h"
#include "AudAtoms/kernels/Aud__PeakScan.h"
#include "AudAtoms/kernels/Aud__Resampler.h"

// Level automation
#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"
#include "AudAtoms/automation/Aud__DynamicLevelClientSet.h"
#include "AudAtoms/automation/Aud__DynamicLevelControl.h"
#include "AudAtoms/automation/Aud__DynamicLevelNodeTree.h"

// Mixer state
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

// Metering
#include "AudAtoms/metering/Aud__KWeighting.h"
#include "AudAtoms/metering/Aud__Loudness.h"
#include "AudAtoms/metering/Aud__LoudnessHistogram.h"
#include "AudAtoms/metering/Aud__Monitor.h"
#include "AudAtoms/metering/Aud__MonitoringPoint.h"
#include "AudAtoms/metering/Aud__TruePeak.h"

// Hardware I/O descriptions
#include "AudAtoms/io/Aud__AudCapsVector.h"
#include "AudAtoms/io/Aud__IO_ConnectionTypeInfo.h"
#include "AudAtoms/io/Aud__IO_Direction.h"
#include "AudAtoms/io/Aud__IO_SyncSource.h"

// Editor audio preferences
#include "AudAtoms/prefs/AudioNormalisation.h"
#include "AudAtoms/prefs/AudioTrackGrouping.h"
