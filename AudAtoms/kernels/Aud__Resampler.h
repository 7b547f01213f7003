// Aud::Resampler: streaming sample-rate conversion of float audio between two rates
// whose ratio is an exact fraction (44.1 -> 48 kHz is 160:147 output:input frames,
// 48 kHz -> 48 kHz / 1.001 is 1000:1001, a 24/25 speed change is 24:25).
//
// Method: a Kaiser-windowed sinc low-pass evaluated as a polyphase filter. The read
// position advances by exact integer steps (a whole input index and a phase counted in
// 1/L of an input frame, never a floating-point position), so the stream never drifts:
// after any sequence of process() calls that consumed N input frames in all, exactly
// floor(N * L / M) output frames have come out. When L is at most kMaxExactPhases
// every phase has its own coefficient row; above that a table of finer phases is
// interpolated linearly between its two nearest rows (still driven by the exact
// position). Coefficients and sums are double; the output is rounded to float once.
//
// Latency: output frame n stands for input time (n - latency()) * M / L, in input
// frames from the first frame given. So an impulse at input frame k (k * L / M whole)
// comes out centred on output frame latency() + k * L / M. The first latency() output
// frames are the filter's lead-in over silence. To convert a whole file: give all of
// it, then about latencyInputFrames() frames of silence, and drop the first latency()
// output frames.
//
// Qualities, as measured by the tests on generated signals (band edges relative to the
// lower of the two Nyquist frequencies; every figure holds for each ratio the tests
// cover: 44.1 <-> 48, 48 <-> 96, 32 -> 48 and 48 -> 48 / 1.001 kHz; THD+N of a 997 Hz
// sine at -1 dBFS; taps per output frame at 44.1 -> 48 kHz; stopband = images and aliases of content above the lower Nyquist
// frequency, and what is left beside a passband sine):
//   keQualityQuick  72 taps at 44.1 -> 48. Passband flat within +-0.0002 dB to 0.80,
//                   stopband from 1.00 at least 95 dB down (measured 100 dB),
//                   THD+N at most -110 dB (measured -114.5 dB).
//   keQualityHigh   184 taps. Passband within +-0.00001 dB to 0.91, stopband at least
//                   120 dB down (measured 122 dB), THD+N at most -140 dB (measured -144.1).
//   keQualityBest   240 taps. Passband within +-0.000001 dB to 0.91 (20 kHz at 44.1 kHz),
//                   stopband at least 140 dB down (measured 147 dB, where the output's
//                   float rounding sets the floor), THD+N at most -145 dB (measured -150 dB).
// Between the passband edge and the lower Nyquist frequency lies the transition band,
// partly kept (the filter's cutoff is halfway).

// Bad input: rates that are zero, invalid or not concrete, a ratio beyond 8:1 either
// way, or a channel count outside 1 to 32 leave the object unusable: status() says why
// and process() consumes and produces nothing. Non-finite input samples (NaN, infinity)
// are read as 0.0 and counted (nonFiniteInputs()); they never reach the output.
//
// Threads and real time: construction allocates and builds the tables (not real-time).
// process(), latency() and the other accessors never allocate, lock or throw. One
// object is one stream: use it from one thread at a time. Input and output buffers
// must not overlap.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/core/Aud__SampleRate.h"
#include "AudAtoms/core/Aud__Status.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Aud {

class Resampler;
// Test access (defined with the resampler, declared for use in its _testing.h header).
namespace ResamplerKernels {
void positionOf(const Resampler& r, std::uint64_t& k0, std::uint64_t& phase, std::uint64_t& rem);
std::uint64_t leadFrames(const Resampler& r);
bool interpolatedPhases(const Resampler& r);
}  // namespace ResamplerKernels

class AUDATOMS_EXPORT Resampler {
public:
    enum eQuality : int { keQualityQuick = 0, keQualityHigh = 1, keQualityBest = 2 };

    static constexpr unsigned kMaxChannels = 32;
    // Largest reduction or enlargement of the rate (8:1 either way).
    static constexpr unsigned kMaxRatio = 8;
    // Largest L that gets one coefficient row per phase.
    static constexpr std::uint32_t kMaxExactPhases = 2048;

    // The exact rate of a concrete SampleRate as numerator / denominator hertz (the base
    // hertz times the factor flags' fractions, reduced). sInvalidSampleRate for an
    // invalid, project-relative or unknown base code.
    static eStatus exactRate(const SampleRate& rate, std::uint64_t& numerator, std::uint64_t& denominator);

    // From one rate to another (both concrete: not project-relative).
    Resampler(const SampleRate& from, const SampleRate& to, unsigned channels, eQuality quality = keQualityBest);
    // From an input rate to an output rate in whole hertz (e.g. 44100 -> 48000).
    Resampler(std::uint32_t fromHz, std::uint32_t toHz, unsigned channels, eQuality quality = keQualityBest);
    ~Resampler();
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;

    // sSuccess; sInvalidSampleRate (a rate zero, invalid, project-relative or unknown);
    // sOutOfRange (ratio beyond kMaxRatio); sChannelNumberOutOfRange (channels not in
    // 1..kMaxChannels).
    eStatus status() const { return status_; }
    bool ok() const { return status_ == sSuccess; }

    unsigned channels() const { return channels_; }
    eQuality quality() const { return quality_; }
    // The reduced ratio: L output frames for every M input frames (0 when not ok).
    std::uint32_t upFactor() const { return up_; }
    std::uint32_t downFactor() const { return down_; }
    // Coefficients per output frame (filter length in input frames).
    unsigned taps() const { return taps_; }
    // Output frames of delay (see the contract above).
    std::uint64_t latency() const { return latency_; }
    // The input frames of silence that push every given frame out: ceil(latency * M / L) + 1.
    std::uint64_t latencyInputFrames() const;

    // The most output frames that inputFrames more input frames can make.
    std::size_t maxOutputFrames(std::size_t inputFrames) const;

    struct Result {
        std::size_t consumed = 0;  // input frames read
        std::size_t produced = 0;  // output frames written
    };
    // Reads up to inputFrames frames from in[0..channels) and writes the output frames
    // they complete to out[0..channels). Stops early only when outCapacity is full, so
    // outCapacity >= maxOutputFrames(inputFrames) consumes everything. Non-interleaved
    // float buffers, one per channel.
    Result process(const float* const* in, std::size_t inputFrames, float* const* out, std::size_t outCapacity);

    // Back to the state just after construction (silence history, position 0).
    void reset();

    std::uint64_t inputFramesConsumed() const { return consumed_; }
    std::uint64_t outputFramesProduced() const { return produced_; }
    std::uint64_t nonFiniteInputs() const { return nonFinite_; }

    struct Rep;

private:
    friend void ResamplerKernels::positionOf(const Resampler&, std::uint64_t&, std::uint64_t&, std::uint64_t&);
    friend std::uint64_t ResamplerKernels::leadFrames(const Resampler&);
    friend bool ResamplerKernels::interpolatedPhases(const Resampler&);
    void build(std::uint64_t inNum, std::uint64_t inDen, std::uint64_t outNum, std::uint64_t outDen, unsigned channels);

    eStatus status_ = sSuccess;
    eQuality quality_;
    unsigned channels_ = 0;
    std::uint32_t up_ = 0;
    std::uint32_t down_ = 0;
    unsigned taps_ = 0;
    std::uint64_t latency_ = 0;
    std::uint64_t consumed_ = 0;
    std::uint64_t produced_ = 0;
    std::uint64_t nonFinite_ = 0;
    std::unique_ptr<Rep> rep_;
};

// The quality's name ("quick", "high", "best"); "?" outside the enumeration.
AUDATOMS_EXPORT const char* resamplerQualityName(Resampler::eQuality quality);
// Reads a name back (case as written above); false, out unchanged, for anything else.
AUDATOMS_EXPORT bool resamplerQualityFromName(const char* name, Resampler::eQuality& out);

}  // namespace Aud
