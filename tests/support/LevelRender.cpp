#include "LevelRender.h"

#include "AudAtoms/kernels/Aud__MixRender.h"

#include <algorithm>

namespace audatoms::test {

void rampRun(const float* src, float* dst, unsigned blocks, float level, float delta) {
    // The library's ramp kernel; src and dst are distinct here, so a zero delta gives
    // src * level like any other.
    Aud::MixRender::MultiplyWithDelta(const_cast<float*>(src), dst, blocks, level, delta);
}

LevelRenderer::LevelRenderer(Aud::DynamicLevelControl::DynamicLevelApplyingIteratorState& state, bool reverse,
                             std::size_t maxBlock, std::size_t logCapacity)
    : state_(state), walk_(state), reverse_(reverse), ones_(maxBlock + 4, 1.0f), scratch_(maxBlock + 4, 0.0f),
      logCapacity_(logCapacity) {
    runs_.reserve(logCapacity);
}

void LevelRenderer::logRun() {
    if (runs_.size() < logCapacity_)
        runs_.push_back(LevelRun{rendered_, state_.samplesToNextNode_, state_.level_, state_.levelDelta_, state_.atEnd_,
                                 state_.pendingValid_});
    needLog_ = false;
}

void LevelRenderer::advance() {
    if (reverse_) walk_.moveToNextNodeReverse();
    else walk_.moveToNextNodeForwards();
    needLog_ = true;
}

bool LevelRenderer::render(float* out, std::size_t n) {
    std::size_t done = 0;
    int idle = 0;
    while (done < n) {
        if (needLog_) logRun();
        const std::size_t left = n - done;
        const std::size_t take = state_.atEnd_ ? left : std::min<std::size_t>(state_.samplesToNextNode_, left);
        if (take > 0) {
            // The kernel works on whole four-sample blocks: ramp into scratch, keep take.
            const unsigned blocks = static_cast<unsigned>((take + 3) / 4);
            rampRun(ones_.data(), scratch_.data(), blocks, state_.level_, state_.levelDelta_);
            std::copy(scratch_.begin(), scratch_.begin() + take, out + done);
            state_.level_ += static_cast<float>(take) * state_.levelDelta_;
            if (!state_.atEnd_) state_.samplesToNextNode_ -= static_cast<std::uint32_t>(take);
            done += take;
            rendered_ += take;
            idle = 0;
        } else if (++idle > 16) {
            return false;
        }
        if (!state_.atEnd_ && state_.samplesToNextNode_ == 0) advance();
    }
    return true;
}

}  // namespace audatoms::test
