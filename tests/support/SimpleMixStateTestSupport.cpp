#include "SimpleMixStateTestSupport.h"

#include "AudAtoms/kernels/Aud__GainCurve.h"
#include "BitCompare.h"
#include "platform/Report.h"

#include <gtest/gtest.h>

#include <sstream>

namespace audatoms::test {

std::string assertionLine(int line, const std::string& condition) {
    return "assertion failed " + condition + " at ole/AudAtoms/Aud__SimpleMixState line " + std::to_string(line) + "\n";
}

StreamBytes& StreamBytes::u8(unsigned v) {
    s_ += char(v & 0xFF);
    return *this;
}
StreamBytes& StreamBytes::u16(unsigned v) { return u8(v).u8(v >> 8); }
StreamBytes& StreamBytes::u32(std::uint32_t v) { return u8(v).u8(v >> 8).u8(v >> 16).u8(v >> 24); }
StreamBytes& StreamBytes::f32(float v) { return u32(bitsOf(v)); }
StreamBytes& StreamBytes::str(const std::string& s) {
    s_ += s;
    s_ += '\0';
    return *this;
}
StreamBytes& StreamBytes::raw(const std::string& s) {
    s_ += s;
    return *this;
}
StreamBytes& StreamBytes::raw(const std::vector<std::uint8_t>& v) {
    for (auto b : v) u8(b);
    return *this;
}
StreamBytes& StreamBytes::block(const std::vector<std::uint8_t>& v) { return u32(std::uint32_t(v.size())).raw(v); }
StreamBytes& StreamBytes::header2(const std::string& name, unsigned major, unsigned minor, std::uint32_t own,
                                  std::uint32_t total) {
    return str(name).u8(major).u8(minor).u32(own).u32(total);
}

std::string wholeRecord(const std::string& ownData, unsigned major, unsigned minor) {
    const auto own = std::uint32_t(ownData.size());
    // Each header: name + NUL, two version bytes, two uint32 lengths.
    const std::uint32_t asLayer = 3 + 2 + 8 + own;
    const std::uint32_t tLayer = 2 + 2 + 8 + asLayer;
    StreamBytes b;
    b.header2("$", 2, 0, 0, tLayer);
    b.header2("T", 1, 0, 0, asLayer);
    b.header2("AS", major, minor, own, own);
    b.raw(ownData);
    return b.str();
}

std::string assertionsOf(const std::function<void()>& fn) {
    platform::LogCapture capture;
    fn();
    return capture.assertionText();
}

std::string ownData(const Aud::SimpleMixState& s) {
    StreamFile f;
    PStream p(f);
    s.pack(p);
    return f.bytes();
}

std::string record(const Aud::SimpleMixState& s, int format) {
    StreamFile f;
    PStream p(f);
    p.setFormatNumber(format);
    EXPECT_EQ(s.STRM_hierarchyPack(p), kStreamLayerOk);
    return f.bytes();
}

Unpacked unpackRecord(Aud::SimpleMixState& s, const std::string& bytes) {
    StreamFile f;
    f.setBytes(bytes);
    PStream p(f);
    platform::LogCapture log;
    Unpacked u;
    u.printed = assertionsOf([&] { u.status = s.STRM_hierarchyUnpack(p); });
    u.errors = p.errorText().toStd();
    u.log = log.logText();
    u.position = f.tell();
    return u;
}

float faderFromMagnitude(float v) {
    if (v == 1.0f) return 1.0f;
    const float q = v / 0.005f;
    unsigned i = 902;
    if (q > -1.0f && q < 903.0f) i = unsigned(long(q));
    const auto& node = Aud::GainCurve::MixerStyleLog1_Private::Mag2UVal_CurveNodes[i];
    return node.slope * (v - node.mag) + node.uval;
}

namespace {
template <class T>
bool differ(const char* what, int a, int b, T x, T y, std::string* why) {
    if (x == y) return false;
    if (why) {
        std::ostringstream o;
        o << what << "(" << a << "," << b << "): " << x << " vs " << y;
        *why = o.str();
    }
    return true;
}
bool differF(const char* what, int a, float x, float y, std::string* why) {
    return differ(what, a, 0, bitsOf(x), bitsOf(y), why);
}
}  // namespace

bool sameState(const Aud::SimpleMixState& a, const Aud::SimpleMixState& b, std::string* why, CompareOptions opt) {
    if (differ("valid", 0, 0, a.valid(), b.valid(), why)) return false;
    if (differ("inputs", 0, 0, a.numInputChans(), b.numInputChans(), why)) return false;
    if (differ("mixes", 0, 0, a.numMixChans(), b.numMixChans(), why)) return false;
    if (differ("outputs", 0, 0, a.numOutputChans(), b.numOutputChans(), why)) return false;
    if (!a.valid()) return true;
    const int n = a.numInputChans(), m = a.numMixChans(), o = a.numOutputChans();
    for (int i = 0; i < n; ++i) {
        if (differF("inputLevel", i, a.getInputLevel(i), b.getInputLevel(i), why)) return false;
        if (differF("inputPan", i, a.getInputPan(i), b.getInputPan(i), why)) return false;
        if (differ("inputMute", i, 0, a.getInputMuteState(i), b.getInputMuteState(i), why)) return false;
        if (differ("inputSolo", i, 0, a.getInputSoloState(i), b.getInputSoloState(i), why)) return false;
        for (int mix = -1; mix < m - 1; ++mix)
            if (differ("inputRoute", i, mix, a.getInputRoutedToMix(i, mix), b.getInputRoutedToMix(i, mix), why))
                return false;
    }
    for (int mix = -1; mix < m - 1; ++mix) {
        if (differF("mixLevel", mix, a.getMixLevel(mix), b.getMixLevel(mix), why)) return false;
        if (opt.mixMutesAndSolos) {
            if (differ("mixMute", mix, 0, a.getMixMuteState(mix), b.getMixMuteState(mix), why)) return false;
            if (differ("mixSolo", mix, 0, a.getMixSoloState(mix), b.getMixSoloState(mix), why)) return false;
        }
        for (int out = (mix == -1 ? 0 : -2); out < o - 2; ++out)
            for (bool left : {true, false})
                if (differ(left ? "mixRouteL" : "mixRouteR", mix, out, a.getMixRoutedToOutput(mix, out, left),
                           b.getMixRoutedToOutput(mix, out, left), why))
                    return false;
    }
    return true;
}

namespace {
float randomLevel(std::mt19937& rng, bool textExact) {
    switch (rng() % 6) {
    case 0: return 0.0f;
    case 1: return 1.5f;
    case 2: return float(rng() % 1537) / 1024.0f;
    default:
        if (textExact) return std::uniform_real_distribution<float>(0.125f, 1.5f)(rng);
        return std::uniform_real_distribution<float>(0.0f, 1.5f)(rng);
    }
}
float randomPan(std::mt19937& rng, bool textExact) {
    if (!textExact) return floatFromBits(std::uint32_t(rng()));  // any bits: NaN, infinities, subnormals
    if (rng() % 2) return float(int(rng() % 8193) - 4096) / 1024.0f;
    const float magnitude = std::uniform_real_distribution<float>(0.125f, 8.0f)(rng);
    return rng() % 2 ? magnitude : -magnitude;
}
}  // namespace

Qm::Ptr<Aud::SimpleMixState> randomState(std::mt19937& rng, bool textExact, int maxInputs, int maxMixes) {
    const int n = int(rng() % unsigned(maxInputs + 1));
    const int m = 1 + int(rng() % unsigned(maxMixes));
    const int o = int(rng() % 19);
    Qm::Ptr<Aud::SimpleMixState> s(new Aud::SimpleMixState(n, m, o));
    for (int i = 0; i < n; ++i) {
        s->setInputLevel(i, randomLevel(rng, textExact));
        s->setInputPan(i, randomPan(rng, textExact));
        s->setInputMuteState(i, rng() % 2);
        s->setInputSoloState(i, rng() % 2);
        for (int mix = -1; mix < m - 1; ++mix) s->setInputRoutedToMix(i, mix, rng() % 3 == 0);
    }
    for (int mix = -1; mix < m - 1; ++mix) {
        s->setMixLevel(mix, randomLevel(rng, textExact));
        s->setMixMuteState(mix, rng() % 2);
        s->setMixSoloState(mix, rng() % 2);
    }
    if (o > 0) {
        for (int k = 0; k < m * o; ++k) {
            const int mix = int(rng() % unsigned(m)) - 1;
            const int out = int(rng() % unsigned(o)) - 2;
            if (mix == -1 && out < 0) continue;  // the main mix never feeds the special outputs
            s->setMixRoutedToOutput(mix, out, rng() % 2, rng() % 3 != 0);
        }
    }
    return s;
}

}  // namespace audatoms::test
