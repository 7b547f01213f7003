// AudioNormalisation: the editor's audio-normalisation preferences, kept in the host's
// preference store (prefs()): how normalisation is applied, one uniform target level,
// and one target level per origin of a shot's audio.
//
// Levels are in decibels relative to full scale, clamped to -36.0 .. 0.0. The marker
// invalidAudioNormalLevel() (999.0) means "no level set"; only per-origin levels may
// hold it (setUniformLevel clamps it to 0.0 like any other value above 0).
//
// Keys: "AudioNormalisationApplicationMethod" (int, default 3),
// "AudioNormalisationUniformLevel" (double, default -18.0),
// "AudioNormalisationLevelFor_<origin name>" (double, default -18.0); an origin outside
// 1 to 8 adds no name to its key. Reading repairs: a method outside 1 to 3 reads as 3,
// levels are clamped on reading too.
//
// Threads: no state of its own; as thread-safe as the preference store. Every call
// builds a key and so allocates.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "platform/HostTypes.h"
#include "platform/LightweightString.h"

class AUDATOMS_EXPORT AudioNormalisation {
public:
    enum Application : int {
        kApplyNever = 1,          // levels are kept but not applied
        kApplyOnRequest = 2,      // applied when the user asks for it
        kApplyAutomatically = 3,  // applied as material is brought in (the default)
    };

    static float invalidAudioNormalLevel();  // 999.0: no level set

    static void setApplicationMethod(Application method);  // stored unchecked
    static Application getApplicationMethod();

    static void setUniformLevel(float dB);  // clamped to -36 .. 0
    static float getUniformLevel();

    // 999.0 is stored and returned as it is; other values are clamped to -36 .. 0.
    static void setLevelFor(float dB, ShotOrigin::eShotOrigin origin);
    static float getLevelFor(ShotOrigin::eShotOrigin origin);

    // The origin's name in preference keys ("MP3Imports" ...), empty outside 1 to 8.
    static const char* originKeyName(ShotOrigin::eShotOrigin origin);
    // "AudioNormalisationLevelFor_" followed by the origin's name.
    static LightweightString<char> levelKey(ShotOrigin::eShotOrigin origin);

    AudioNormalisation() = delete;
};
