#include "AudAtoms/buffers/audiometadata.h"

#include "AudAtoms/internal/AssertionSource.h"

namespace Aud {

namespace {

constexpr detail::AssertionSource kSource{"ole/AudAtoms/audiometadata"};

struct DataTypeInfo {
    const char* name;
    bool compressed;
};

// Data type 0 is handled by the callers (it asserts); everything unlisted is "" / false.
DataTypeInfo dataTypeInfo(int t) {
    switch (t) {
    case 2: return {"FLoating Point", false};  // spelled so on purpose
    case 3: return {"Matrox", false};
    case 131:
    case 132: return {"MPEG1", true};
    case 140:
    case 141:
    case 142:
    case 143: return {"AAC", true};
    case 150: return {"Dolby Digital", true};
    case 151: return {"Dolby Digital Plus", true};
    case 160: return {"AMR", true};
    case 165: return {"WMA", true};
    case 170: return {"SDDS", true};
    case 172: return {"DTS", true};
    case 200:
    case 201: return {"PCM", false};
    case 202: return {"PCM (DVD)", false};
    case 203: return {"LPCM", false};
    case 210:
    case 211:
    case 212:
    case 213: return {"AES", false};
    case 214: return {"BWF", false};
    case 230: return {"PCM (twos)", false};
    case 231: return {"PCM (QT)", false};
    case 232:
    case 233: return {"", true};
    case 240: return {"AIFF", false};
    case 241: return {"PCM (Alaw)", false};
    default: return {"", false};
    }
}

}  // namespace

unsigned sampleTypeStride(int n) {
    static const unsigned strides[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};
    return n >= 0 && n <= 9 ? strides[n] : 0u;
}

unsigned sampleTypeBits(int n) {
    static const unsigned bits[10] = {32, 16, 24, 8, 8, 24, 32, 64, 16, 24};
    return n >= 0 && n <= 9 ? bits[n] : 0u;
}

Metadata::Metadata()
    : eDataType_(keAudioDataTypeUnknown), endianType(keLittleEndian), signType(0), audioStreams(0),
      channelsPerStream(0), samplesPerSec(0), sampleTypeNumber_(0), stride(0), bitsPerSample(0),
      location(keLocationUnspecified) {}

Metadata::Metadata(unsigned streams, unsigned channels, unsigned rate, int number, eLocation loc)
    : eDataType_(keAudioDataTypePCM), endianType(keLittleEndian), signType(1), audioStreams(streams),
      channelsPerStream(channels), samplesPerSec(rate), sampleTypeNumber_(number), stride(0), bitsPerSample(0),
      location(loc) {
    if (number < 0 || number > 9) {
        kSource.report("false", 32);
        return;
    }
    stride = sampleTypeStride(number);
    bitsPerSample = sampleTypeBits(number);
    if (number == 4) signType = 2;
}

Metadata::Metadata(unsigned streams, unsigned channels, unsigned rate, int number, int loc)
    : Metadata(streams, channels, rate, number, eLocation(loc)) {}

bool Metadata::isCompressedFormat() const {
    if (eDataType_ == keAudioDataTypeUnknown) {
        kSource.report("false", 117);
        return false;
    }
    return dataTypeInfo(eDataType_).compressed;
}

LightweightString<char> Metadata::CompressionFormatAsString() const {
    if (eDataType_ == keAudioDataTypeUnknown) {
        kSource.report("false", 180);
        return LightweightString<char>("");
    }
    return LightweightString<char>(dataTypeInfo(eDataType_).name);
}

void Metadata::getFromWAVFORMATEX(const WavHeaderEx& h, unsigned streams) {
    // The width held before this call decides signedness (kept deliberately).
    if (bitsPerSample == 8) signType = 2;

    audioStreams = streams;
    channelsPerStream = h.nChannels;
    stride = h.nChannels != 0 ? unsigned(std::uint16_t(h.nBlockAlign / h.nChannels)) : unsigned(h.nBlockAlign);
    samplesPerSec = h.nSamplesPerSec;
    bitsPerSample = h.wBitsPerSample;

    switch (h.wFormatTag) {
    case 0x0001:
    case 0xFFFE: eDataType_ = keAudioDataTypePCM; break;
    case 0x0003: eDataType_ = keAudioDataTypeFloat; break;
    case 0x0050:
    case 0x0055:
        stride = h.wBitsPerSample / 8u;
        eDataType_ = keAudioDataTypePCM;
        break;
    default:
        kSource.report("false", 234);
        eDataType_ = keAudioDataTypePCM;
        break;
    }
    calculateSampleTypeNumber();
}

int Metadata::calculateSampleTypeNumber() {
    if (signType == 0) signType = 1;
    sampleTypeNumber_ = -1;

    enum Layout { kPacked, kPadded, kAes };
    const bool isAes = eDataType_ == keAudioDataTypeAES_210 || eDataType_ == keAudioDataTypeAES_212;
    const Layout layout = isAes ? kAes : stride == bitsPerSample / 8u ? kPacked : kPadded;
    const bool isFloat = eDataType_ == keAudioDataTypeFloat;

    struct Rule {
        unsigned bits, stride;
        Layout layout;
        bool isFloat;
    };
    // In number order; the first rule that holds gives the number. Every rule wants
    // signed samples (signType 1) except number 4, which wants unsigned (2).
    static const Rule rules[10] = {
        {32, 4, kPacked, true},   // 0
        {16, 2, kPacked, false},  // 1
        {24, 3, kPacked, false},  // 2
        {8, 1, kPacked, false},   // 3
        {8, 1, kPacked, false},   // 4
        {24, 4, kPadded, false},  // 5
        {32, 4, kPacked, false},  // 6
        {64, 8, kPacked, true},   // 7
        {16, 4, kAes, false},     // 8
        {24, 4, kAes, false},     // 9
    };
    for (int n = 0; n < 10; ++n) {
        const Rule& r = rules[n];
        const unsigned wantedSign = n == 4 ? 2u : 1u;
        if (bitsPerSample == r.bits && stride == r.stride && layout == r.layout && isFloat == r.isFloat &&
            signType == wantedSign) {
            sampleTypeNumber_ = n;
            break;
        }
    }
    if (sampleTypeNumber_ == -1) kSource.report("sampleTypeNumber_ != -1", 307);
    return sampleTypeNumber_;
}

void Metadata::setWAVFORMATEX(WavHeaderEx& h) const {
    if (eDataType_ == keAudioDataTypeFloat) {
        h.wFormatTag = 3;
    } else {
        if (eDataType_ != keAudioDataTypePCM) kSource.report("eDataType_ == keAudioDataTypePCM", 316);
        h.wFormatTag = 1;
    }
    const std::uint16_t channels = std::uint16_t(channelsPerStream * audioStreams);
    h.nChannels = channels;
    h.nSamplesPerSec = samplesPerSec;
    h.nBlockAlign = std::uint16_t(channels * stride);
    h.nAvgBytesPerSec = samplesPerSec * stride * channels;
    h.wBitsPerSample = std::uint16_t(bitsPerSample);
    h.cbSize = 14;
}

}  // namespace Aud
