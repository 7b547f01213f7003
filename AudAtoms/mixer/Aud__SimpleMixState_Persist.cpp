// Aud::SimpleMixState: own data of the object stream layer "AS".
//
// Version 1.1, in order: valid byte (nothing follows when 0); inputs, mixes, outputs
// (int32 each); input level byte count and floats; input pan byte count and floats;
// mix level byte count and floats (main mix first); input routing block; the used part
// of the mix routing table as a block; then element counts and bytes of input mutes,
// input solos, mix mutes and mix solos. Version 1.0 has the same layout with linear
// magnitudes as levels.
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "AudAtoms/internal/Aud__SimpleMixState_Internal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Aud {
using namespace SimpleMixStateInternal;

namespace {
constexpr const char* kBinarySizeMessage =
    "Encountered unexpected binary data size while unpacking SoftwareAudioMixer::SimpleMixState";

// A binary block with its uint32 length; an empty block is a zero length (writeBinary
// would take size 0 for a NUL-terminated string).
void writeBlock(PStream& s, const std::uint8_t* data, std::size_t size) {
    if (size == 0) s.file().setUnsignedLong(0);
    else s.writeBinary(data, unsigned(size), true, false);
}

// Reads a byte count and then that many bytes / 4 floats into records[i].*field, from
// record 0 upward, never more than there are records (the rest stays unread).
template <class Record>
bool readFloats(StreamFile& f, std::vector<Record>& records, float Record::*field) {
    const std::uint32_t bytes = f.getUnsignedLong();
    const std::size_t count = std::min<std::size_t>(bytes / 4u, records.size());
    for (std::size_t i = 0; i < count && !f.failed(); ++i) {
        const float v = f.getFloat();
        if (!f.failed()) records[i].*field = v;
    }
    return !f.failed();
}

// Reads an element count and then that many flag bytes (non-zero is true), bounded likewise.
template <class Record>
bool readFlags(StreamFile& f, std::vector<Record>& records, bool Record::*field) {
    const std::uint32_t n = f.getUnsignedLong();
    const std::size_t count = std::min<std::size_t>(n, records.size());
    for (std::size_t i = 0; i < count && !f.failed(); ++i) {
        const std::uint8_t b = f.getCookedChar();
        if (!f.failed()) records[i].*field = (b != 0);
    }
    return !f.failed();
}

template <class Record>
void writeFloats(StreamFile& f, const std::vector<Record>& records, float Record::*field) {
    f.setUnsignedLong(std::uint32_t(records.size() * 4u));
    for (const Record& r : records) f.setFloat(r.*field);
}

template <class Record>
void writeFlags(StreamFile& f, const std::vector<Record>& records, bool Record::*field) {
    f.setUnsignedLong(std::uint32_t(records.size()));
    for (const Record& r : records) f.setCookedChar(r.*field ? 1 : 0);
}

bool supportedDimensions(std::int32_t n, std::int32_t m, std::int32_t o) {
    return n >= 0 && n <= SimpleMixState::kMaxUnpackedInputs && m >= 0 && m <= SimpleMixState::kMaxUnpackedMixes &&
           o >= 0 && o <= SimpleMixState::kMaxOutputSlots;
}
}  // namespace

void SimpleMixState::pack(PStream& s) const {
    CriticalSectionGuard g(lock_);
    layerVersion_ = {1, 1};
    StreamFile& f = s.file();
    f.setCookedChar(valid_ ? 1 : 0);
    if (!valid_) return;
    f.setLong(numInputChans_);
    f.setLong(numMixChans_);
    f.setLong(numOutputChans_);
    writeFloats(f, inputStates_, &InputState::level);
    writeFloats(f, inputStates_, &InputState::pan);
    writeFloats(f, mixStates_, &MixState::level);
    writeBlock(s, inputRoutingTable_.data(), inputRoutingTable_.size());
    writeBlock(s, mixRoutingTable_.data(), std::min<std::size_t>(sizeOf(tMixRoutingTable), mixRoutingTable_.size()));
    writeFlags(f, inputStates_, &InputState::mute);
    writeFlags(f, inputStates_, &InputState::solo);
    writeFlags(f, mixStates_, &MixState::mute);
    writeFlags(f, mixStates_, &MixState::solo);
}

void SimpleMixState::unpack(PStream& s) {
    CriticalSectionGuard g(lock_);
    valid_ = false;
    clearDirty();
    numInputChans_ = numMixChans_ = numOutputChans_ = 0;
    inputRoutingTable_.clear();
    mixRoutingTable_.clear();

    const StreamLayerVersion v = layerVersion_;
    if (v.major * 1000u + v.minor > 1001u) {
        char text[128];
        std::snprintf(
            text, sizeof text,
            "Encountered unknown version of SoftwareAudioMixer::SimpleMixState (current v%d.%d, encountered v%d.%d).",
            1, 1, int(v.major), int(v.minor));
        s.appendError(text);
        return;
    }
    if (readUnpackedBody(s) && v.major == 1 && v.minor == 0) convertMagnitudeLevels();
}

// Reads everything after the version check; false when it stopped early (an invalid
// state, a refused or damaged record, or the end of the stream).
bool SimpleMixState::readUnpackedBody(PStream& s) {
    StreamFile& f = s.file();
    if (f.getCookedChar() == 0) return false;
    const std::int32_t n = f.getLong();
    const std::int32_t m = f.getLong();
    const std::int32_t o = f.getLong();
    if (f.failed()) return false;
    if (!supportedDimensions(n, m, o)) {
        char text[160];
        std::snprintf(text, sizeof text,
                      "Encountered unsupported dimensions (%d inputs, %d mixes, %d outputs) while unpacking "
                      "SoftwareAudioMixer::SimpleMixState",
                      int(n), int(m), int(o));
        s.appendError(text);
        return false;
    }
    init(n, m, o);

    if (!readFloats(f, inputStates_, &InputState::level)) return false;
    if (!readFloats(f, inputStates_, &InputState::pan)) return false;
    if (!readFloats(f, mixStates_, &MixState::level)) return false;

    if (sizeOf(tInputRoutingTable) != inputRoutingTable_.size())
        kSource.report("sizeOf( tInputRoutingTable ) == inputRoutingTable_.size()", 862);
    const bool inputBlockOk =
        checkUnpackBinary(inputRoutingTable_.data(),
                          unsigned(std::min<std::size_t>(sizeOf(tInputRoutingTable), inputRoutingTable_.size())), s);
    if (sizeOf(tMixRoutingTableMax) != mixRoutingTable_.size())
        kSource.report("sizeOf( tMixRoutingTableMax ) == mixRoutingTable_.size()", 870);
    const bool mixBlockOk = checkUnpackBinary(
        mixRoutingTable_.data(), unsigned(std::min<std::size_t>(sizeOf(tMixRoutingTable), mixRoutingTable_.size())), s);
    if (f.failed()) return false;
    if (!inputBlockOk || !mixBlockOk) {
        s.appendError(kBinarySizeMessage);
        return false;
    }

    return readFlags(f, inputStates_, &InputState::mute) && readFlags(f, inputStates_, &InputState::solo) &&
           readFlags(f, mixStates_, &MixState::mute) && readFlags(f, mixStates_, &MixState::solo);
}

bool SimpleMixState::checkUnpackBinary(void* dest, unsigned expected, PStream& s) {
    const std::string block = s.file().readBinary();
    if (s.file().failed()) return false;
    if (block.size() > expected) {
        kSource.report("false", 772);
        return false;
    }
    if (expected == 0) return true;
    auto* d = static_cast<unsigned char*>(dest);
    // A binary block of the record, not a string: no terminator belongs after it.
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    if (!block.empty()) std::memcpy(d, block.data(), block.size());
    std::memset(d + block.size(), 0, expected - block.size());
    return true;
}

void SimpleMixState::convertMagnitudeLevels() {
    for (InputState& in : inputStates_) in.level = levelFromMagnitude(in.level);
    for (MixState& mix : mixStates_) mix.level = levelFromMagnitude(mix.level);
}

int SimpleMixState::STRM_hierarchyPack(PStream& s) const {
    return STRM_packLayers<Streamable, Taggable, SimpleMixState>(*this, s);
}

int SimpleMixState::STRM_hierarchyUnpack(PStream& s) {
    return STRM_unpackLayers<Streamable, Taggable, SimpleMixState>(*this, s);
}

}  // namespace Aud
