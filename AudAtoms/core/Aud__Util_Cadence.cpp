#include "AudAtoms/core/Aud__Util_Timing.h"

#include "AudAtoms/internal/AssertionSource.h"
#include "AudAtoms/internal/Aud__SaturatingInt.h"

#include "platform/Report.h"

#include <cmath>

namespace Aud {

namespace {

constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__Util_AudAtoms"};
constexpr std::size_t kCadenceCap = 108000;

// 29.97 fps at 44.1 kHz: 100 frames, 147147 samples.
void ntsc44100(std::vector<unsigned>& out) {
    for (unsigned n = 1; n <= 100; ++n) out.push_back(n % 2 == 1 && n != 23 && n != 47 && n != 71 ? 1472 : 1471);
}

// 29.97 fps at 32 kHz: 15 frames, 16016 samples.
void ntsc32000(std::vector<unsigned>& out) {
    for (unsigned n = 1; n <= 15; ++n) out.push_back(n == 2 || n == 6 || n == 10 || n == 14 ? 1067 : 1068);
}

}  // namespace

void _GenerateDefinedFrameSeq(unsigned hz, std::vector<unsigned>& out, Qm::FrameRate frameRate) {
    out.clear();
    switch (int(frameRate)) {
    case 1: out.push_back(hz / 24); return;
    case 2:
        if (hz == 44100) out.push_back(1839);
        else if (hz == 48000) out.push_back(2002);
        else kSource.report("false", 86);
        return;
    case 3: out.push_back(hz / 25); return;
    case 4: out.push_back(hz / 30); return;
    case 5:
        if (hz == 44100) ntsc44100(out);
        else if (hz == 48000) out = {1602, 1601, 1602, 1601, 1602};
        else if (hz == 32000) ntsc32000(out);
        return;
    case 6: out.push_back(hz / 48); return;
    case 7:
        if (hz == 48000) out.push_back(1001);
        else kSource.report("false", 97);
        return;
    case 8: out.push_back(hz / 50); return;
    case 9: out.push_back(hz / 60); return;
    case 10:
        if (hz == 48000) out = {800, 801, 801, 801, 801};
        else kSource.report("rate == 48000", 113);
        return;
    default: {
        // One approximate entry. A rate the host gives no frames per second for (0 fps)
        // has no cadence at all; the quotient would not be a number of samples.
        const double perFrame = std::round(double(hz) / Qm::getFramesPerSecond(frameRate));
        if (std::isfinite(perFrame) && perFrame >= 0.0 && perFrame <= 4294967295.0) out.push_back(unsigned(perFrame));
        kSource.report("false", 172);
        return;
    }
    }
}

namespace Util {

using detail::saturatingAdd;
using detail::saturatingTrunc;

std::vector<std::uint32_t> getSMPTE_FrameSequence(const SampleRate& rate, Qm::FrameRate frameRate) {
    if (frameRate == Qm::FrameRate29_97 && rate == SampleRate(keBaseSampleRate48000, keFactor1000_1001)) return {1600};

    SampleRate r = rate;
    double multiplier = 1.0;
    switch (r.baseSampleRate()) {
    case keBaseSampleRate22050:
        r.baseSampleRate(keBaseSampleRate44100);
        multiplier = 0.5;
        break;
    case keBaseSampleRate96000:
        r.baseSampleRate(keBaseSampleRate48000);
        multiplier = 2.0;
        break;
    case keBaseSampleRate11025:
        r.baseSampleRate(keBaseSampleRate44100);
        multiplier = 0.25;
        break;
    default: break;
    }
    const eBaseSampleRate base = r.baseSampleRate();
    if (base != keBaseSampleRate32000 && base != keBaseSampleRate44100 && base != keBaseSampleRate48000)
        ole_splat("Not implemented for this rate!");

    std::vector<unsigned> cycle;
    _GenerateDefinedFrameSeq(r.calcBaseSampleRate(), cycle, frameRate);
    if (r.factor() == keFactorNone && multiplier == 1.0) return cycle;

    std::vector<std::uint32_t> out;
    if (cycle.empty()) return out;

    // Walk the plain cadence, carrying the error e (in output samples) into the next
    // frame's input count before scaling; the mixing of units is the established
    // behaviour and is kept. Each step leaves e' = e * (1 - s) + (a fraction below 1),
    // so for scales above 2 the error grows without bound: the counts and the total
    // then saturate at the int64 limits (the walk still ends at the cap), and every
    // entry is its count modulo 2^32. For scales up to 2 none of this is reached.
    const double s = multiplier * r.calcFactor();
    double e = 0.0;
    std::int64_t in = 0, produced = 0;
    for (std::size_t i = 0;; i = (i + 1) % cycle.size()) {
        if (e == 0.0 && i == 0 && produced != 0) break;
        const unsigned n = cycle[i];
        in += n;
        std::int64_t count = saturatingTrunc((double(n) + e) * s);
        produced = saturatingAdd(produced, count);
        e = double(in) * s - double(produced);
        if (out.size() >= kCadenceCap && i == cycle.size() - 1) {
            count = saturatingAdd(count, 1);
            produced = saturatingAdd(produced, 1);
            e = 0.0;
        }
        out.push_back(std::uint32_t(std::uint64_t(count)));
    }
    return out;
}

std::vector<std::uint32_t> getSMPTE_FieldSequence(const SampleRate& rate, Qm::FrameRate frameRate) {
    const std::vector<std::uint32_t> frames = getSMPTE_FrameSequence(rate, frameRate);
    std::vector<std::uint32_t> fields;
    fields.reserve(frames.size() * 2);
    for (const std::uint32_t n : frames) {
        fields.push_back(n / 2);
        fields.push_back(n - n / 2);
    }
    return fields;
}

}  // namespace Util

}  // namespace Aud
