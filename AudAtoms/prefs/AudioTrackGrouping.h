// AudioTrackGrouping: the editor's preferences for grouping the audio tracks of newly
// brought-in material, kept in the host's preference store (prefs()): whether grouping
// is on, and under which condition, per origin of a shot's audio.
//
// Keys: "TrackGroupingEnabled" (bool, default true) and
// "TrackGroupingConditionFor_<origin name>" (int, default 3; origin names as in
// AudioNormalisation, an origin outside 1 to 8 adds no name). Storing does not check;
// a stored condition outside 1 to 3 reads as 3.
//
// Threads: no state of its own; as thread-safe as the preference store and the
// resource table. Every call allocates.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "platform/HostTypes.h"
#include "platform/LightweightString.h"

class AUDATOMS_EXPORT AudioTrackGrouping {
public:
    struct GroupingCondition {
        enum eGroupingCondition : int {
            kNever = 1,               // display text: resource 10206
            kWhenTimecodesMatch = 2,  // resource 10205
            kAlways = 3,              // resource 10204 (the default)
        };
    };

    static void setEnabled(bool enabled);
    static bool getEnabled();

    static void setGroupingCondition(ShotOrigin::eShotOrigin origin, GroupingCondition::eGroupingCondition condition);
    static GroupingCondition::eGroupingCondition getGroupingCondition(ShotOrigin::eShotOrigin origin);

    // Same as the free function getDisplayString below.
    static LightweightString<wchar_t> getDisplayString(GroupingCondition::eGroupingCondition condition);

    // "TrackGroupingConditionFor_" followed by the origin's name.
    static LightweightString<char> conditionKey(ShotOrigin::eShotOrigin origin);

    AudioTrackGrouping() = delete;
};

// The user-visible name of a grouping condition, from the host's resources; empty for
// a value outside 1 to 3.
AUDATOMS_EXPORT LightweightString<wchar_t>
getDisplayString(AudioTrackGrouping::GroupingCondition::eGroupingCondition condition);
