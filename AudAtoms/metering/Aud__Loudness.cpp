#include "AudAtoms/metering/Aud__Loudness.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace Aud {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr double kNoReading = -std::numeric_limits<double>::infinity();
constexpr unsigned kMomentarySubBlocks = 4;
constexpr double kIntegratedGateLu = -10.0;
constexpr double kRangeGateLu = -20.0;

const char* const kRoleNames[] = {"L", "R", "C", "LFE", "Ls", "Rs", "other"};

void raise(std::atomic<double>& a, double v) {
    if (v > a.load(kRelaxed)) a.store(v, kRelaxed);
}

void raise(std::atomic<float>& a, float v) {
    if (v > a.load(kRelaxed)) a.store(v, kRelaxed);
}

}  // namespace

double loudnessWeight(eChannelRole role) {
    switch (role) {
    case keRoleLFE: return 0.0;
    case keRoleLeftSurround:
    case keRoleRightSurround: return 1.41;
    default: return 1.0;
    }
}

const char* channelRoleName(eChannelRole role) {
    const int r = int(role);
    return r >= 0 && r <= int(keRoleOther) ? kRoleNames[r] : "other";
}

bool channelRoleFromName(const char* name, eChannelRole& role) {
    if (name == nullptr) return false;
    for (int r = 0; r <= int(keRoleOther); ++r) {
        if (std::strcmp(name, kRoleNames[r]) == 0) {
            role = eChannelRole(r);
            return true;
        }
    }
    return false;
}

Loudness::Loudness(const std::vector<eChannelRole>& roles, SampleRate rate, bool measureTruePeak) {
    double hertz = 0.0;
    try {
        if (rate.valid()) hertz = rate.calcCombinedSampleRate();
    } catch (...) {
        // An unresolvable project-relative rate: reported through status() below.
        hertz = 0.0;
    }
    init(roles, hertz, measureTruePeak);
}

Loudness::Loudness(const std::vector<eChannelRole>& roles, double hertz, bool measureTruePeak) {
    init(roles, hertz, measureTruePeak);
}

Loudness::~Loudness() = default;

void Loudness::init(const std::vector<eChannelRole>& roles, double hertz, bool measureTruePeak) {
    samplePeaks_.reset(new std::atomic<float>[kMaxChannels]);
    truePeaks_.reset(new std::atomic<float>[kMaxChannels]);
    if (roles.empty() || roles.size() > kMaxChannels) {
        status_ = sChannelNumberOutOfRange;
    } else if (!(hertz >= 1000.0) || !std::isfinite(hertz)) {
        status_ = sInvalidSampleRate;
    } else {
        hertz_ = hertz;
        roles_ = roles;
        const KWeightingCoefficients k = KWeightingCoefficients::forRate(hertz);
        for (eChannelRole r : roles) {
            weights_.push_back(loudnessWeight(r));
            filters_.emplace_back(k);
            if (measureTruePeak) interpolators_.emplace_back(hertz);
        }
        channelSums_.assign(roles.size(), 0.0);
    }
    reset();
}

std::size_t Loudness::subBlockLength(std::uint64_t index) const {
    const double tenth = hertz_ / 10.0;
    return std::size_t(std::llround(double(index + 1) * tenth) - std::llround(double(index) * tenth));
}

void Loudness::reset() {
    for (KWeightingFilter& f : filters_) f.reset();
    for (TruePeakInterpolator& t : interpolators_) t.reset();
    std::fill(channelSums_.begin(), channelSums_.end(), 0.0);
    std::fill(std::begin(ringEnergy_), std::end(ringEnergy_), 0.0);
    std::fill(std::begin(ringFrames_), std::end(ringFrames_), std::size_t(0));
    subBlocks_ = 0;
    subBlockFill_ = 0;
    subBlockTarget_ = status_ == sSuccess ? subBlockLength(0) : 0;
    integratedHistogram_.clear();
    rangeHistogram_.clear();
    momentary_.store(kNoReading, kRelaxed);
    shortTerm_.store(kNoReading, kRelaxed);
    maxMomentary_.store(kNoReading, kRelaxed);
    maxShortTerm_.store(kNoReading, kRelaxed);
    for (unsigned c = 0; c < kMaxChannels; ++c) {
        samplePeaks_[c].store(0.0f, kRelaxed);
        truePeaks_[c].store(0.0f, kRelaxed);
    }
    nonFinite_.store(0, kRelaxed);
    frames_.store(0, kRelaxed);
}

eStatus Loudness::process(const float* const* channels, std::size_t frames) {
    if (status_ != sSuccess) return status_;
    if (channels == nullptr) return sInvalid;
    const unsigned numChans = numChannels();
    for (unsigned c = 0; c < numChans; ++c)
        if (channels[c] == nullptr && frames > 0) return sInvalid;

    std::size_t offset = 0;
    std::uint64_t bad = 0;
    while (offset < frames) {
        const std::size_t n = std::min(frames - offset, subBlockTarget_ - subBlockFill_);
        for (unsigned c = 0; c < numChans; ++c) {
            const float* x = channels[c] + offset;
            float peak = 0.0f;
            for (std::size_t i = 0; i < n; ++i) {
                if (std::isfinite(x[i])) peak = std::max(peak, std::fabs(x[i]));
                else ++bad;
            }
            raise(samplePeaks_[c], peak);
            filters_[c].accumulateSquares(x, unsigned(n), channelSums_[c]);
            if (!interpolators_.empty())
                raise(truePeaks_[c],
                      std::max(peak, interpolators_[c].process(x, unsigned(n), truePeaks_[c].load(kRelaxed))));
            else raise(truePeaks_[c], peak);
        }
        offset += n;
        subBlockFill_ += n;
        if (subBlockFill_ == subBlockTarget_) finishSubBlock();
    }
    if (bad != 0) nonFinite_.store(nonFinite_.load(kRelaxed) + bad, kRelaxed);
    frames_.store(frames_.load(kRelaxed) + frames, kRelaxed);
    return sSuccess;
}

void Loudness::finishSubBlock() {
    double energy = 0.0;
    for (unsigned c = 0; c < numChannels(); ++c) {
        energy += weights_[c] * channelSums_[c];
        channelSums_[c] = 0.0;
    }
    const unsigned slot = unsigned(subBlocks_ % kRing);
    ringEnergy_[slot] = energy;
    ringFrames_[slot] = subBlockFill_;
    ++subBlocks_;

    auto windowEnergy = [this](unsigned count) {
        double e = 0.0;
        std::size_t n = 0;
        for (unsigned i = 0; i < count; ++i) {
            const unsigned s = unsigned((subBlocks_ - 1 - i) % kRing);
            e += ringEnergy_[s];
            n += ringFrames_[s];
        }
        return n > 0 ? e / double(n) : 0.0;
    };
    if (subBlocks_ >= kMomentarySubBlocks) {
        const double m = windowEnergy(kMomentarySubBlocks);
        integratedHistogram_.add(m);
        const double lufs = LoudnessHistogram::loudnessOf(m);
        momentary_.store(lufs, kRelaxed);
        raise(maxMomentary_, lufs);
    }
    if (subBlocks_ >= kRing) {
        const double s = windowEnergy(kRing);
        rangeHistogram_.add(s);
        const double lufs = LoudnessHistogram::loudnessOf(s);
        shortTerm_.store(lufs, kRelaxed);
        raise(maxShortTerm_, lufs);
    }
    subBlockFill_ = 0;
    subBlockTarget_ = subBlockLength(subBlocks_);
}

double Loudness::momentary() const { return momentary_.load(kRelaxed); }
double Loudness::shortTerm() const { return shortTerm_.load(kRelaxed); }
double Loudness::maxMomentary() const { return maxMomentary_.load(kRelaxed); }
double Loudness::maxShortTerm() const { return maxShortTerm_.load(kRelaxed); }

double Loudness::integrated() const {
    const LoudnessHistogram::GatedMean g = integratedHistogram_.gatedMean(kIntegratedGateLu);
    return g.counted > 0 ? LoudnessHistogram::loudnessOf(g.energy) : kNoReading;
}

double Loudness::integratedErrorBound() const { return integratedHistogram_.gatedMean(kIntegratedGateLu).maxErrorLu(); }

double Loudness::loudnessRange() const { return rangeHistogram_.range(kRangeGateLu, 0.10, 0.95); }

float Loudness::samplePeak(unsigned channel) const {
    return channel < numChannels() ? samplePeaks_[channel].load(kRelaxed) : 0.0f;
}

float Loudness::truePeak(unsigned channel) const {
    return channel < numChannels() ? truePeaks_[channel].load(kRelaxed) : 0.0f;
}

float Loudness::samplePeak() const {
    float p = 0.0f;
    for (unsigned c = 0; c < numChannels(); ++c) p = std::max(p, samplePeak(c));
    return p;
}

float Loudness::truePeak() const {
    float p = 0.0f;
    for (unsigned c = 0; c < numChannels(); ++c) p = std::max(p, truePeak(c));
    return p;
}

double Loudness::toDecibels(float linear) { return linear > 0.0f ? 20.0 * std::log10(double(linear)) : kNoReading; }

std::uint64_t Loudness::nonFiniteSamples() const { return nonFinite_.load(kRelaxed); }
std::uint64_t Loudness::framesProcessed() const { return frames_.load(kRelaxed); }

}  // namespace Aud
