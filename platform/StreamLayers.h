// Layer framing of object streams.
//
// An object is written as nested layers, outermost class first. Each layer is a header
// and then its own data, followed by the next layer inward:
//   short name   NUL-terminated string (PStream::writeBinary with size 0)
//   major, minor format 2: one byte each; format 1: DynamicIntegralStorage<uchar, ushort>
//   own length   bytes of own data; format 2: uint32; format 1: DynamicIntegralStorage<ushort, uint>
//   total length bytes from the start of own data to the end of all inner layers (same width)
//   own data, inner layers
// The stream format number is the major version of the outermost layer ("$"); the
// reader switches to it as soon as it has read that layer's versions.
//
// STRM_packLayer writes a header with placeholder lengths (0xFFFFFFFF), the own data and
// the inner layers, then seeks back and writes the header again with the final version
// and lengths. In format 1, whose lengths have no fixed width, the layer body is built
// first and the header written in front of it.
// STRM_unpackLayer reads a header, checks it, runs the layer's own reader and then the
// inner layers, and reports every fault as text appended to the stream's error text
// (the not-all-read warning goes to the host log instead). Nothing throws.
//
// Threads: a stream and the object being packed or unpacked belong to one thread.
// Allocates: strings for names and messages; not for real-time use.
// Part of the object streams: platform/Streams.h includes this header after StreamFile and
// PStream, and including this header alone includes all of platform/Streams.h.
#include "platform/Streams.h"

#ifndef AUDATOMS_PLATFORM_STREAMLAYERS_H
#define AUDATOMS_PLATFORM_STREAMLAYERS_H

#include <cstdint>
#include <functional>
#include <string>
#include <typeinfo>

// Results of packing and unpacking a layer or a whole object.
enum StreamLayerStatus : int {
    kStreamLayerOk = 0,                  // read or written
    kStreamLayerEmpty = 1,               // an empty layer at the end of the stream: nothing read, success
    kStreamLayerFailed = -1,             // the stream failed or the data is unusable
    kStreamLayerShortNameMismatch = -2,  // another layer's data where this one was expected; skipped
};
inline bool STRM_succeeded(int status) { return status == kStreamLayerOk || status == kStreamLayerEmpty; }

struct AUDPLATFORM_EXPORT StreamLayerVersion {
    unsigned major = 0;
    unsigned minor = 0;
};

// What a layer is called: its short name ("AS") and its printable type name
// ("Aud::SimpleMixState"); objectName is the printable name of the object's own class,
// used in messages.
struct AUDPLATFORM_EXPORT StreamLayerNames {
    std::string shortName;
    std::string layerName;
    std::string objectName;
};

// A layer header as read from a stream.
struct AUDPLATFORM_EXPORT StreamLayerHeader {
    LightweightString<char> shortName;
    StreamLayerVersion version;
    std::uint32_t ownLength = 0;
    std::uint32_t totalLength = 0;
};

// Writes one header in the stream's current format.
AUDPLATFORM_EXPORT void STRM_writeLayerHeader(PStream& s, const char* shortName, StreamLayerVersion version,
                                              std::uint32_t ownLength, std::uint32_t totalLength);

// Reads one header: the short name, the versions (an outermost "$"/"Streamable" layer
// sets the stream's format number from its major version), the two lengths. False,
// with the message appended to the stream's error text, for an oversized format-1
// version or an unrecognised format number.
AUDPLATFORM_EXPORT bool STRM_readLayerHeader(PStream& s, StreamLayerHeader& header);

using StreamLayerPacker = std::function<void(PStream&)>;
using StreamInnerPacker = std::function<int(PStream&)>;
using StreamLayerUnpacker = std::function<void(PStream&)>;
using StreamInnerUnpacker = std::function<int(PStream&)>;

// Packs one layer: header, packOwn (which may change version), packInner.
AUDPLATFORM_EXPORT int STRM_packLayer(PStream& s, const char* shortName, StreamLayerVersion& version,
                                      const StreamLayerPacker& packOwn, const StreamInnerPacker& packInner);

// Unpacks one layer into version, unpackOwn and unpackInner (see the header comment).
AUDPLATFORM_EXPORT int STRM_unpackLayer(PStream& s, const StreamLayerNames& names, StreamLayerVersion& version,
                                        const StreamLayerUnpacker& unpackOwn, const StreamInnerUnpacker& unpackInner);

// The demangled name of a type, e.g. "Aud::SimpleMixState".
AUDPLATFORM_EXPORT std::string STRM_printableTypeName(const std::type_info& type);

#endif  // AUDATOMS_PLATFORM_STREAMLAYERS_H
