// AudAtoms: the audio atoms library of a non-linear video editor.
// This umbrella header includes every public header of the library and of the host
// platform layer it is built on. Include it as "AudAtoms/AudAtoms.h".
#pragma once

#include "platform/Config.h"
#include "platform/CriticalSection.h"
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
#include "platform/Streams.h"

#include "AudAtoms/Aud__Status.h"
#include "AudAtoms/Aud__IO_Direction.h"
#include "AudAtoms/Aud__MonitoringPoint.h"
#include "AudAtoms/AudioNormalisation.h"
#include "AudAtoms/AudioTrackGrouping.h"
#include "AudAtoms/SearchableVector.h"
#include "AudAtoms/Aud__SampleRate.h"
#include "AudAtoms/Aud__Util_AudAtoms.h"
#include "AudAtoms/Aud__Util_Timing.h"
