// Aud::SimpleMixState: the complete state of the editor's software mixer. Per input
// channel a fader level, a pan, mute and solo; per mix bus a fader level, mute and solo;
// which inputs feed which mix buses; which side of which mix bus feeds which output.
// It holds no audio and does no processing.
//
// Units: levels are fader positions on the mixer's fader scale (the mixer-style gain
// curve), kept within 0.0 to 1.5; 1.0 is unity. Pans are stored as given (0.5 centre).
//
// Addressing (three different bases, deliberately):
//   input  0 .. inputs-1         stored at slot input
//   mix   -1 .. mixes-2          stored at slot mix+1; mix -1 is the main mix
//   output -2 .. outputs-3       stored at slot output+2; slots of -2 and -1 are special
//                                and never fed by the main mix
// Routing an output to a mix side (routed true, output >= 0) is exclusive: it takes that
// output away from every other mix and side. At most 18 output slots are supported.
// A bad index prints "assertion failed false at ole/AudAtoms/Aud__SimpleMixState line N"
// and the operation does nothing (a getter returns its fixed fallback); any accessor on
// a state without dimensions also reports "Function called on invalid MixerState!"
// through ole_splat.
//
// Threads: setters, resetToDefaultConfiguration, copyFrom, pack and unpack take the
// state's re-entrant lock; getters, the solo queries, the dirty flag, insertInputs and
// removeInput do not, and never block. Single values are read and written as relaxed
// atomics, so a getter may run beside setters on another thread and sees the old or the
// new value. Operations that change the dimensions or replace tables (init, copyFrom
// into this state, reset, unpack, retrieve, insertInputs, removeInput) must not run
// while another thread reads the same state. copyFrom locks the destination and then
// the source: never copy two states into each other from two threads at once.
// Allocation: init, copyFrom, reset, clone, the persistence and the configuration text
// allocate; the getters and setters do not.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "platform/CriticalSection.h"
#include "platform/IniFile.h"
#include "platform/Streams.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Aud {

class AUDATOMS_EXPORT SimpleMixState : public Taggable {
public:
    struct InputState {
        float level = 1.0f;
        float pan = 0.5f;
        bool mute = false;
        bool solo = false;
    };
    struct MixState {
        float level = 1.0f;
        bool mute = false;
        bool solo = false;
    };

    enum eTables {
        tInputLevels = 0,
        tInputPans = 1,
        tInputMutes = 2,
        tInputSolos = 3,
        tMixLevels = 4,
        tMixMutes = 5,
        tMixSolos = 6,
        tInputRoutingTable = 7,
        tMixRoutingTable = 8,
        tMixRoutingTableMax = 9,
    };

    // Output slots the mix routing table has room for (16 outputs and the 2 special ones).
    static constexpr int kMaxOutputSlots = 18;
    // Dimensions a stream or configuration text may bring in; larger ones are refused
    // when unpacking.
    static constexpr int kMaxUnpackedInputs = 1024;
    static constexpr int kMaxUnpackedMixes = 64;

    SimpleMixState();
    SimpleMixState(int numInputs, int numMixes, int numOutputs);
    SimpleMixState(const SimpleMixState&) = delete;  // copy with clone() or operator=
    ~SimpleMixState() override;

    // Gives a state without dimensions its dimensions and the default configuration.
    // Negative dimensions are reported and taken as 0.
    void init(int numInputs, int numMixes, int numOutputs);
    bool valid() const { return valid_; }
    void checkValid() const;

    void setDirty() const;
    void clearDirty() const;
    bool getDirty() const;

    int numInputChans() const { return numInputChans_; }
    int numMixChans() const { return numMixChans_; }
    int numOutputChans() const { return numOutputChans_; }
    // Bytes of a table for the current dimensions (32-bit arithmetic); 0 for an unknown kind.
    unsigned sizeOf(eTables table) const;

    float getInputLevel(int input) const;
    void setInputLevel(int input, float level);
    float getInputPan(int input) const;
    void setInputPan(int input, float pan);
    bool getInputMuteState(int input) const;
    void setInputMuteState(int input, bool mute);
    bool getInputSoloState(int input) const;
    void setInputSoloState(int input, bool solo);

    float getMixLevel(int mix) const;
    void setMixLevel(int mix, float level);
    bool getMixMuteState(int mix) const;
    void setMixMuteState(int mix, bool mute);
    bool getMixSoloState(int mix) const;
    void setMixSoloState(int mix, bool solo);

    // Throw std::out_of_range only when the table is shorter than the dimensions say.
    bool getInputRoutedToMix(int input, int mix) const;
    void setInputRoutedToMix(int input, int mix, bool routed);
    bool getMixRoutedToOutput(int mix, int output, bool left) const;
    void setMixRoutedToOutput(int mix, int output, bool left, bool routed);

    bool anyInputSolo() const;
    bool anyMixSolo() const;

    // Every input at level 1.0, pan 0.5, unmuted, unsoloed, feeding the main mix only;
    // every mix at 1.0, unmuted, unsoloed; main mix left to output 0, right to output 1.
    // Leaves the state dirty whenever it has an input (the inner setters mark it).
    void resetToDefaultConfiguration(bool markDirty);
    void copyFrom(const SimpleMixState& other, bool clearOtherDirty);
    SimpleMixState& operator=(const SimpleMixState& other);
    Qm::Ptr<Taggable> clone() const override;
    Qm::Ptr<Streamable> clone(BuilderType builder) const override;
    bool assign(const Streamable* other) override;

    // Input records only; the routing stays with the input numbers.
    void insertInputs(unsigned long count, unsigned long position);
    void removeInput(unsigned long index);

    // ---- object stream layer "AS", version 1.1 (reads 1.0) ----
    static const char* STRM_shortLayerName() { return "AS"; }
    StreamLayerVersion& STRM_layerVersion() const { return layerVersion_; }
    void pack(PStream& s) const;
    void unpack(PStream& s);
    // Reads one binary block into dest (expected bytes): false when it is longer than
    // expected (with the assertion report of line 772) or when the stream ends; a
    // shorter block is accepted and zero-padded to the expected size.
    bool checkUnpackBinary(void* dest, unsigned expected, PStream& s);
    int STRM_hierarchyPack(PStream& s) const override;
    int STRM_hierarchyUnpack(PStream& s) override;
    LightweightString<char> hierarchyName(bool longForm, bool withOutermost) const override;
    static LightweightString<char> subHierarchyName(bool longForm, bool withOutermost);
    static const char* revisionName() { return "Aud__SimpleMixState_R1"; }
    // The flag set from the configuration value "showMixChansDebug" (1: on), read when
    // the library is loaded; readDebugConfiguration() reads it again.
    static bool showMixChansDebug();
    static void readDebugConfiguration();
    static const StreamClassRegistrar STRM_L_SimpleMixState_registrar_;

    // A level written by version 1.0 (a linear magnitude) as a fader position: 1.0 stays
    // 1.0, anything else goes through the mixer-style magnitude-to-fader curve.
    static float levelFromMagnitude(float magnitude);

    // ---- configuration text, version 1.1 (reads 1.0); both return 0 ----
    // Its section names: the main section ("SimpleMixState", version and author) and the
    // nine channel sections in the order they are written. Hosts and tools that check or
    // edit the text use these rather than copies.
    static const char* const kConfigMainSection;
    static constexpr int kConfigChannelSectionCount = 9;
    static const char* const kConfigChannelSections[kConfigChannelSectionCount];
    int storeCompatibleConfigurationInformation(QmIniFile& file) const;
    int retrieveCompatibleConfigurationInformation(const QmIniFile& file);

    // ---- files: saves are atomic (a failed save leaves the old file as it was) ----
    // The whole object record (all layers) in an object stream file.
    bool saveToStreamFile(const std::string& path, std::string* error = nullptr) const;
    // False with the reason (the stream's error text or the file error) when the file
    // cannot be read or holds a damaged record; the state is then as far as it was read.
    bool loadFromStreamFile(const std::string& path, std::string* error = nullptr);
    bool saveConfigurationFile(const std::string& path, std::string* error = nullptr) const;
    bool loadConfigurationFile(const std::string& path, std::string* error = nullptr);

private:
    long long mixRoutingCell(int mix, int output, bool left) const;
    bool readUnpackedBody(PStream& s);
    void convertMagnitudeLevels();

    std::int32_t numInputChans_ = 0;
    std::int32_t numMixChans_ = 0;
    std::int32_t numOutputChans_ = 0;
    std::vector<InputState> inputStates_;
    std::vector<MixState> mixStates_;
    std::vector<std::uint8_t> inputRoutingTable_;
    std::vector<std::uint8_t> mixRoutingTable_;
    mutable CriticalSection lock_;
    bool valid_ = false;
    mutable bool dirty_ = false;
    mutable StreamLayerVersion layerVersion_{1, 1};
};

// Default-constructs a mixer state and unpacks it (all layers) from the stream.
AUDATOMS_EXPORT Qm::Ptr<Streamable> STRM_L_SimpleMixState_builder(PStream& s);

}  // namespace Aud
