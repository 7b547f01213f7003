#include "AudAtoms/core/Aud__Util_Timing.h"

#include "platform/Config.h"

namespace Aud {

namespace {

// Mask bit of each Qm::FrameRate code 0 to 47.
constexpr std::uint32_t kFrameRateMask[48] = {
    0, 0x1, 0x1, 0x2,  0x4,  0x4,  0x8,   0x8,   0x10,  0x20,  0x20,  0,      0,      0,      0,      0,
    0, 0,   0,   0,    0,    0,    0,     0,     0,     0,     0,     0,      0,      0,      0,      0,
    0, 0,   0,   0x40, 0x40, 0x80, 0x100, 0x100, 0x200, 0x400, 0x800, 0x1000, 0x2000, 0x2000, 0x4000, 0x4000,
};

struct FactorRow {
    std::uint32_t source, target, medium, transfer, third, factor;
};

constexpr std::uint32_t k1001 = keFactor1001_1000;
constexpr std::uint32_t k24_25 = keFactor24_25;
constexpr std::uint32_t k24_30 = keFactor24_30;
constexpr std::uint32_t kAll = 0xFFFFFFFFu;

// Natural playback factors. A zero mask matches anything; a non-zero mask matches an
// input whose mask shares a bit with it. First match wins; rows 4 and 5 are the same.
constexpr FactorRow kNaturalPlayback[] = {
    {0x12, 0x1001, 0, 0, 0, 0},                    // 0
    {0x12, 0x80, 0, 0, 0, 0},                      // 1
    {0x12, 0x12, 0, 0x1, 0, 0},                    // 2
    {0x12, 0x12, 0, 0x2, 0, 0},                    // 3
    {0x12, 0x12, 0, 0x4, 0, 0},                    // 4
    {0x12, 0x12, 0, 0x4, 0, 0},                    // 5
    {0x24, 0x6C01, 0x2, 0, 0, k1001},              // 6
    {0x24, 0x100, 0x2, 0, 0, k1001},               // 7
    {0x24, 0x6C01, 0x1, 0, 0, 0},                  // 8
    {0x24, 0x100, 0x1, 0, 0, 0},                   // 9
    {0x24, 0x24, 0x1, 0x1, 0, 0},                  // 10
    {0x24, 0x24, 0x2, 0x1, 0, k1001},              // 11
    {0x24, 0x24, 0x2, 0x2, 0, k1001},              // 12
    {0x24, 0x24, 0x1, 0x2, 0, 0},                  // 13
    {0x24, 0x24, 0x2, 0x4, 0, k1001},              // 14
    {0x24, 0x24, 0x1, 0x4, 0, 0},                  // 15
    {0x1, 0x201, 0x2, 0, 0, k1001},                // 16
    {0x1, 0x8, 0x2, 0, 0, k1001},                  // 17
    {0x1, 0x8, 0x1, 0, 0, 0},                      // 18
    {0x1, 0x40, 0x2, 0, 0x1, k1001},               // 19
    {0x1, 0x201, 0x1, 0, 0x1, 0},                  // 20
    {0x1, 0x40, 0x1, 0, 0x1, 0},                   // 21
    {0x1, 0x1012, 0, 0x2, 0x1, 0},                 // 22
    {0x1, 0x1012, 0, 0x4, 0x1, k24_25},            // 23
    {0x1, 0x6C24, 0x2, 0x2, 0x1, k1001},           // 24
    {0x1, 0x6C24, 0x1, 0x2, 0x1, 0},               // 25
    {0x1, 0x24, 0x2, 0x4, 0x1, k1001 | k24_30},    // 26
    {0x1, 0x24, 0x1, 0x4, 0x1, k24_30},            // 27
    {0x1, 0x6000, 0x1, 0, 0, 0},                   // 28
    {0x1, 0x6000, 0x2, 0, 0, k1001},               // 29
    {0x8, 0x201, 0x2, 0, 0x8, k1001},              // 30
    {0x8, 0x40, 0x2, 0, 0x8, k1001},               // 31
    {0x8, 0x201, 0x1, 0, 0x8, 0},                  // 32
    {0x8, 0x40, 0x1, 0, 0x8, 0},                   // 33
    {0x8, 0x8, 0x2, 0, 0, k1001},                  // 34
    {0x8, 0x8, 0x1, 0, 0, 0},                      // 35
    {0x8, 0x1012, 0, 0x2, 0x8, 0},                 // 36
    {0x8, 0x1012, 0, 0x4, 0x8, k24_25},            // 37
    {0x8, 0x6C24, 0x2, 0x2, 0x8, k1001},           // 38
    {0x8, 0x6C24, 0x1, 0x2, 0x8, 0},               // 39
    {0x8, 0x6C24, 0x2, 0x4, 0x8, k1001 | k24_30},  // 40
    {0x8, 0x6C24, 0x1, 0x4, 0x8, k24_30},          // 41
    {kAll, kAll, kAll, kAll, kAll, kAll},          // terminator
};
static_assert(sizeof kNaturalPlayback / sizeof kNaturalPlayback[0] == Util::naturalPlaybackTableRows() + 1);

bool columnMatches(std::uint32_t column, std::uint32_t input) { return column == 0 || (column & input) != 0; }

bool isTerminator(const FactorRow& r) {
    return r.source == kAll && r.target == kAll && r.medium == kAll && r.transfer == kAll && r.third == kAll &&
           r.factor == kAll;
}

}  // namespace

bmFrameRate translateEnum(Qm::FrameRate rate) {
    const int code = int(rate);
    return code >= 0 && code < 48 ? bmFrameRate(kFrameRateMask[code]) : kbmFrameRateNone;
}

Qm::FrameRate translateEnum(bmFrameRate mask) {
    switch (std::uint32_t(mask)) {
    case 0x1: return Qm::FrameRate(1);
    case 0x2: return Qm::FrameRate(3);
    case 0x4: return Qm::FrameRate(4);
    case 0x8: return Qm::FrameRate(6);
    case 0x10: return Qm::FrameRate(8);
    case 0x20: return Qm::FrameRate(9);
    case 0x40: return Qm::FrameRate(35);
    case 0x80: return Qm::FrameRate(37);
    case 0x100: return Qm::FrameRate(38);
    case 0x200: return Qm::FrameRate(40);
    case 0x400: return Qm::FrameRate(41);
    case 0x800: return Qm::FrameRate(42);
    case 0x1000: return Qm::FrameRate(43);
    case 0x2000: return Qm::FrameRate(44);
    case 0x4000: return Qm::FrameRate(46);
    default: return Qm::FrameRate(0);
    }
}

bmMediumRollMedium translateEnum(MediumRollMedium medium) {
    switch (int(medium)) {
    case 2: return kbmMediumVideo;
    case 3: return kbmMediumFilm;
    default: return kbmMediumNone;
    }
}

MediumRollMedium translateEnum(bmMediumRollMedium mask) {
    switch (std::uint32_t(mask)) {
    case 1: return MediumRollMedium(2);
    case 2: return MediumRollMedium(3);
    default: return MediumRollMedium(0);
    }
}

bmTransferType translateEnum(transfer_type transfer) {
    switch (int(transfer)) {
    case 0: return kbmTransferNormal;
    case 3: return kbmTransferSpeedUp;
    case 7: return kbmTransferPulldown;
    default: return kbmTransferNone;
    }
}

transfer_type translateEnum(bmTransferType mask) {
    switch (std::uint32_t(mask)) {
    case 1: return transfer_type(0);
    case 2: return transfer_type(7);
    case 4: return transfer_type(3);
    default: return transfer_type(-1);  // all ones
    }
}

namespace Util {

unsigned naturalPlaybackRow(Qm::FrameRate source, Qm::FrameRate target, MediumRollMedium medium, transfer_type transfer,
                            Qm::FrameRate third) {
    // Film-rate material on a video target with a plain transfer: the user's setting
    // says whether it arrives pulled down (3:2) or sped up.
    const int t = int(target);
    if (int(transfer) == 0 && (int(source) == 6 || int(source) == 1) &&
        (t == 3 || t == 4 || t == 5 || t == 8 || t == 9 || t == 10)) {
        const int defaultValue = t == 3 || t == 8 ? 0 : 1;
        transfer = config_int("video_in_film_pulldown", defaultValue) != 0 ? transfer_type(7) : transfer_type(3);
    }
    const std::uint32_t in[5] = {translateEnum(source), translateEnum(target), translateEnum(medium),
                                 translateEnum(transfer), translateEnum(third)};
    unsigned row = 0;
    for (; !isTerminator(kNaturalPlayback[row]); ++row) {
        const FactorRow& r = kNaturalPlayback[row];
        if (columnMatches(r.source, in[0]) && columnMatches(r.target, in[1]) && columnMatches(r.medium, in[2]) &&
            columnMatches(r.transfer, in[3]) && columnMatches(r.third, in[4]))
            break;
    }
    return row;
}

eStatus determineNaturalPlaybackResamplingFactor(eFactor& out, Qm::FrameRate source, Qm::FrameRate target,
                                                 MediumRollMedium medium, transfer_type transfer, Qm::FrameRate third) {
    const unsigned row = naturalPlaybackRow(source, target, medium, transfer, third);
    if (row >= naturalPlaybackTableRows()) return sInvalid;
    out = eFactor(kNaturalPlayback[row].factor);
    return sSuccess;
}

}  // namespace Util

}  // namespace Aud
