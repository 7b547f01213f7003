// Aud::SimpleMixState: the per-value getters and setters and their range checks.
// Each out-of-range index reports its own source line; the numbers are fixed.
#include "AudAtoms/Aud__SimpleMixState.h"

#include "AudAtoms/Aud__SimpleMixState_Internal.h"

namespace Aud {
using namespace SimpleMixStateInternal;

namespace {
float clampLevel(float level) {
    if (level > 1.5f) return 1.5f;
    if (level < 0.0f) return 0.0f;
    return level; // NaN passes unchanged
}

template <class Record>
bool inRange(long long index, int count, const std::vector<Record>& records) {
    return index >= 0 && index < count && std::size_t(index) < records.size();
}
} // namespace

// ---- inputs ----

float SimpleMixState::getInputLevel(int input) const {
    checkValid();
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(258); return 1.5f; }
    return loadRelaxed(inputStates_[std::size_t(input)].level);
}

void SimpleMixState::setInputLevel(int input, float level) {
    checkValid();
    level = clampLevel(level);
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(278); return; }
    CriticalSectionGuard g(lock_);
    storeRelaxed(inputStates_[std::size_t(input)].level, level);
    setDirty();
}

float SimpleMixState::getInputPan(int input) const {
    checkValid();
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(296); return 0.5f; }
    return loadRelaxed(inputStates_[std::size_t(input)].pan);
}

void SimpleMixState::setInputPan(int input, float pan) {
    checkValid();
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(311); return; }
    CriticalSectionGuard g(lock_);
    storeRelaxed(inputStates_[std::size_t(input)].pan, pan);
    setDirty();
}

bool SimpleMixState::getInputMuteState(int input) const {
    checkValid();
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(330); return false; }
    return loadRelaxed(inputStates_[std::size_t(input)].mute);
}

void SimpleMixState::setInputMuteState(int input, bool mute) {
    checkValid();
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(345); return; }
    CriticalSectionGuard g(lock_);
    storeRelaxed(inputStates_[std::size_t(input)].mute, mute);
    setDirty();
}

bool SimpleMixState::getInputSoloState(int input) const {
    checkValid();
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(363); return false; }
    return loadRelaxed(inputStates_[std::size_t(input)].solo);
}

void SimpleMixState::setInputSoloState(int input, bool solo) {
    checkValid();
    if (!inRange(input, numInputChans_, inputStates_)) { reportAt(376); return; }
    CriticalSectionGuard g(lock_);
    storeRelaxed(inputStates_[std::size_t(input)].solo, solo);
    setDirty();
}

// ---- mix buses: mix -1 is slot 0 ----

float SimpleMixState::getMixLevel(int mix) const {
    checkValid();
    const long long slot = mix + 1LL;
    if (!inRange(slot, numMixChans_, mixStates_)) { reportAt(398); return 1.5f; }
    return loadRelaxed(mixStates_[std::size_t(slot)].level);
}

void SimpleMixState::setMixLevel(int mix, float level) {
    checkValid();
    level = clampLevel(level);
    const long long slot = mix + 1LL;
    if (!inRange(slot, numMixChans_, mixStates_)) { reportAt(421); return; }
    CriticalSectionGuard g(lock_);
    storeRelaxed(mixStates_[std::size_t(slot)].level, level);
    setDirty();
}

bool SimpleMixState::getMixMuteState(int mix) const {
    checkValid();
    const long long slot = mix + 1LL;
    if (!inRange(slot, numMixChans_, mixStates_)) { reportAt(444); return false; }
    return loadRelaxed(mixStates_[std::size_t(slot)].mute);
}

void SimpleMixState::setMixMuteState(int mix, bool mute) {
    checkValid();
    const long long slot = mix + 1LL;
    if (!inRange(slot, numMixChans_, mixStates_)) { reportAt(462); return; }
    CriticalSectionGuard g(lock_);
    storeRelaxed(mixStates_[std::size_t(slot)].mute, mute);
    setDirty();
}

bool SimpleMixState::getMixSoloState(int mix) const {
    checkValid();
    const long long slot = mix + 1LL;
    if (!inRange(slot, numMixChans_, mixStates_)) { reportAt(484); return false; }
    return loadRelaxed(mixStates_[std::size_t(slot)].solo);
}

void SimpleMixState::setMixSoloState(int mix, bool solo) {
    checkValid();
    const long long slot = mix + 1LL;
    if (!inRange(slot, numMixChans_, mixStates_)) { reportAt(502); return; }
    CriticalSectionGuard g(lock_);
    storeRelaxed(mixStates_[std::size_t(slot)].solo, solo);
    setDirty();
}

// ---- routing ----

bool SimpleMixState::getInputRoutedToMix(int input, int mix) const {
    checkValid();
    const long long slot = mix + 1LL;
    if (input < 0 || input >= numInputChans_ || slot < 0 || slot >= numMixChans_) { reportAt(528); return false; }
    const auto cell = std::size_t(input) * std::size_t(numMixChans_) + std::size_t(slot);
    return loadRelaxed(inputRoutingTable_.at(cell)) == 1;
}

void SimpleMixState::setInputRoutedToMix(int input, int mix, bool routed) {
    checkValid();
    const long long slot = mix + 1LL;
    if (input < 0 || input >= numInputChans_ || slot < 0 || slot >= numMixChans_) { reportAt(547); return; }
    const auto cell = std::size_t(input) * std::size_t(numMixChans_) + std::size_t(slot);
    CriticalSectionGuard g(lock_);
    storeRelaxed(inputRoutingTable_.at(cell), std::uint8_t(routed ? 1 : 0));
    setDirty();
}

long long SimpleMixState::mixRoutingCell(int mix, int output, bool left) const {
    return ((mix + 1LL) * numOutputChans_ + (output + 2LL)) * 2 + (left ? 0 : 1);
}

bool SimpleMixState::getMixRoutedToOutput(int mix, int output, bool left) const {
    checkValid();
    const long long slot = mix + 1LL, outSlot = output + 2LL;
    if (mix == -1 && outSlot <= 1) { reportAt(569); return false; }
    if (slot > numMixChans_ || outSlot > numOutputChans_ || slot < 0 || outSlot < 0) { reportAt(585); return false; }
    const long long cell = mixRoutingCell(mix, output, left);
    if (cell >= (long long)sizeOf(tMixRoutingTable) || cell >= (long long)mixRoutingTable_.size()) {
        reportAt(595);
        return false;
    }
    return loadRelaxed(mixRoutingTable_[std::size_t(cell)]) == 1;
}

void SimpleMixState::setMixRoutedToOutput(int mix, int output, bool left, bool routed) {
    checkValid();
    if (routed && output >= 0) {
        // Exclusive: this output is taken away from every other mix and side. Cells past
        // the end of the table (output slot numOutputChans_ of the last mix) are skipped.
        CriticalSectionGuard g(lock_);
        for (int side = 0; side < 2; ++side) {
            for (int m = 0; m < numMixChans_; ++m) {
                if (output + 1LL >= numOutputChans_) return;
                const long long cell = mixRoutingCell(m - 1, output, side == 0);
                if (cell >= (long long)mixRoutingTable_.size()) continue;
                const bool chosen = (m - 1 == mix) && ((side == 0) == left);
                storeRelaxed(mixRoutingTable_[std::size_t(cell)], std::uint8_t(chosen ? 1 : 0));
            }
        }
        setDirty();
        return;
    }
    const long long slot = mix + 1LL, outSlot = output + 2LL;
    if (mix == -1 && (output == -2 || output == -1)) { reportAt(611); return; }
    if (slot > numMixChans_ || outSlot > numOutputChans_ || slot < 0 || outSlot < 0) { reportAt(627); return; }
    const long long cell = mixRoutingCell(mix, output, left);
    if (cell >= (long long)sizeOf(tMixRoutingTable) || cell >= (long long)mixRoutingTable_.size()) {
        reportAt(643);
        return;
    }
    CriticalSectionGuard g(lock_);
    storeRelaxed(mixRoutingTable_[std::size_t(cell)], std::uint8_t(routed ? 1 : 0));
    setDirty();
}

} // namespace Aud
