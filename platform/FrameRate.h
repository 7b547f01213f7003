// Frame rates and edit time of the host.
//
// Qm::FrameRate codes 0 to 10 are fixed; 11 to 47 are this host's own (see the table
// in FrameRate.cpp: real film, broadcast and high-frame-rate rates; a rate and its
// 1.001-slowed twin sit on neighbouring codes 35/36, 38/39, 44/45, 46/47).
// Qm::getFramesPerSecond gives frames per second (0.0 for code 0 and unknown codes).
// Qm::OutputGearing maps a timeline position to seconds: seconds = position * scale +
// offset (default scale 1, offset 0: one to one).
// Qm::CurrentProject holds the current project's frame duration in seconds (default
// 1/25 s); thread-safe.
#pragma once

namespace Qm {

enum FrameRate : int {
    FrameRateNone = 0,
    FrameRate24 = 1,
    FrameRate23_976 = 2,
    FrameRate25 = 3,
    FrameRate30 = 4,
    FrameRate29_97 = 5,
    FrameRate48 = 6,
    FrameRate47_952 = 7,
    FrameRate50 = 8,
    FrameRate60 = 9,
    FrameRate59_94 = 10,
    // Host-defined codes.
    FrameRate12 = 11,
    FrameRate15 = 12,
    FrameRate16 = 13,
    FrameRate18 = 14,
    FrameRate20 = 15,
    FrameRate8 = 16,
    FrameRate10 = 17,
    FrameRate6 = 18,
    FrameRate5 = 19,
    FrameRate4 = 20,
    FrameRate3 = 21,
    FrameRate2 = 22,
    FrameRate1 = 23,
    FrameRate7_5 = 24,
    FrameRate12_5 = 25,
    FrameRate14_985 = 26,
    FrameRate11_988 = 27,
    FrameRate144 = 28,
    FrameRate150 = 29,
    FrameRate200 = 30,
    FrameRate300 = 31,
    FrameRate90 = 32,
    FrameRate180 = 33,
    FrameRate16_667 = 34,  // 50/3, silent-film rate
    FrameRate96 = 35,
    FrameRate95_904 = 36,
    FrameRate100_PAL = 37,  // PAL family
    FrameRate15_NTSC = 38,
    FrameRate14_985_NTSC = 39,
    FrameRate72 = 40,
    FrameRate29_97_DF = 41,  // NTSC drop-frame timecode
    FrameRate59_94_DF = 42,  // NTSC drop-frame timecode
    FrameRate200_PAL = 43,   // PAL family
    FrameRate120 = 44,
    FrameRate119_88 = 45,
    FrameRate240 = 46,
    FrameRate239_76 = 47,
};

double getFramesPerSecond(FrameRate rate);

struct OutputGearing {
    double scale = 1.0;
    double offset = 0.0;
};

namespace CurrentProject {
double getFrameDuration();
void setFrameDuration(double seconds);
} // namespace CurrentProject

} // namespace Qm

double mPosn_Xlate_CelToClock(double position, const Qm::OutputGearing& gearing);

// Host media and transfer enumerations (plain numeric enums).
enum MediumRollMedium : int {
    MediumRollMediumNone = 0,
    MediumRollMediumAudio = 1,
    MediumRollMediumVideo = 2,
    MediumRollMediumFilm = 3,
};

enum transfer_type : int {
    transfer_normal = 0,
    transfer_telecine = 1,
    transfer_telecine_2_2 = 2,
    transfer_speed_up = 3,
    transfer_slow_down = 4,
    transfer_varispeed = 5,
    transfer_reverse_pulldown = 6,
    transfer_pulldown = 7,
};
