#include "AudAtoms/prefs/AudioTrackGrouping.h"

#include "AudAtoms/prefs/AudioNormalisation.h"

#include "platform/EditorPreferences.h"
#include "platform/Resources.h"

namespace {
const char* const kEnabledKey = "TrackGroupingEnabled";
const char* const kConditionPrefix = "TrackGroupingConditionFor_";
}  // namespace

void AudioTrackGrouping::setEnabled(bool enabled) {
    prefs().setPreference(LightweightString<char>(kEnabledKey), enabled);
}

bool AudioTrackGrouping::getEnabled() { return prefs().getPreference(LightweightString<char>(kEnabledKey), true); }

LightweightString<char> AudioTrackGrouping::conditionKey(ShotOrigin::eShotOrigin origin) {
    return LightweightString<char>(kConditionPrefix) + AudioNormalisation::originKeyName(origin);
}

void AudioTrackGrouping::setGroupingCondition(ShotOrigin::eShotOrigin origin,
                                              GroupingCondition::eGroupingCondition condition) {
    prefs().setPreference(conditionKey(origin), int(condition));
}

AudioTrackGrouping::GroupingCondition::eGroupingCondition
AudioTrackGrouping::getGroupingCondition(ShotOrigin::eShotOrigin origin) {
    const int v = prefs().getPreference(conditionKey(origin), int(GroupingCondition::kAlways));
    return v >= 1 && v <= 3 ? GroupingCondition::eGroupingCondition(v) : GroupingCondition::kAlways;
}

LightweightString<wchar_t> AudioTrackGrouping::getDisplayString(GroupingCondition::eGroupingCondition condition) {
    return ::getDisplayString(condition);
}

LightweightString<wchar_t> getDisplayString(AudioTrackGrouping::GroupingCondition::eGroupingCondition condition) {
    switch (int(condition)) {
    case 1: return resourceStrW(10206);
    case 2: return resourceStrW(10205);
    case 3: return resourceStrW(10204);
    default: return LightweightString<wchar_t>(L"");
    }
}
