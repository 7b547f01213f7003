// The loudness roles of a file's channels (left, right, centre, LFE, surrounds, other),
// which decide each channel's weight in the loudness meter (LFE left out, surrounds
// weighted 1.41).
// - From the file's own channel map (the WAV channel mask) when it has one.
// - Otherwise by channel count: 1 = centre (mono); 2 = left, right; 5 = left, right,
//   centre, left surround, right surround; 6 = left, right, centre, LFE, left and right
//   surround (the WAV/SMPTE order); any other count = every channel "other".
// - A session input may name them (Roles=L,R,C,LFE,Ls,Rs,other; see Session.h).
#pragma once

#include "AudAtoms/metering/Aud__Loudness.h"

#include <string>
#include <vector>

namespace audtool {

std::vector<Aud::eChannelRole> defaultRoles(unsigned channels);
// Roles from libsndfile's channel map values; empty when the map is empty.
std::vector<Aud::eChannelRole> rolesFromChannelMap(const std::vector<int>& map);
// A file's roles: from its channel map when it has one, otherwise the defaults for its
// channel count.
std::vector<Aud::eChannelRole> fileRoles(const std::vector<int>& channelMap, unsigned channels);
// "L,R,C": comma list of role names (blanks allowed); InputError naming a bad one.
std::vector<Aud::eChannelRole> parseRoles(const std::string& text);
std::string rolesText(const std::vector<Aud::eChannelRole>& roles);

}  // namespace audtool
