#include "AudAtoms/metering/Aud__LoudnessHistogram.h"

#include <cmath>
#include <limits>

namespace Aud {

namespace {
constexpr double kOffset = -0.691;
constexpr auto kRelaxed = std::memory_order_relaxed;
}  // namespace

LoudnessHistogram::LoudnessHistogram() : bins_(new Bin[kBins]) {}
LoudnessHistogram::~LoudnessHistogram() = default;

double LoudnessHistogram::loudnessOf(double energy) {
    if (!(energy > 0.0)) return -std::numeric_limits<double>::infinity();
    return kOffset + 10.0 * std::log10(energy);
}

int LoudnessHistogram::binOf(double energy) {
    const double lufs = loudnessOf(energy);
    if (!(lufs > kAbsoluteGateLufs)) return -1;
    const double index = std::floor((lufs - kAbsoluteGateLufs) / kBinWidth);
    if (index >= double(kBins - 1)) return int(kBins - 1);
    return int(index);
}

void LoudnessHistogram::add(double energy) {
    if (!std::isfinite(energy)) return;
    const int b = binOf(energy);
    if (b < 0) return;
    Bin& bin = bins_[unsigned(b)];
    // One writer: a plain read-modify-write of relaxed atomics.
    bin.count.store(bin.count.load(kRelaxed) + 1, kRelaxed);
    bin.sum.store(bin.sum.load(kRelaxed) + energy, kRelaxed);
}

void LoudnessHistogram::clear() {
    for (unsigned i = 0; i < kBins; ++i) {
        bins_[i].count.store(0, kRelaxed);
        bins_[i].sum.store(0.0, kRelaxed);
    }
}

std::uint64_t LoudnessHistogram::blocks() const {
    std::uint64_t n = 0;
    for (unsigned i = 0; i < kBins; ++i) n += bins_[i].count.load(kRelaxed);
    return n;
}

double LoudnessHistogram::GatedMean::maxErrorLu() const {
    if (gateBinBlocks == 0 || counted == 0) return 0.0;
    const double n = double(counted), k = double(gateBinBlocks);
    if (gateBinCounted) return n > k ? 10.0 * std::log10(n / (n - k)) : std::numeric_limits<double>::infinity();
    return 10.0 * std::log10((n + k) / n);
}

LoudnessHistogram::GatedMean LoudnessHistogram::gatedMean(double gateLu) const {
    GatedMean r;
    // A snapshot of counts and sums, so both passes see the same numbers.
    double sumAll = 0.0;
    std::uint64_t nAll = 0;
    for (unsigned i = 0; i < kBins; ++i) {
        nAll += bins_[i].count.load(kRelaxed);
        sumAll += bins_[i].sum.load(kRelaxed);
    }
    if (nAll == 0) return r;
    const double gateEnergy = sumAll / double(nAll) * std::pow(10.0, gateLu / 10.0);
    const int gateBin = binOf(gateEnergy);
    double sum = 0.0;
    std::uint64_t n = 0;
    for (unsigned i = 0; i < kBins; ++i) {
        const std::uint64_t c = bins_[i].count.load(kRelaxed);
        if (c == 0 || int(i) < gateBin) continue;
        const double s = bins_[i].sum.load(kRelaxed);
        if (int(i) == gateBin) {
            r.gateBinBlocks = c;
            r.gateBinCounted = s / double(c) > gateEnergy;
            if (!r.gateBinCounted) continue;
        }
        sum += s;
        n += c;
    }
    r.counted = n;
    r.energy = n > 0 ? sum / double(n) : 0.0;
    return r;
}

double LoudnessHistogram::range(double gateLu, double lowFraction, double highFraction) const {
    double sumAll = 0.0;
    std::uint64_t nAll = 0;
    for (unsigned i = 0; i < kBins; ++i) {
        nAll += bins_[i].count.load(kRelaxed);
        sumAll += bins_[i].sum.load(kRelaxed);
    }
    if (nAll == 0) return 0.0;
    const double gateEnergy = sumAll / double(nAll) * std::pow(10.0, gateLu / 10.0);
    const int gateBin = binOf(gateEnergy);
    auto counts = [&](unsigned i) -> std::uint64_t {
        const std::uint64_t c = bins_[i].count.load(kRelaxed);
        if (c == 0 || int(i) < gateBin) return 0;
        if (int(i) == gateBin && !(bins_[i].sum.load(kRelaxed) / double(c) > gateEnergy)) return 0;
        return c;
    };
    std::uint64_t n = 0;
    for (unsigned i = 0; i < kBins; ++i) n += counts(i);
    if (n == 0) return 0.0;
    // Ranks round half up, as the reference tests compute them.
    const auto rankOf = [n](double fraction) { return std::uint64_t(std::llround(double(n - 1) * fraction)); };
    const std::uint64_t lowRank = rankOf(lowFraction), highRank = rankOf(highFraction);
    double low = 0.0, high = 0.0;
    std::uint64_t seen = 0;
    bool haveLow = false;
    for (unsigned i = 0; i < kBins; ++i) {
        const std::uint64_t c = counts(i);
        if (c == 0) continue;
        const double binLoudness = loudnessOf(bins_[i].sum.load(kRelaxed) / double(c));
        if (!haveLow && lowRank < seen + c) {
            low = binLoudness;
            haveLow = true;
        }
        if (highRank < seen + c) {
            high = binLoudness;
            break;
        }
        seen += c;
    }
    return high - low;
}

}  // namespace Aud
