#include "tools/MixerTextCheck.h"

#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include <cctype>
#include <optional>

namespace audtool {

namespace {

bool allDigits(const std::string& s) {
    if (s.empty()) return false;
    for (char c : s)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

// A slot number written as plain digits, below `limit`.
std::optional<int> slot(const std::string& digits, int limit) {
    if (!allDigits(digits) || digits.size() > 4) return std::nullopt;
    const int n = std::stoi(digits);
    if (n >= limit) return std::nullopt;
    return n;
}

[[noreturn]] void refuse(const std::string& section, const std::string& key, const std::string& value,
                         const std::string& accepted) {
    throw InputError("[" + section + "] entry '" + key + "=" + value + "': " + accepted);
}

void checkSwitch(const std::string& section, const std::string& key, const std::string& value) {
    if (value != "0" && value != "1") refuse(section, key, value, "the value must be 0 or 1");
}

// A finite number from 0 to `high` (given as text too, for the message).
void checkLevel(const std::string& section, const std::string& key, const std::string& value, double high,
                const char* highText, const char* what) {
    const auto v = parseNumber(value);
    if (!v || *v < 0 || *v > high)
        refuse(section, key, value, std::string("the value must be ") + what + ", a number from 0 to " + highText);
}

std::string range(const char* what, int limit) { return std::string(what) + " from 0 to " + std::to_string(limit - 1); }

}  // namespace

void checkMixerEntry(const std::string& section, const std::string& key, const std::string& value,
                     const MixerDimensions& d) {
    const std::string prefix = "SimpleMixState";
    const std::string rest = section.size() > prefix.size() ? section.substr(prefix.size() + 1) : "";
    if (rest.empty()) {
        const std::string k = lower(key);
        if (k == "version") {
            if (value != "1.0" && value != "1.1") refuse(section, key, value, "the version must be 1.0 or 1.1");
        } else if (k != "authorapp" && k != "authorappversion") {
            refuse(section, key, value, "the keys here are Version, AuthorApp and AuthorAppVersion");
        }
        return;
    }
    const bool inputs = rest.rfind("InputChannels.", 0) == 0;
    const std::string what = rest.substr(rest.find('.') + 1);
    if (inputs && what == "RouteToMix") {
        const auto arrow = key.find("->");
        if (arrow == std::string::npos || !slot(key.substr(0, arrow), d.inputs) ||
            !slot(key.substr(arrow + 2), d.mixSlots))
            refuse(section, key, value,
                   "the key must be INPUT->MIXSLOT, " + range("inputs", d.inputs) + ", " +
                       range("mix slots", d.mixSlots) + " (00 is the main mix)");
        checkSwitch(section, key, value);
        return;
    }
    if (!inputs && what == "RouteToOutput") {
        const auto arrow = key.find("->");
        const bool shaped =
            arrow != std::string::npos && arrow >= 2 && (key[arrow - 1] == 'L' || key[arrow - 1] == 'R');
        const auto mix = shaped ? slot(key.substr(0, arrow - 1), d.mixSlots) : std::nullopt;
        const auto out = shaped ? slot(key.substr(arrow + 2), d.outputSlots) : std::nullopt;
        if (!mix || !out)
            refuse(section, key, value,
                   "the key must be MIXSLOTL->OUTSLOT or MIXSLOTR->OUTSLOT (upper-case side), " +
                       range("mix slots", d.mixSlots) + ", " + range("output slots", d.outputSlots));
        if (*mix == 0 && *out < 2)
            refuse(section, key, value, "the main mix (slot 00) feeds output slots 2 and up only");
        checkSwitch(section, key, value);
        return;
    }
    const int limit = inputs ? d.inputs : d.mixSlots;
    if (!slot(key, limit))
        refuse(section, key, value,
               std::string("the key must be ") + (inputs ? range("an input", limit) : range("a mix slot", limit)));
    if (what == "Fader") checkLevel(section, key, value, 1.5, "1.5", "a fader level");
    else if (what == "Pan") checkLevel(section, key, value, 1.0, "1", "a pan (0 left, 1 right)");
    else checkSwitch(section, key, value);  // Mute, Solo
}

}  // namespace audtool
