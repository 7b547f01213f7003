// Aud::Loudness: programme loudness and true-peak meter of 1 to 32 channels.
//
// Measures, from planar float blocks (1.0 = full scale):
// - momentary loudness (400 ms window) and short-term loudness (3 s), in LUFS, updated
//   every 100 ms of audio, and their maxima;
// - integrated loudness (LUFS): 400 ms blocks every 100 ms (75 % overlap), gated at
//   -70 LUFS and then at 10 LU below the mean of the blocks that passed;
// - loudness range (LU): short-term values every 100 ms, gated at -70 LUFS and then
//   at 20 LU below their mean, the 95th minus the 10th percentile;
// - sample peak and true peak per channel (linear or dB; true peak in dBTP), the true
//   peak from a polyphase interpolator (Aud__TruePeak.h, 8x oversampling below
//   88.2 kHz, 4x below 176.4 kHz, 2x above).
// Loudness of a window = -0.691 + 10 log10(sum over channels of weight x mean square of
// the K-weighted signal) (Aud__KWeighting.h); weights 1.0 for left, right, centre and
// other channels, 1.41 for the surrounds, and the LFE channel is left out.
//
// Readings that are not defined yet (a window not yet filled, no block above the
// gates, a channel of pure silence) are -infinity in LUFS and dB; the loudness range
// is 0 until a short-term value passes the gates.
//
// Integrated loudness and loudness range use fixed memory however long the programme
// (Aud__LoudnessHistogram.h): exact but for the blocks within 0.01 LU of the relative
// gate; integratedErrorBound() gives the worst case for the present programme (0 when
// no block lies in the gate's bin, below 0.044 LU while such blocks are at most 1 % of
// the counted ones). Percentiles of the range are exact to 0.01 LU.
//
// Bad input: a channel count of 0 or above 32 gives status() sChannelNumberOutOfRange,
// a rate that is not valid (or a project-relative rate that cannot be resolved) gives
// sInvalidSampleRate; such a meter ignores process() (which returns the same status)
// and reads -infinity. NaN and infinite samples are counted (nonFiniteSamples()) and
// enter the filters and peaks as 0.0, so they never reach the readings.
//
// Threads: construction and reset() allocate nothing after construction but are not
// for concurrent use with process(). process() runs on one (audio) thread at a time and
// never allocates, locks or throws; every memory it touches is sized at construction.
// Readers (every const member) may run on any other threads at the same time: the
// values they read are relaxed atomics written by process(), without a lock, so a
// reading may be up to one block old and may combine statistics of two consecutive
// blocks (the monitoring points' readers accept the same).
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/core/Aud__SampleRate.h"
#include "AudAtoms/core/Aud__Status.h"
#include "AudAtoms/metering/Aud__KWeighting.h"
#include "AudAtoms/metering/Aud__LoudnessHistogram.h"
#include "AudAtoms/metering/Aud__TruePeak.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Aud {

enum eChannelRole : int {
    keRoleLeft = 0,
    keRoleRight = 1,
    keRoleCentre = 2,
    keRoleLFE = 3,
    keRoleLeftSurround = 4,
    keRoleRightSurround = 5,
    keRoleOther = 6,
};

// The channel's loudness weight: 1.0, 1.41 for the surrounds, 0.0 for the LFE.
AUDATOMS_EXPORT double loudnessWeight(eChannelRole role);
// The role names "L", "R", "C", "LFE", "Ls", "Rs", "other", and back from a name;
// an unknown name gives false.
AUDATOMS_EXPORT const char* channelRoleName(eChannelRole role);
AUDATOMS_EXPORT bool channelRoleFromName(const char* name, eChannelRole& role);

class AUDATOMS_EXPORT Loudness {
public:
    static constexpr unsigned kMaxChannels = 32;

    // roles: one per channel. measureTruePeak false leaves the interpolators out (true
    // peak then reads as the sample peak).
    Loudness(const std::vector<eChannelRole>& roles, SampleRate rate, bool measureTruePeak = true);
    // The same for a rate in hertz (any positive finite rate).
    Loudness(const std::vector<eChannelRole>& roles, double hertz, bool measureTruePeak = true);
    ~Loudness();
    Loudness(const Loudness&) = delete;
    Loudness& operator=(const Loudness&) = delete;

    eStatus status() const { return status_; }
    unsigned numChannels() const { return unsigned(roles_.size()); }
    double sampleRate() const { return hertz_; }

    // Meters frames samples of each channel (channels[c] for c below numChannels()).
    // sInvalid for null channel pointers; the meter's status when it is not usable.
    eStatus process(const float* const* channels, std::size_t frames);
    // Forgets the programme (filters, windows, statistics, peaks).
    void reset();

    double momentary() const;             // LUFS, the last full 400 ms window
    double shortTerm() const;             // LUFS, the last full 3 s window
    double maxMomentary() const;          // LUFS
    double maxShortTerm() const;          // LUFS
    double integrated() const;            // LUFS
    double integratedErrorBound() const;  // LU, worst case of integrated() (see above)
    double loudnessRange() const;         // LU

    float samplePeak(unsigned channel) const;  // linear; 0 out of range
    float truePeak(unsigned channel) const;    // linear; 0 out of range
    float samplePeak() const;                  // linear, largest of all channels
    float truePeak() const;                    // linear, largest of all channels
    static double toDecibels(float linear);    // 20 log10, -inf for 0

    std::uint64_t nonFiniteSamples() const;
    std::uint64_t framesProcessed() const;

private:
    void init(const std::vector<eChannelRole>& roles, double hertz, bool measureTruePeak);
    void finishSubBlock();
    std::size_t subBlockLength(std::uint64_t index) const;

    static constexpr unsigned kRing = 30;  // 100 ms sub-blocks in the 3 s window

    eStatus status_ = sSuccess;
    double hertz_ = 0.0;
    std::vector<eChannelRole> roles_;
    std::vector<double> weights_;
    std::vector<KWeightingFilter> filters_;
    std::vector<TruePeakInterpolator> interpolators_;
    std::vector<double> channelSums_;  // this sub-block's sum of squares per channel

    // Sub-blocks of about 100 ms (lengths alternate to keep a fractional rate exact).
    double ringEnergy_[kRing] = {};  // weighted sum of squares of each sub-block
    std::size_t ringFrames_[kRing] = {};
    std::uint64_t subBlocks_ = 0;     // completed sub-blocks
    std::size_t subBlockFill_ = 0;    // frames in the current sub-block
    std::size_t subBlockTarget_ = 0;  // its length

    LoudnessHistogram integratedHistogram_;
    LoudnessHistogram rangeHistogram_;

    std::atomic<double> momentary_;
    std::atomic<double> shortTerm_;
    std::atomic<double> maxMomentary_;
    std::atomic<double> maxShortTerm_;
    std::unique_ptr<std::atomic<float>[]> samplePeaks_;
    std::unique_ptr<std::atomic<float>[]> truePeaks_;
    std::atomic<std::uint64_t> nonFinite_{0};
    std::atomic<std::uint64_t> frames_{0};
};

}  // namespace Aud
