// Aud::Metadata: the description of one audio format (streams, channels, rate, data
// type, sample width, container width, byte order, signedness) and the sample type
// number 0..9 derived from it, which every buffer routine switches on. It converts to
// and from a WAVEFORMATEX-shaped header (Aud::WavHeaderEx) and names data types for
// display.
//
// Units: samplesPerSec in hertz; stride (container width of one sample) in bytes;
// bitsPerSample in bits; bytesPerGroup() in bytes per sample frame of one stream.
//
// Sample type numbers (stride = bytes one sample occupies):
//   0 float32 (stride 4)          5 signed 24-bit in the low 3 bytes of 4 (stride 4)
//   1 int16 (2)                   6 int32 (4)
//   2 packed signed 24-bit (3)    7 float64 (8)
//   3 int8 (1)                    8 16-bit in an AES subframe word, bits 12..27 (4)
//   4 uint8, offset 128 (1)       9 24-bit in an AES subframe word, bits 4..27 (4)
//
// Failures are never returned: inconsistencies print
// "assertion failed <condition> at ole/AudAtoms/audiometadata line <N>" on standard
// output and the call carries on with the documented fallback.
// Threads: a plain value type, no shared state; any thread. Only
// CompressionFormatAsString() allocates (its string).
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "platform/LightweightString.h"

#include <cstdint>

namespace Aud {

// Data types. Several values share one display name; those carry their number.
enum eDataType : int {
    keAudioDataTypeUnknown = 0,
    keAudioDataTypeFloat = 2,
    keAudioDataTypeCardNative = 3,
    keAudioDataTypeMPEG1 = 131,
    keAudioDataTypeMPEG1_132 = 132,
    keAudioDataTypeAAC = 140,
    keAudioDataTypeAAC_141 = 141,
    keAudioDataTypeAAC_142 = 142,
    keAudioDataTypeAAC_143 = 143,
    keAudioDataTypeAC3 = 150,
    keAudioDataTypeEAC3 = 151,
    keAudioDataTypeAMR = 160,
    keAudioDataTypeWMA = 165,
    keAudioDataTypeSDDS = 170,
    keAudioDataTypeDTS = 172,
    keAudioDataTypeUnnamed_199 = 199,
    keAudioDataTypePCM_200 = 200,
    keAudioDataTypePCM = 201,
    keAudioDataTypePCM_DVD = 202,
    keAudioDataTypeLPCM = 203,
    keAudioDataTypeAES_210 = 210,  // AES container for the sample type number
    keAudioDataTypeAES_211 = 211,  // named "AES" but not an AES container
    keAudioDataTypeAES_212 = 212,  // AES container for the sample type number
    keAudioDataTypeAES_213 = 213,  // named "AES" but not an AES container
    keAudioDataTypeBWF = 214,
    keAudioDataTypePCM_Twos = 230,
    keAudioDataTypePCM_QT = 231,
    keAudioDataTypeCompressed_232 = 232,
    keAudioDataTypeCompressed_233 = 233,
    keAudioDataTypeAIFF = 240,
    keAudioDataTypePCM_ALaw = 241,
    keAudioDataTypeUnnamed_259 = 259,
};

// 0 = little-endian samples; any other value = big-endian.
enum eEndianType : int {
    keLittleEndian = 0,
    keBigEndian = 1,
};

// Where the audio lives. Stored and copied only; never interpreted here.
enum eLocation : int {
    keLocationUnspecified = 0,
    keLocationMemory = 1,
    keLocationFile = 2,
    keLocationDevice = 3,
};

// The WAVEFORMATEX layout, 18 bytes, no padding. Values are in host byte order, which
// on the little-endian hosts this library runs on is the byte order of the file.
#pragma pack(push, 1)
struct AUDATOMS_EXPORT WavHeaderEx {
    std::uint16_t wFormatTag;  // 1 PCM, 3 IEEE float, 0xFFFE extensible, 0x50/0x55 MPEG
    std::uint16_t nChannels;
    std::uint32_t nSamplesPerSec;  // Hz
    std::uint32_t nAvgBytesPerSec;
    std::uint16_t nBlockAlign;  // bytes per frame of all channels
    std::uint16_t wBitsPerSample;
    std::uint16_t cbSize;
};
#pragma pack(pop)
static_assert(sizeof(WavHeaderEx) == 18, "WavHeaderEx must be the 18-byte WAVEFORMATEX");

// Container width in bytes of a sample type number 0..9 (4,2,3,1,1,4,4,8,4,4);
// 0 for any other number. Significant bits: 32,16,24,8,8,24,32,64,16,24; 0 otherwise.
AUDATOMS_EXPORT unsigned sampleTypeStride(int sampleTypeNumber);
AUDATOMS_EXPORT unsigned sampleTypeBits(int sampleTypeNumber);

class AUDATOMS_EXPORT Metadata {
public:
    // Every field zero (data type 0, sample type number 0, stride 0): the state of a
    // format that has not been set yet.
    Metadata();
    // Data type PCM (201), little-endian, signed; stride and bitsPerSample from the
    // sample type number (number 4 also makes the samples unsigned). A number outside
    // 0..9 prints the assertion "false" (line 32) and leaves stride and bits 0.
    Metadata(unsigned audioStreams, unsigned channelsPerStream, unsigned samplesPerSec, int sampleTypeNumber,
             eLocation location);
    // The same with the location given as its number.
    Metadata(unsigned audioStreams, unsigned channelsPerStream, unsigned samplesPerSec, int sampleTypeNumber,
             int location);

    eDataType getDataType() const { return eDataType_; }
    eEndianType getEndianType() const { return endianType; }
    unsigned getSignType() const { return signType; }  // 1 signed, 2 unsigned, 0 unknown
    unsigned getAudioStreams() const { return audioStreams; }
    unsigned getChannelsPerStream() const { return channelsPerStream; }
    unsigned getSamplesPerSec() const { return samplesPerSec; }
    int getSampleTypeNumber() const { return sampleTypeNumber_; }  // -1 = none
    unsigned getStride() const { return stride; }
    unsigned getBitsPerSample() const { return bitsPerSample; }
    eLocation getLocation() const { return location; }
    bool isBigEndian() const { return endianType != keLittleEndian; }

    // Each setter stores its one field; none recalculates the sample type number.
    void setEndianType(eEndianType e) { endianType = e; }
    void setEndianType(int e) { endianType = eEndianType(e); }
    void setAudioStreams(unsigned n) { audioStreams = n; }
    void setChannelsPerStream(unsigned n) { channelsPerStream = n; }
    void setDataType(eDataType t) { eDataType_ = t; }
    void setDataType(int t) { eDataType_ = eDataType(t); }
    void setSamplesPerSec(unsigned hz) { samplesPerSec = hz; }
    void setBitsPerSample(unsigned bits) { bitsPerSample = bits; }
    void setStride(unsigned bytes) { stride = bytes; }

    // stride * channelsPerStream: bytes of one sample frame of one stream.
    unsigned bytesPerGroup() const { return stride * channelsPerStream; }

    // Display name and compressed flag of the data type (data type 0 prints an
    // assertion and gives "" / false).
    bool isCompressedFormat() const;
    LightweightString<char> CompressionFormatAsString() const;

    // Derives the sample type number from data type, bits, stride and signedness
    // (signType 0 becomes 1 first). No match: assertion "sampleTypeNumber_ != -1"
    // (line 307) and the number stays -1. Returns the number.
    int calculateSampleTypeNumber();

    // Reads channels, rate, bits, stride (nBlockAlign / nChannels) and data type from
    // the header, then recalculates the sample type number. If this format held 8 bits
    // per sample before the call, the samples become unsigned (the old width decides).
    void getFromWAVFORMATEX(const WavHeaderEx& header, unsigned audioStreams);
    // Writes all seven header fields; cbSize is always 14.
    void setWAVFORMATEX(WavHeaderEx& header) const;

private:
    eDataType eDataType_;
    eEndianType endianType;
    unsigned signType;
    unsigned audioStreams;
    unsigned channelsPerStream;
    unsigned samplesPerSec;
    int sampleTypeNumber_;
    unsigned stride;
    unsigned bitsPerSample;
    eLocation location;
};

}  // namespace Aud
