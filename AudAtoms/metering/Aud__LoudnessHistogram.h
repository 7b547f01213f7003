// Aud::LoudnessHistogram: gated statistics of a programme's loudness blocks in fixed
// memory, for integrated loudness and loudness range over programmes of any length.
//
// Blocks are given as energies (the weighted mean square of a block; loudness in LUFS
// is -0.691 + 10 log10(energy)). Each block with a loudness above the absolute gate
// (-70 LUFS) goes into one of kBins bins of kBinWidth (0.01) LU from -70 to +30 LUFS
// (louder blocks into the top bin), which keeps the number of its blocks and the exact
// sum of their energies. So a gated mean is the exact mean of every block except those
// in the one bin the relative gate falls in: that bin's blocks are all counted when
// the bin's mean energy is above the gate and all left out otherwise.
//
// Worst-case error of gatedMean: with k the blocks in the gate's bin and N the blocks
// counted (N includes those k when they are counted), every misplaced block lies within
// 0.01 LU of the gate and so at least 10 LU below the true gated mean; counting k such
// blocks too many lowers the result by at most 10 log10((N)/(N-k)) LU, leaving them out
// raises it by at most 10 log10((N+k)/N) LU. Both are reported in GatedMean so a caller
// can bound its answer; for k at most 1 % of N the error is below 0.044 LU, and it is 0
// when the gate's bin is empty. Percentiles are the mean energy of the bin that holds
// the ranked block: within 0.01 LU of the exact ranked value (plus the gate-bin effect
// on the ranks).
//
// Threads: one writer (add, on the audio thread: no allocation, no lock, no throw),
// any number of readers on other threads at the same time (gatedMean, percentile).
// Bins are atomics written with relaxed stores, so a reader sees each bin whole but
// may see a block in one statistic and not yet in another (the same accepted tearing as
// the monitoring points' readers). clear() is for the writer's thread.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace Aud {

class AUDATOMS_EXPORT LoudnessHistogram {
public:
    static constexpr double kAbsoluteGateLufs = -70.0;
    static constexpr double kTopLufs = 30.0;
    static constexpr double kBinWidth = 0.01;
    static constexpr unsigned kBins = 10000;  // (kTopLufs - kAbsoluteGateLufs) / kBinWidth

    LoudnessHistogram();
    ~LoudnessHistogram();
    LoudnessHistogram(const LoudnessHistogram&) = delete;
    LoudnessHistogram& operator=(const LoudnessHistogram&) = delete;

    // Adds one block; blocks at or below the absolute gate (and non-finite or
    // non-positive energies) are not kept.
    void add(double energy);
    void clear();

    struct GatedMean {
        double energy = 0.0;              // mean energy of the counted blocks, 0 when none
        std::uint64_t counted = 0;        // N: blocks counted
        std::uint64_t gateBinBlocks = 0;  // k: blocks in the bin the relative gate falls in
        bool gateBinCounted = false;      // whether those k are among the N
        double maxErrorLu() const;        // the bound above, in LU
    };

    // Mean energy of the blocks above a relative gate of gateLu (e.g. -10) below the
    // mean of all kept blocks.
    GatedMean gatedMean(double gateLu) const;

    // The loudness range statistic: relative gate gateLu below the mean of all kept
    // blocks, then the loudness (LUFS) of the ranked blocks round((n-1) lowFraction)
    // and round((n-1) highFraction) of the n counted; high minus low in LU, or 0 with
    // fewer than one counted block.
    double range(double gateLu, double lowFraction, double highFraction) const;

    std::uint64_t blocks() const;  // kept blocks in all

    static double loudnessOf(double energy);  // -0.691 + 10 log10(energy), -inf for 0

private:
    struct Bin {
        std::atomic<std::uint64_t> count{0};
        std::atomic<double> sum{0.0};
    };
    static int binOf(double energy);
    std::unique_ptr<Bin[]> bins_;
};

}  // namespace Aud
