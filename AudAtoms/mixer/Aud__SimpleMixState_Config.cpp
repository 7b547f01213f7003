// Aud::SimpleMixState: the configuration text, section "SimpleMixState" (version and
// author) and nine channel sections. Attributes carry slot numbers: input i as is, mix
// slot = mix + 1, output slot = output + 2. Every entry is one formatted line of at most
// 127 characters split at its first '='. Reading skips whatever does not parse or is
// out of range; the mix mute and solo sections are written but never read back.
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "AudAtoms/AudAtomsVersion.h"

#include <cstdarg>
#include <cstdio>
#include <string_view>
#include <strings.h>

namespace Aud {

const char* const SimpleMixState::kConfigMainSection = "SimpleMixState";
const char* const SimpleMixState::kConfigChannelSections[kConfigChannelSectionCount] = {
    "SimpleMixState.InputChannels.Fader",       "SimpleMixState.InputChannels.Pan",
    "SimpleMixState.InputChannels.Mute",        "SimpleMixState.InputChannels.Solo",
    "SimpleMixState.InputChannels.RouteToMix",  "SimpleMixState.MixChannels.Fader",
    "SimpleMixState.MixChannels.Mute",          "SimpleMixState.MixChannels.Solo",
    "SimpleMixState.MixChannels.RouteToOutput",
};

namespace {
const char* const kMainSection = SimpleMixState::kConfigMainSection;
const char* const* const kChannelSections = SimpleMixState::kConfigChannelSections;
constexpr const char* kAuthorApp = "Quillmark Editor";
constexpr const char* kAuthorAppVersion = AUDATOMS_VERSION_STRING;

enum ChannelSection { kInFader, kInPan, kInMute, kInSolo, kInRoute, kMixFader, kMixMute, kMixSolo, kMixRoute, kCount };
static_assert(kCount == SimpleMixState::kConfigChannelSectionCount);

__attribute__((format(printf, 2, 3))) void appendEntry(QmIniFile::Section& section, const char* fmt, ...) {
    char line[128];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(line, sizeof line, fmt, args);
    va_end(args);
    section.push_back(Qm::AttribValuePair(LightweightString<char>(line), '='));
}

char flag(bool on) { return on ? '1' : '0'; }

// The entries of a section that parse as an attribute/value pair.
template <class Fn>
void forEachEntry(const QmIniFile& file, const char* section, Fn fn) {
    for (const Qm::AttribValuePair& p : file.section(LightweightString<char>(section)))
        if (p.valid()) fn(p.attrib().c_str(), p.value().c_str());
}

bool parseIndex(const char* attrib, int count, int& index) {
    return std::sscanf(attrib, "%d", &index) == 1 && index >= 0 && index < count;
}
}  // namespace

int SimpleMixState::storeCompatibleConfigurationInformation(QmIniFile& file) const {
    QmIniFile::Section& main = file.section(LightweightString<char>(kMainSection));
    main.clear();
    appendEntry(main, "Version=1.1");
    appendEntry(main, "AuthorApp=%s", kAuthorApp);
    appendEntry(main, "AuthorAppVersion=%s", kAuthorAppVersion);

    // Create every section before holding references: creating one may move the others.
    for (const char* name : SimpleMixState::kConfigChannelSections) file.section(LightweightString<char>(name)).clear();
    QmIniFile::Section* sec[kCount];
    for (int s = 0; s < kCount; ++s) sec[s] = &file.section(LightweightString<char>(kChannelSections[s]));

    const int n = numInputChans_, m = numMixChans_, o = numOutputChans_;
    for (int i = 0; i < n; ++i) {
        appendEntry(*sec[kInFader], "%03d=%.10f", i, double(getInputLevel(i)));
        appendEntry(*sec[kInPan], "%03d=%.10f", i, double(getInputPan(i)));
        appendEntry(*sec[kInMute], "%03d=%c", i, flag(getInputMuteState(i)));
        appendEntry(*sec[kInSolo], "%03d=%c", i, flag(getInputSoloState(i)));
        for (int j = 0; j < m; ++j)
            appendEntry(*sec[kInRoute], "%03d->%02d=%c", i, j, flag(getInputRoutedToMix(i, j - 1)));
    }
    for (int j = 0; j < m; ++j) {
        appendEntry(*sec[kMixFader], "%02d=%.10f", j, double(getMixLevel(j - 1)));
        appendEntry(*sec[kMixMute], "%02d=%c", j, flag(getMixMuteState(j - 1)));
        if (j != 0) appendEntry(*sec[kMixSolo], "%02d=%c", j, flag(getMixSoloState(j - 1)));
        // The main mix never feeds the two special output slots.
        for (int k = (j == 0 ? 2 : 0); k < o; ++k) {
            appendEntry(*sec[kMixRoute], "%02dL->%02d=%c", j, k, flag(getMixRoutedToOutput(j - 1, k - 2, true)));
            appendEntry(*sec[kMixRoute], "%02dR->%02d=%c", j, k, flag(getMixRoutedToOutput(j - 1, k - 2, false)));
        }
    }
    return 0;
}

int SimpleMixState::retrieveCompatibleConfigurationInformation(const QmIniFile& file) {
    resetToDefaultConfiguration(true);

    int major = -1, minor = -1;
    forEachEntry(file, kMainSection, [&](const char* attrib, const char* value) {
        if (strcasecmp(attrib, "version") != 0) return;
        major = minor = -1;
        std::sscanf(value, "%d.%d", &major, &minor);
    });
    // Version 1.0 text holds linear magnitudes as levels.
    const bool magnitudes = (major == 1 && minor == 0);
    const int n = numInputChans_, m = numMixChans_, o = numOutputChans_;

    forEachEntry(file, kChannelSections[kInFader], [&](const char* attrib, const char* value) {
        int i;
        float level;
        if (!parseIndex(attrib, n, i) || std::sscanf(value, "%f", &level) != 1) return;
        setInputLevel(i, magnitudes ? levelFromMagnitude(level) : level);
    });
    forEachEntry(file, kChannelSections[kInPan], [&](const char* attrib, const char* value) {
        int i;
        float pan;
        if (!parseIndex(attrib, n, i) || std::sscanf(value, "%f", &pan) != 1) return;
        setInputPan(i, pan);
    });
    // Mutes and solos leave the range check to the setters.
    forEachEntry(file, kChannelSections[kInMute], [&](const char* attrib, const char* value) {
        int i;
        if (std::sscanf(attrib, "%d", &i) == 1) setInputMuteState(i, std::string_view(value) == "1");
    });
    forEachEntry(file, kChannelSections[kInSolo], [&](const char* attrib, const char* value) {
        int i;
        if (std::sscanf(attrib, "%d", &i) == 1) setInputSoloState(i, std::string_view(value) == "1");
    });
    forEachEntry(file, kChannelSections[kInRoute], [&](const char* attrib, const char* value) {
        int i, j, routed;
        if (std::sscanf(attrib, "%d->%d", &i, &j) != 2 || i < 0 || i >= n || j < 0 || j >= m) return;
        if (std::sscanf(value, "%d", &routed) != 1) return;
        setInputRoutedToMix(i, j - 1, routed != 0);
    });
    forEachEntry(file, kChannelSections[kMixFader], [&](const char* attrib, const char* value) {
        int j;
        float level;
        if (!parseIndex(attrib, m, j) || std::sscanf(value, "%f", &level) != 1) return;
        setMixLevel(j - 1, magnitudes ? levelFromMagnitude(level) : level);
    });
    forEachEntry(file, kChannelSections[kMixRoute], [&](const char* attrib, const char* value) {
        int j, k, routed;
        char side;
        if (std::sscanf(attrib, "%d%c->%d", &j, &side, &k) != 3) return;
        if (j < 0 || j >= m || k < 0 || k >= o || (side != 'L' && side != 'R') || (j == 0 && k < 2)) return;
        if (std::sscanf(value, "%d", &routed) != 1) return;
        setMixRoutedToOutput(j - 1, k - 2, side == 'L', routed != 0);
    });
    return 0;
}

}  // namespace Aud
