// Helpers shared by the mixer state tests: expected assertion lines, a little-endian
// byte builder for expected stream bytes, whole-state comparison through the public
// getters, and a generator of random valid states.
#pragma once

#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace audatoms::test {

// "assertion failed <condition> at ole/AudAtoms/Aud__SimpleMixState line <line>\n"
std::string assertionLine(int line, const std::string& condition = "false");

// Builds expected bytes as the layout tables describe them (little-endian).
class StreamBytes {
public:
    StreamBytes& u8(unsigned v);
    StreamBytes& u16(unsigned v);
    StreamBytes& u32(std::uint32_t v);
    StreamBytes& i32(std::int32_t v) { return u32(std::uint32_t(v)); }
    StreamBytes& f32(float v);
    StreamBytes& str(const std::string& s);  // with its NUL
    StreamBytes& raw(const std::string& s);
    StreamBytes& raw(const std::vector<std::uint8_t>& v);
    // A binary block: uint32 length, then the bytes.
    StreamBytes& block(const std::vector<std::uint8_t>& v);
    // A stream format 2 layer header.
    StreamBytes& header2(const std::string& name, unsigned major, unsigned minor, std::uint32_t own,
                         std::uint32_t total);
    const std::string& str() const { return s_; }
    std::size_t size() const { return s_.size(); }

private:
    std::string s_;
};

// The three outer layers of a whole record in stream format 2, around the mixer
// state's own data: "$" 2.0, "T" 1.0, "AS" major.minor.
std::string wholeRecord(const std::string& ownData, unsigned major = 1, unsigned minor = 1);

// Every value reachable through the public getters, compared; the first difference is
// described in *why. Levels and pans compare bit for bit (NaN equal to NaN).
struct CompareOptions {
    bool mixMutesAndSolos = true;
};
bool sameState(const Aud::SimpleMixState& a, const Aud::SimpleMixState& b, std::string* why,
               CompareOptions options = {});

// A valid state with random dimensions (inputs 0..maxInputs, mixes 1..maxMixes,
// outputs 0..18) and random values set through the public setters.
// textExact: levels and pans that keep their exact value through "%.10f" text.
Qm::Ptr<Aud::SimpleMixState> randomState(std::mt19937& rng, bool textExact, int maxInputs = 40, int maxMixes = 8);

// Runs fn and returns the assertion lines it reported (platform::LogCapture's
// assertionText()).
std::string assertionsOf(const std::function<void()>& fn);

// The mixer layer's own data, and the whole record (all layers) in the given stream format.
std::string ownData(const Aud::SimpleMixState& s);
std::string record(const Aud::SimpleMixState& s, int format = 2);

// Unpacks a whole record into s: the status, the stream's error text, the assertion lines
// reported, the log text, and where reading stopped.
struct Unpacked {
    int status = 0;
    std::string errors;
    std::string printed;
    std::string log;
    std::uint32_t position = 0;
};
Unpacked unpackRecord(Aud::SimpleMixState& s, const std::string& bytes);

// The fader value of an old linear magnitude, worked out from the nodes of the curve:
// 1.0 stays; otherwise node i = trunc(v / 0.005) read as unsigned and at most 902, and
// slope * (v - mag) + uval of that node.
float faderFromMagnitude(float v);

}  // namespace audatoms::test
