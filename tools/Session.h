// The session file of `audatoms render`: INI text naming the output rate and length,
// the input files, per-input level automation and equaliser bands, and the mixer state
// in the library's own configuration-text sections. Example and reference:
// examples/session.ini and the README.
//
//   [Session]
//   SampleRate=48000        output rate in Hz; every input file must have it
//   Length=10               seconds to render
//   FrameRate=25            video frames per second: one render block per frame
//   Outputs=2               real mixer outputs = channels of the mix file (2..16)
//   Resampling=best         quality of the conversion of inputs at other rates:
//                           quick, high or best (the default)
//   [Inputs]
//   File=voice.wav          each file channel becomes the next mixer input (0, 1, ...);
//                           a file at another rate is converted to SampleRate
//   [File.0]                settings of the first File= line (0-based, in order)
//   FrameRate=23.976        the video frame rate the file's material was made for;
//                           when it differs from the session's, the library's natural
//                           playback factor speeds it up or slows it down
//   [Automation.0]          level automation of mixer input 0: TIME=LEVEL lines,
//   0=0                     time in seconds, level linear or in dB ("-6dB")
//   0.5=1
//   [EQ.0]                  equaliser of mixer input 0, 1 to 5 bands
//   Band=peaking:2500:q=1.2:+4
//   [SimpleMixState.InputChannels.Fader]   the mixer state's configuration text
//   000=0.8                                (read by the library)
//   [File.0]                settings of the first File= line: Roles=, Origin=
// Loudness keys ([Session] Normalise=, TruePeakCeiling=, MixLoudness=; [File.N]
// Roles=, Origin=): SessionLoudness.h.
//
// Names of the tool's own sections and keys are matched ignoring case; blanks around
// keys and values are dropped; ';' or '#' starts a comment at the start of a line or
// after a blank. Every malformed line, unknown section or key, repeated key or bad
// value is an InputError "<file>:<line>: <what>".
// The mixer sections are handed to the library as they stand; the library skips
// entries it cannot use.
#pragma once

#include "tools/Equaliser.h"
#include "tools/SessionLoudness.h"

#include "AudAtoms/kernels/Aud__Resampler.h"

#include "platform/FrameRate.h"
#include "platform/IniFile.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace audtool {

// The longest session the tool renders, in seconds.
inline constexpr double kMaxSessionSeconds = 24 * 3600;
// Mix slots of the renderer's mixer: the main mix (slot 00) and three buses.
inline constexpr int kSessionMixSlots = 4;

struct AutomationPoint {
    double time = 0;  // seconds
    float level = 1;  // linear gain
    int line = 0;
};

struct SessionFile {
    std::filesystem::path path;  // resolved against the session file's folder
    int line = 0;
};

// The [File.N] settings of one input file.

struct InputSetup {
    std::vector<AutomationPoint> automation;
    int automationLine = 0;  // line of the section header, 0 when absent
    std::vector<EqBandSettings> eq;
    int eqLine = 0;
};

struct Session {
    std::string name;   // the session file, for messages
    unsigned rate = 0;  // Hz
    double lengthSeconds = 0;
    Qm::FrameRate frameRate = Qm::FrameRate25;
    unsigned outputs = 2;
    std::vector<SessionFile> files;
    std::map<unsigned, InputSetup> inputs;  // by mixer input number
    QmIniFile mixer;                        // the SimpleMixState sections
    bool hasMixer = false;
    Aud::Resampler::eQuality resampling = Aud::Resampler::keQualityBest;
    std::map<unsigned, FileSettings> fileSettings;  // [File.N], by index of the File= line
    int sessionLine = 0;                            // line of [Session]
    LoudnessSettings loudness;
};

// Reads and parses a session file; InputError for a missing or unreadable file and for
// every malformed entry.
Session loadSession(const std::filesystem::path& path);
// Parses session text; `name` is used in messages, relative file paths are resolved
// against baseDir.
Session parseSession(const std::string& text, const std::string& name, const std::filesystem::path& baseDir);

// Section names of the mixer state's configuration text.
const std::vector<std::string>& mixerSectionNames();

}  // namespace audtool
