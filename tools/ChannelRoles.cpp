#include "tools/ChannelRoles.h"

#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include <sndfile.h>

namespace audtool {

std::vector<Aud::eChannelRole> defaultRoles(unsigned channels) {
    using namespace Aud;
    switch (channels) {
    case 1: return {keRoleCentre};
    case 2: return {keRoleLeft, keRoleRight};
    case 5: return {keRoleLeft, keRoleRight, keRoleCentre, keRoleLeftSurround, keRoleRightSurround};
    case 6: return {keRoleLeft, keRoleRight, keRoleCentre, keRoleLFE, keRoleLeftSurround, keRoleRightSurround};
    default: return std::vector<eChannelRole>(channels, keRoleOther);
    }
}

std::vector<Aud::eChannelRole> rolesFromChannelMap(const std::vector<int>& map) {
    std::vector<Aud::eChannelRole> roles;
    for (int m : map) {
        switch (m) {
        case SF_CHANNEL_MAP_MONO:
        case SF_CHANNEL_MAP_CENTER: roles.push_back(Aud::keRoleCentre); break;
        case SF_CHANNEL_MAP_LEFT:
        case SF_CHANNEL_MAP_FRONT_LEFT: roles.push_back(Aud::keRoleLeft); break;
        case SF_CHANNEL_MAP_RIGHT:
        case SF_CHANNEL_MAP_FRONT_RIGHT: roles.push_back(Aud::keRoleRight); break;
        case SF_CHANNEL_MAP_LFE: roles.push_back(Aud::keRoleLFE); break;
        case SF_CHANNEL_MAP_REAR_LEFT:
        case SF_CHANNEL_MAP_SIDE_LEFT: roles.push_back(Aud::keRoleLeftSurround); break;
        case SF_CHANNEL_MAP_REAR_RIGHT:
        case SF_CHANNEL_MAP_SIDE_RIGHT: roles.push_back(Aud::keRoleRightSurround); break;
        default: roles.push_back(Aud::keRoleOther); break;
        }
    }
    return roles;
}

std::vector<Aud::eChannelRole> fileRoles(const std::vector<int>& channelMap, unsigned channels) {
    std::vector<Aud::eChannelRole> roles = rolesFromChannelMap(channelMap);
    return roles.empty() ? defaultRoles(channels) : roles;
}

std::vector<Aud::eChannelRole> parseRoles(const std::string& text) {
    std::vector<Aud::eChannelRole> roles;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t comma = text.find(',', start);
        const std::string name =
            trim(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        Aud::eChannelRole role = Aud::keRoleOther;
        if (!Aud::channelRoleFromName(name.c_str(), role))
            throw InputError("'" + name + "' is not a channel role (L, R, C, LFE, Ls, Rs, other)");
        roles.push_back(role);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (roles.size() > Aud::Loudness::kMaxChannels) throw InputError("more than 32 channel roles");
    return roles;
}

std::string rolesText(const std::vector<Aud::eChannelRole>& roles) {
    std::string s;
    for (std::size_t i = 0; i < roles.size(); ++i) s += (i ? "," : "") + std::string(Aud::channelRoleName(roles[i]));
    return s;
}

}  // namespace audtool
