// Frame rates and edit time of the host.
//
// Qm::FrameRate codes 0 to 10 are fixed; 11 to 47 are this host's own: real film,
// broadcast, web and high-frame-rate rates. A rate and its 1.001-slowed twin sit on
// neighbouring codes 35/36, 38/39, 44/45 and 46/47. Each code's rate in frames per
// second is given beside it (n/1001 values are exact quotients of doubles, e.g. code 2
// is 24000.0 / 1001.0). Some host codes repeat a rate on purpose because they stand
// for another family or timecode mode: 38 (15, NTSC family) = 12, 39 = 26, 41 and 42
// (drop-frame timecode) = 5 and 10, 43 (200, PAL family) = 30.
// Qm::getFramesPerSecond gives frames per second (0.0 for code 0 and unknown codes).
// Qm::OutputGearing maps a timeline position to seconds: seconds = position * scale +
// offset (default scale 1, offset 0: one to one).
// Qm::CurrentProject holds the current project's frame duration in seconds (default
// 1/25 s); thread-safe (atomic).
#pragma once

#include "platform/AudPlatformExport.h"

namespace Qm {

enum FrameRate : int {
    FrameRateNone = 0,    // no rate: 0.0
    FrameRate24 = 1,      // 24
    FrameRate23_976 = 2,  // 24000/1001
    FrameRate25 = 3,      // 25
    FrameRate30 = 4,      // 30
    FrameRate29_97 = 5,   // 30000/1001
    FrameRate48 = 6,      // 48
    FrameRate47_952 = 7,  // 48000/1001
    FrameRate50 = 8,      // 50
    FrameRate60 = 9,      // 60
    FrameRate59_94 = 10,  // 60000/1001
    // Host-defined codes.
    FrameRate12 = 11,           // 12 (animation on twos)
    FrameRate15 = 12,           // 15
    FrameRate16 = 13,           // 16 (silent film)
    FrameRate18 = 14,           // 18 (silent film, Super 8)
    FrameRate20 = 15,           // 20
    FrameRate8 = 16,            // 8
    FrameRate10 = 17,           // 10
    FrameRate6 = 18,            // 6
    FrameRate5 = 19,            // 5
    FrameRate4 = 20,            // 4
    FrameRate3 = 21,            // 3
    FrameRate2 = 22,            // 2
    FrameRate1 = 23,            // 1 (time-lapse)
    FrameRate7_5 = 24,          // 7.5
    FrameRate12_5 = 25,         // 12.5 (half PAL)
    FrameRate14_985 = 26,       // 15000/1001
    FrameRate11_988 = 27,       // 12000/1001
    FrameRate144 = 28,          // 144
    FrameRate150 = 29,          // 150
    FrameRate200 = 30,          // 200
    FrameRate300 = 31,          // 300
    FrameRate90 = 32,           // 90
    FrameRate180 = 33,          // 180
    FrameRate16_667 = 34,       // 50/3 (16 2/3, silent film)
    FrameRate96 = 35,           // 96
    FrameRate95_904 = 36,       // 96000/1001
    FrameRate100_PAL = 37,      // 100 (PAL family)
    FrameRate15_NTSC = 38,      // 15 (NTSC family)
    FrameRate14_985_NTSC = 39,  // 15000/1001 (NTSC family)
    FrameRate72 = 40,           // 72 (film family)
    FrameRate29_97_DF = 41,     // 30000/1001, drop-frame timecode
    FrameRate59_94_DF = 42,     // 60000/1001, drop-frame timecode
    FrameRate200_PAL = 43,      // 200 (PAL family)
    FrameRate120 = 44,          // 120
    FrameRate119_88 = 45,       // 120000/1001
    FrameRate240 = 46,          // 240
    FrameRate239_76 = 47,       // 240000/1001
};

AUDPLATFORM_EXPORT double getFramesPerSecond(FrameRate rate);

struct AUDPLATFORM_EXPORT OutputGearing {
    double scale = 1.0;
    double offset = 0.0;
};

namespace CurrentProject {
AUDPLATFORM_EXPORT double getFrameDuration();
AUDPLATFORM_EXPORT void setFrameDuration(double seconds);
}  // namespace CurrentProject

}  // namespace Qm

AUDPLATFORM_EXPORT double mPosn_Xlate_CelToClock(double position, const Qm::OutputGearing& gearing);

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
