// Aud::SimpleMixState: the per-value getters and setters and their range checks.
// Each out-of-range index reports its own source line; the numbers are fixed.
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "AudAtoms/internal/Aud__SimpleMixState_Internal.h"

namespace Aud {
using namespace SimpleMixStateInternal;

namespace {
float clampLevel(float level) {
    if (level > 1.5f) return 1.5f;
    if (level < 0.0f) return 0.0f;
    return level;  // NaN passes unchanged
}

template <class Record>
bool inRange(long long index, int count, const std::vector<Record>& records) {
    return index >= 0 && index < count && std::size_t(index) < records.size();
}

// One field of one input or mix record: the range check with its own report line, then
// the value read without the lock, or written under it.
template <class Record, class T>
T readField(const std::vector<Record>& records, long long index, int count, T Record::*field, int line, T fallback) {
    if (!inRange(index, count, records)) {
        kSource.report("false", line);
        return fallback;
    }
    return loadRelaxed(records[std::size_t(index)].*field);
}

template <class Record, class T>
void writeField(const SimpleMixState& state, CriticalSection& lock, std::vector<Record>& records, long long index,
                int count, T Record::*field, T value, int line) {
    if (!inRange(index, count, records)) {
        kSource.report("false", line);
        return;
    }
    CriticalSectionGuard g(lock);
    storeRelaxed(records[std::size_t(index)].*field, value);
    state.setDirty();
}
}  // namespace

// ---- inputs ----

float SimpleMixState::getInputLevel(int input) const {
    checkValid();
    return readField(inputStates_, input, numInputChans_, &InputState::level, 258, 1.5f);
}

void SimpleMixState::setInputLevel(int input, float level) {
    checkValid();
    writeField(*this, lock_, inputStates_, input, numInputChans_, &InputState::level, clampLevel(level), 278);
}

float SimpleMixState::getInputPan(int input) const {
    checkValid();
    return readField(inputStates_, input, numInputChans_, &InputState::pan, 296, 0.5f);
}

void SimpleMixState::setInputPan(int input, float pan) {
    checkValid();
    writeField(*this, lock_, inputStates_, input, numInputChans_, &InputState::pan, pan, 311);
}

bool SimpleMixState::getInputMuteState(int input) const {
    checkValid();
    return readField(inputStates_, input, numInputChans_, &InputState::mute, 330, false);
}

void SimpleMixState::setInputMuteState(int input, bool mute) {
    checkValid();
    writeField(*this, lock_, inputStates_, input, numInputChans_, &InputState::mute, mute, 345);
}

bool SimpleMixState::getInputSoloState(int input) const {
    checkValid();
    return readField(inputStates_, input, numInputChans_, &InputState::solo, 363, false);
}

void SimpleMixState::setInputSoloState(int input, bool solo) {
    checkValid();
    writeField(*this, lock_, inputStates_, input, numInputChans_, &InputState::solo, solo, 376);
}

// ---- mix buses: mix -1 is slot 0 ----

float SimpleMixState::getMixLevel(int mix) const {
    checkValid();
    return readField(mixStates_, mix + 1LL, numMixChans_, &MixState::level, 398, 1.5f);
}

void SimpleMixState::setMixLevel(int mix, float level) {
    checkValid();
    writeField(*this, lock_, mixStates_, mix + 1LL, numMixChans_, &MixState::level, clampLevel(level), 421);
}

bool SimpleMixState::getMixMuteState(int mix) const {
    checkValid();
    return readField(mixStates_, mix + 1LL, numMixChans_, &MixState::mute, 444, false);
}

void SimpleMixState::setMixMuteState(int mix, bool mute) {
    checkValid();
    writeField(*this, lock_, mixStates_, mix + 1LL, numMixChans_, &MixState::mute, mute, 462);
}

bool SimpleMixState::getMixSoloState(int mix) const {
    checkValid();
    return readField(mixStates_, mix + 1LL, numMixChans_, &MixState::solo, 484, false);
}

void SimpleMixState::setMixSoloState(int mix, bool solo) {
    checkValid();
    writeField(*this, lock_, mixStates_, mix + 1LL, numMixChans_, &MixState::solo, solo, 502);
}

// ---- routing ----

bool SimpleMixState::getInputRoutedToMix(int input, int mix) const {
    checkValid();
    const long long slot = mix + 1LL;
    if (input < 0 || input >= numInputChans_ || slot < 0 || slot >= numMixChans_) {
        kSource.report("false", 528);
        return false;
    }
    const auto cell = std::size_t(input) * std::size_t(numMixChans_) + std::size_t(slot);
    return loadRelaxed(inputRoutingTable_.at(cell)) == 1;
}

void SimpleMixState::setInputRoutedToMix(int input, int mix, bool routed) {
    checkValid();
    const long long slot = mix + 1LL;
    if (input < 0 || input >= numInputChans_ || slot < 0 || slot >= numMixChans_) {
        kSource.report("false", 547);
        return;
    }
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
    if (mix == -1 && outSlot <= 1) {
        kSource.report("false", 569);
        return false;
    }
    if (slot > numMixChans_ || outSlot > numOutputChans_ || slot < 0 || outSlot < 0) {
        kSource.report("false", 585);
        return false;
    }
    const long long cell = mixRoutingCell(mix, output, left);
    if (cell >= static_cast<long long>(sizeOf(tMixRoutingTable)) ||
        cell >= static_cast<long long>(mixRoutingTable_.size())) {
        kSource.report("false", 595);
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
                if (cell >= static_cast<long long>(mixRoutingTable_.size())) continue;
                const bool chosen = (m - 1 == mix) && ((side == 0) == left);
                storeRelaxed(mixRoutingTable_[std::size_t(cell)], std::uint8_t(chosen ? 1 : 0));
            }
        }
        setDirty();
        return;
    }
    const long long slot = mix + 1LL, outSlot = output + 2LL;
    if (mix == -1 && (output == -2 || output == -1)) {
        kSource.report("false", 611);
        return;
    }
    if (slot > numMixChans_ || outSlot > numOutputChans_ || slot < 0 || outSlot < 0) {
        kSource.report("false", 627);
        return;
    }
    const long long cell = mixRoutingCell(mix, output, left);
    if (cell >= static_cast<long long>(sizeOf(tMixRoutingTable)) ||
        cell >= static_cast<long long>(mixRoutingTable_.size())) {
        kSource.report("false", 643);
        return;
    }
    CriticalSectionGuard g(lock_);
    storeRelaxed(mixRoutingTable_[std::size_t(cell)], std::uint8_t(routed ? 1 : 0));
    setDirty();
}

}  // namespace Aud
