// Strict checking of the mixer state's configuration-text sections in a session file.
// The library's reader skips whatever it cannot use, silently; the tool refuses such
// text instead, naming the entry and what it accepts, before handing the sections over:
//   [SimpleMixState]                            Version=1.0 or 1.1; AuthorApp=,
//                                               AuthorAppVersion= (any text)
//   [SimpleMixState.InputChannels.Fader]        INPUT=LEVEL, level 0 to 1.5 (fader
//                                               position, 1 = unity)
//   [SimpleMixState.InputChannels.Pan]          INPUT=PAN, 0 (left) to 1 (right)
//   [SimpleMixState.InputChannels.Mute|Solo]    INPUT=0 or 1
//   [SimpleMixState.InputChannels.RouteToMix]   INPUT->MIXSLOT=0 or 1
//   [SimpleMixState.MixChannels.Fader]          MIXSLOT=LEVEL, 0 to 1.5
//   [SimpleMixState.MixChannels.Mute|Solo]      MIXSLOT=0 or 1 (written by the library,
//                                               not read back by it)
//   [SimpleMixState.MixChannels.RouteToOutput]  MIXSLOTL->OUTSLOT or MIXSLOTR->OUTSLOT
//                                               = 0 or 1; the main mix (slot 00) feeds
//                                               output slots 2 and up only
// INPUT is a mixer input (0 to 31), MIXSLOT 0 (the main mix) to mixSlots-1, OUTSLOT 0
// to outputSlots-1 (slot = output number + 2). Numbers are plain decimal digits.
#pragma once

#include <string>

namespace audtool {

struct MixerDimensions {
    int inputs = 0;
    int mixSlots = 0;
    int outputSlots = 0;
};

// InputError whose text says what is wrong with the entry and what is accepted (the
// caller adds the file and line).
void checkMixerEntry(const std::string& section, const std::string& key, const std::string& value,
                     const MixerDimensions& dims);

}  // namespace audtool
