#include "tools/FileFormat.h"

#include <sndfile.h>

namespace audtool {

int sampleTypeForEncoding(int sfEncoding) {
    switch (sfEncoding) {
    case SF_FORMAT_PCM_S8: return 3;
    case SF_FORMAT_PCM_U8: return 4;
    case SF_FORMAT_PCM_16: return 1;
    case SF_FORMAT_PCM_24: return 2;
    case SF_FORMAT_PCM_32: return 6;
    case SF_FORMAT_FLOAT: return 0;
    case SF_FORMAT_DOUBLE: return 7;
    default: return -1;
    }
}

int encodingForSampleType(int sampleType) {
    switch (sampleType) {
    case 3: return SF_FORMAT_PCM_S8;
    case 4: return SF_FORMAT_PCM_U8;
    case 1: return SF_FORMAT_PCM_16;
    case 2: return SF_FORMAT_PCM_24;
    case 5: return SF_FORMAT_PCM_32;  // 24-bit samples in 4-byte words: raw containers only
    case 6: return SF_FORMAT_PCM_32;
    case 0: return SF_FORMAT_FLOAT;
    case 7: return SF_FORMAT_DOUBLE;
    default: return 0;
    }
}

Aud::Metadata FileFormat::metadata() const {
    const bool isFloat = sampleType == 0 || sampleType == 7;
    // getFromWAVFORMATEX decides 8-bit signedness from the width the format held
    // before the call: seed it with an 8-bit type for unsigned samples.
    Aud::Metadata md(1, channels, rate, sampleType == 4 ? 4 : 1, Aud::keLocationFile);
    const unsigned bytes = stride();
    Aud::WavHeaderEx h{};
    h.wFormatTag = isFloat ? 3 : 1;
    h.nChannels = static_cast<std::uint16_t>(channels);
    h.nSamplesPerSec = rate;
    h.nBlockAlign = static_cast<std::uint16_t>(bytes * channels);
    h.nAvgBytesPerSec = rate * bytes * channels;
    h.wBitsPerSample = static_cast<std::uint16_t>(Aud::sampleTypeBits(sampleType));
    h.cbSize = 0;
    md.getFromWAVFORMATEX(h, 1);
    md.setEndianType(bigEndian ? Aud::keBigEndian : Aud::keLittleEndian);
    return md;
}

namespace {
std::string formatName(int command, int format) {
    SF_FORMAT_INFO info{};
    info.format = format;
    if (sf_command(nullptr, command, &info, sizeof info) != 0 || !info.name) return "unknown";
    return info.name;
}
}  // namespace

std::string FileFormat::containerName() const { return formatName(SFC_GET_FORMAT_INFO, sfFormat & SF_FORMAT_TYPEMASK); }

std::string FileFormat::encodingName() const { return formatName(SFC_GET_FORMAT_INFO, sfFormat & SF_FORMAT_SUBMASK); }

}  // namespace audtool
