// Video and audio timing: how many audio samples belong to each video frame (the
// cadence, one cycle of it, repeated forever), the same per field, which speed-change
// factor playback needs when material made at one frame rate plays at another, where a
// timeline position falls in samples, and the bit-mask forms of the host's frame-rate,
// medium and transfer-type enumerations.
//
// Units: sample counts are whole samples of the rate in question; frame rates are the
// host's Qm::FrameRate codes; timeline positions are the host's timeline units,
// turned into seconds by mPosn_Xlate_CelToClock under an output gearing.
//
// Reports: an unsupported frame rate for a cadence prints
// "assertion failed <cond> at ole/AudAtoms/Aud__Util_AudAtoms line <N>" on standard
// output (N = 86, 97, 113 or 172) and gives an empty cadence (or one approximate
// entry); a base rate without a defined cadence is reported through ole_splat
// ("Not implemented for this rate!"). Nothing throws, except that a project-relative
// sample rate is resolved through the project rate look-up, which can.
//
// Threads: pure functions without shared state; any thread. The cadence functions
// allocate (a cadence may hold up to 108000 entries plus one base cycle); the
// translations, the factor look-up and the position conversions do not.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/core/Aud__SampleRate.h"
#include "AudAtoms/core/Aud__Status.h"

#include "platform/FrameRate.h"

#include <cstdint>
#include <vector>

namespace Aud {

// Bit-mask form of a frame rate: a rate and its 1.001-slowed twin share one bit.
enum bmFrameRate : std::uint32_t {
    kbmFrameRateNone = 0,
    kbmFrameRate24 = 0x1,      // codes 1, 2 (24, 23.976)
    kbmFrameRate25 = 0x2,      // code 3
    kbmFrameRate30 = 0x4,      // codes 4, 5 (30, 29.97)
    kbmFrameRate48 = 0x8,      // codes 6, 7
    kbmFrameRate50 = 0x10,     // code 8
    kbmFrameRate60 = 0x20,     // codes 9, 10
    kbmFrameRate96 = 0x40,     // codes 35, 36
    kbmFrameRate100 = 0x80,    // code 37
    kbmFrameRate15 = 0x100,    // codes 38, 39
    kbmFrameRate72 = 0x200,    // code 40
    kbmFrameRate30DF = 0x400,  // code 41
    kbmFrameRate60DF = 0x800,  // code 42
    kbmFrameRate200 = 0x1000,  // code 43
    kbmFrameRate120 = 0x2000,  // codes 44, 45
    kbmFrameRate240 = 0x4000,  // codes 46, 47
};

// Bit-mask form of the host's MediumRollMedium (video 2 -> 1, film 3 -> 2).
enum bmMediumRollMedium : std::uint32_t {
    kbmMediumNone = 0,
    kbmMediumVideo = 0x1,
    kbmMediumFilm = 0x2,
};

// Bit-mask form of the host's transfer_type (0 -> 1, 7 -> 2, 3 -> 4).
enum bmTransferType : std::uint32_t {
    kbmTransferNone = 0,
    kbmTransferNormal = 0x1,
    kbmTransferPulldown = 0x2,
    kbmTransferSpeedUp = 0x4,
};

// Table look-ups, no state. Unknown values give 0 (mask 0, code 0); a transfer mask
// outside {1, 2, 4} gives transfer_type(-1), the all-ones 32-bit word.
AUDATOMS_EXPORT bmFrameRate translateEnum(Qm::FrameRate rate);
AUDATOMS_EXPORT Qm::FrameRate translateEnum(bmFrameRate mask);
AUDATOMS_EXPORT bmMediumRollMedium translateEnum(MediumRollMedium medium);
AUDATOMS_EXPORT MediumRollMedium translateEnum(bmMediumRollMedium mask);
AUDATOMS_EXPORT bmTransferType translateEnum(transfer_type transfer);
AUDATOMS_EXPORT transfer_type translateEnum(bmTransferType mask);

// Fills out (cleared first) with one cycle of samples per frame for a plain base rate
// in hertz. Exact cadences for 24, 25, 30, 48, 50, 60 fps (hz divided, truncated),
// 23.976 (44.1 and 48 kHz), 29.97 (32, 44.1, 48 kHz), 47.952 and 59.94 (48 kHz);
// other rates give one rounded entry and an assertion line, or nothing (see above).
// A frame rate of 0 fps gives nothing and the assertion line of line 172.
AUDATOMS_EXPORT void _GenerateDefinedFrameSeq(unsigned sampleRateHz, std::vector<unsigned>& out,
                                              Qm::FrameRate frameRate);

// A position in samples with a fraction in units of 1/1073741823 of a sample.
struct AUDATOMS_EXPORT SubSamplePos {
    std::int64_t whole = 0;
    std::uint32_t fraction = 0;
};

// Timeline position to samples: seconds x combined rate x (factor1 x factor2),
// truncated toward zero. Saturates at the int64 limits; NaN gives 0.
AUDATOMS_EXPORT std::int64_t stripTimeToSamplePos(SampleRate rate, eFactor factor1, eFactor factor2, double time,
                                                  const Qm::OutputGearing& gearing);
// The same with a fraction: x = factor1 x factor2 x seconds x combined rate, rounded to
// the nearest 1/1073741823. Negative x keep the established rounding, which mirrors
// the fraction: the result is -floor(-x) - 1 plus the fraction of -x, not x itself
// (-0.25 gives whole -1 and fraction 268435456, i.e. -0.75; -1.0 gives -2 and 1).
// Non-finite x and |x| of 2^62 or more saturate the whole part (NaN: 0, 0).
AUDATOMS_EXPORT SubSamplePos stripTimeToSubSamplePos(SampleRate rate, eFactor factor1, eFactor factor2, double time,
                                                     const Qm::OutputGearing& gearing);

namespace Util {

// One cycle of samples per video frame at a sample rate. 22.05, 11.025 and 96 kHz
// bases are derived from 44.1/48 kHz; rates with a factor are derived by scaling the
// plain cadence with an error-carrying walk, which ends when the error returns to
// exactly 0 at a cycle boundary, or is forced to end at the first cycle boundary once
// 108000 entries are reached. An empty base cadence gives an empty result. At scales
// above 2 (96 kHz with a speed-up factor) the carried error grows without bound; the
// counts then saturate at the int64 limits and are stored modulo 2^32: defined, and
// still ended by the cap, but not a usable cadence.
AUDATOMS_EXPORT std::vector<std::uint32_t> getSMPTE_FrameSequence(const SampleRate& rate, Qm::FrameRate frameRate);
// Per field: each frame count n becomes n/2 (rounded down), then n - n/2.
AUDATOMS_EXPORT std::vector<std::uint32_t> getSMPTE_FieldSequence(const SampleRate& rate, Qm::FrameRate frameRate);

// The speed-change factor that plays material of frame rate `source` naturally at
// frame rate `target` (with the medium, transfer type and a third frame rate that
// qualify it), from the fixed natural-playback table. sSuccess with out set, or
// sInvalid with out unchanged when no row matches. Reads the setting
// "video_in_film_pulldown" for film-rate sources with a normal transfer.
AUDATOMS_EXPORT eStatus determineNaturalPlaybackResamplingFactor(eFactor& out, Qm::FrameRate source,
                                                                 Qm::FrameRate target, MediumRollMedium medium,
                                                                 transfer_type transfer, Qm::FrameRate third);

// The row of the natural-playback table that determineNaturalPlaybackResamplingFactor
// uses for these inputs (0 to 41), or naturalPlaybackTableRows() for the terminator.
AUDATOMS_EXPORT unsigned naturalPlaybackRow(Qm::FrameRate source, Qm::FrameRate target, MediumRollMedium medium,
                                            transfer_type transfer, Qm::FrameRate third);
constexpr unsigned naturalPlaybackTableRows() { return 42; }

}  // namespace Util

}  // namespace Aud
