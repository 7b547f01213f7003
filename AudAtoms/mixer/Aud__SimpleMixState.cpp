// Aud::SimpleMixState: construction, dimensions, reset, copying, input insertion.
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "AudAtoms/internal/Aud__SimpleMixState_Internal.h"
#include "platform/HostTypes.h"

#include <algorithm>

namespace Aud {
using namespace SimpleMixStateInternal;

SimpleMixState::SimpleMixState() = default;

SimpleMixState::SimpleMixState(int numInputs, int numMixes, int numOutputs) { init(numInputs, numMixes, numOutputs); }

SimpleMixState::~SimpleMixState() = default;

void SimpleMixState::init(int numInputs, int numMixes, int numOutputs) {
    if (valid_) kSource.report("valid_ == false", 957);
    if (numInputs < 0 || numMixes < 0 || numOutputs < 0) {
        kSource.report("numInputs >= 0 && numMixes >= 0 && numOutputs >= 0", 957);
        numInputs = std::max(numInputs, 0);
        numMixes = std::max(numMixes, 0);
        numOutputs = std::max(numOutputs, 0);
    }
    {
        CriticalSectionGuard g(lock_);
        numInputChans_ = numInputs;
        numMixChans_ = numMixes;
        numOutputChans_ = numOutputs;
        inputStates_.resize(std::size_t(numInputs));
        mixStates_.resize(std::size_t(numMixes));
        inputRoutingTable_.resize(sizeOf(tInputRoutingTable));
        mixRoutingTable_.resize(sizeOf(tMixRoutingTableMax));
        valid_ = true;
    }
    resetToDefaultConfiguration(false);
}

void SimpleMixState::checkValid() const {
    if (!valid_) ole_splat("Function called on invalid MixerState!");
}

void SimpleMixState::setDirty() const { storeRelaxed(dirty_, true); }
void SimpleMixState::clearDirty() const { storeRelaxed(dirty_, false); }
bool SimpleMixState::getDirty() const { return loadRelaxed(dirty_); }

unsigned SimpleMixState::sizeOf(eTables table) const {
    const auto n = std::uint32_t(numInputChans_);
    const auto m = std::uint32_t(numMixChans_);
    const auto o = std::uint32_t(numOutputChans_);
    switch (table) {
    case tInputLevels:
    case tInputPans: return n * 4u;
    case tInputMutes:
    case tInputSolos: return n;
    case tMixLevels: return m * 4u;
    case tMixMutes:
    case tMixSolos: return m;
    case tInputRoutingTable: return n * m;
    case tMixRoutingTable: return m * o * 2u;
    case tMixRoutingTableMax: return m * 9u * 4u;
    }
    kSource.report("false", 1003);
    return 0;
}

bool SimpleMixState::anyInputSolo() const {
    return std::any_of(inputStates_.begin(), inputStates_.end(),
                       [](const InputState& s) { return loadRelaxed(s.solo); });
}

bool SimpleMixState::anyMixSolo() const {
    return std::any_of(mixStates_.begin(), mixStates_.end(), [](const MixState& s) { return loadRelaxed(s.solo); });
}

void SimpleMixState::resetToDefaultConfiguration(bool markDirty) {
    checkValid();
    CriticalSectionGuard g(lock_);
    if (inputRoutingTable_.size() < sizeOf(tInputRoutingTable)) {
        kSource.report("false", 82);
        inputRoutingTable_.resize(sizeOf(tInputRoutingTable));
    }
    std::fill(inputRoutingTable_.begin(), inputRoutingTable_.end(), std::uint8_t(0));
    if (mixRoutingTable_.size() < sizeOf(tMixRoutingTableMax)) {
        kSource.report("false", 90);
        mixRoutingTable_.resize(sizeOf(tMixRoutingTableMax));
    }
    std::fill(mixRoutingTable_.begin(), mixRoutingTable_.end(), std::uint8_t(0));
    if (inputStates_.size() < std::size_t(numInputChans_)) inputStates_.resize(std::size_t(numInputChans_));
    if (mixStates_.size() < std::size_t(numMixChans_)) mixStates_.resize(std::size_t(numMixChans_));

    for (int i = 0; i < numInputChans_; ++i) {
        inputStates_[std::size_t(i)] = InputState();
        setInputRoutedToMix(i, -1, true);
    }
    for (int m = 0; m < numMixChans_; ++m) mixStates_[std::size_t(m)] = MixState();
    setMixRoutedToOutput(-1, 0, true, true);
    setMixRoutedToOutput(-1, 1, false, true);
    if (markDirty) setDirty();
}

void SimpleMixState::copyFrom(const SimpleMixState& other, bool clearOtherDirty) {
    if (!valid_) {
        if (!other.valid_) return;
        init(other.numInputChans_, other.numMixChans_, other.numOutputChans_);
    } else if (!other.valid_) {
        kSource.report("false", 177);
    }
    if (&other == this) return;

    CriticalSectionGuard destination(lock_);
    CriticalSectionGuard source(other.lock_);

    const bool needsReset = numMixChans_ > other.numMixChans_ || numInputChans_ > other.numInputChans_ ||
                            numOutputChans_ > other.numOutputChans_;
    const bool inputsGrew = other.numInputChans_ > numInputChans_;
    const bool mixesGrew = other.numMixChans_ > numMixChans_;
    numInputChans_ = std::max(numInputChans_, other.numInputChans_);
    numMixChans_ = std::max(numMixChans_, other.numMixChans_);
    numOutputChans_ = std::max(numOutputChans_, other.numOutputChans_);

    if (numMixChans_ != 4) kSource.report("numMixChans_ == 4", 200);
    if (numInputChans_ != int(EditChanMaxAudio)) kSource.report("numInputChans_ == EditChanMaxAudio", 201);

    if (inputsGrew) inputStates_.resize(std::size_t(numInputChans_));
    if (mixesGrew) mixStates_.resize(std::size_t(numMixChans_));
    if (needsReset) resetToDefaultConfiguration(false);

    inputStates_ = other.inputStates_;
    mixStates_ = other.mixStates_;
    if (mixRoutingTable_.size() != other.mixRoutingTable_.size())
        kSource.report("mixRoutingTable_.size() == other.mixRoutingTable_.size()", 221);
    inputRoutingTable_ = other.inputRoutingTable_;
    mixRoutingTable_ = other.mixRoutingTable_;

    storeRelaxed(dirty_, loadRelaxed(other.dirty_));
    if (clearOtherDirty) other.clearDirty();
}

SimpleMixState& SimpleMixState::operator=(const SimpleMixState& other) {
    copyFrom(other, false);
    return *this;
}

Qm::Ptr<Taggable> SimpleMixState::clone() const {
    Qm::Ptr<SimpleMixState> copy(new SimpleMixState());
    *copy = *this;
    return copy;
}

Qm::Ptr<Streamable> SimpleMixState::clone(BuilderType) const { return clone(); }

bool SimpleMixState::assign(const Streamable* other) {
    const auto* state = dynamic_cast<const SimpleMixState*>(other);
    if (!state) return false;
    *this = *state;
    return true;
}

void SimpleMixState::insertInputs(unsigned long count, unsigned long position) {
    const auto n = static_cast<unsigned long>(numInputChans_);
    if (position >= n) return;
    // Records pushed past the last input fall off, so inserting more than that is moot.
    const unsigned long at = std::min<unsigned long>(position, inputStates_.size());
    const unsigned long inserted = std::min(count, n - position);
    inputStates_.insert(inputStates_.begin() + long(at), inserted, InputState());
    if (inputStates_.size() > n) inputStates_.resize(n);
}

void SimpleMixState::removeInput(unsigned long index) {
    if (index >= static_cast<unsigned long>(numInputChans_) || index >= inputStates_.size()) return;
    inputStates_.erase(inputStates_.begin() + long(index));
    inputStates_.push_back(InputState());
}

}  // namespace Aud
