#include "platform/StreamLayers.h"

#include "platform/DynamicIntegralStorage.h"
#include "platform/Report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>

namespace {
using VersionStorage = DynamicIntegralStorage<unsigned char, unsigned short>;
using LengthStorage = DynamicIntegralStorage<unsigned short, unsigned int>;

constexpr std::uint32_t kPlaceholderLength = 0xFFFFFFFFu;

bool isOutermostLayerName(const LightweightString<char>& name) { return name == "$" || name == "Streamable"; }

void appendEndOfFile(PStream& s, const StreamLayerNames& names) {
    s.appendError(
        ("Unexpected end-of-file while unpacking " + names.objectName + ", layer " + names.layerName + ".").c_str());
}

std::uint32_t clampedEnd(std::uint32_t start, std::uint32_t length) {
    return std::uint32_t(std::min<std::uint64_t>(std::uint64_t(start) + length, 0xFFFFFFFFu));
}
}  // namespace

void STRM_writeLayerHeader(PStream& s, const char* shortName, StreamLayerVersion version, std::uint32_t ownLength,
                           std::uint32_t totalLength) {
    StreamFile& f = s.file();
    s.writeBinary(shortName, 0, false, false);
    if (s.formatNumber() == 1) {
        VersionStorage::write(f, static_cast<unsigned short>(version.major));
        VersionStorage::write(f, static_cast<unsigned short>(version.minor));
        LengthStorage::write(f, ownLength);
        LengthStorage::write(f, totalLength);
        return;
    }
    f.setCookedChar(static_cast<std::uint8_t>(version.major));
    f.setCookedChar(static_cast<std::uint8_t>(version.minor));
    f.setUnsignedLong(ownLength);
    f.setUnsignedLong(totalLength);
}

bool STRM_readLayerHeader(PStream& s, StreamLayerHeader& h) {
    StreamFile& f = s.file();
    h.shortName = f.getString();
    if (s.formatNumber() == 1) {
        const unsigned major = VersionStorage::read(f);
        if (major > 255) {
            s.appendError(" Strm1.0 Object has oversized major rev (" + h.shortName + "). ");
            return false;
        }
        const unsigned minor = VersionStorage::read(f);
        if (minor > 255) {
            s.appendError(" Strm1.0 Object has oversized minor rev (" + h.shortName + "). ");
            return false;
        }
        h.version = {major, minor};
    } else {
        h.version.major = f.getCookedChar();
        h.version.minor = f.getCookedChar();
    }
    if (isOutermostLayerName(h.shortName)) s.setFormatNumber(int(h.version.major));
    switch (s.formatNumber()) {
    case 1:
        h.ownLength = LengthStorage::read(f);
        h.totalLength = LengthStorage::read(f);
        return true;
    case 2:
        h.ownLength = f.getUnsignedLong();
        h.totalLength = f.getUnsignedLong();
        return true;
    default: s.appendError("Unrecognized version for Streamable base"); return false;
    }
}

int STRM_packLayer(PStream& s, const char* shortName, StreamLayerVersion& version, const StreamLayerPacker& packOwn,
                   const StreamInnerPacker& packInner) {
    StreamFile& f = s.file();
    int inner = kStreamLayerOk;
    if (s.formatNumber() == 1) {
        StreamFile bodyFile;
        PStream body(bodyFile);
        body.setFormatNumber(1);
        packOwn(body);
        const std::uint32_t own = bodyFile.tell();
        inner = packInner(body);
        s.appendError(body.errorText());
        if (body.failed()) s.setFailed();
        STRM_writeLayerHeader(s, shortName, version, own, bodyFile.size());
        f.writeBytes(bodyFile.bytes().data(), bodyFile.size());
    } else {
        const std::uint32_t p0 = f.tell();
        STRM_writeLayerHeader(s, shortName, version, kPlaceholderLength, kPlaceholderLength);
        const std::uint32_t p1 = f.tell();
        packOwn(s);
        const std::uint32_t p2 = f.tell();
        inner = packInner(s);
        const std::uint32_t p3 = f.tell();
        f.seek(p0);
        STRM_writeLayerHeader(s, shortName, version, p2 - p1, p3 - p1);
        f.seek(p3);
    }
    if (s.failed() || !STRM_succeeded(inner)) return kStreamLayerFailed;
    return kStreamLayerOk;
}

int STRM_unpackLayer(PStream& s, const StreamLayerNames& names, StreamLayerVersion& version,
                     const StreamLayerUnpacker& unpackOwn, const StreamInnerUnpacker& unpackInner) {
    StreamFile& f = s.file();
    StreamLayerHeader h;
    if (!STRM_readLayerHeader(s, h)) return kStreamLayerFailed;

    if (f.failed() || f.atEnd()) {
        if (!f.failed() && h.ownLength == 0 && h.totalLength == 0) return kStreamLayerEmpty;
        appendEndOfFile(s, names);
        return kStreamLayerFailed;
    }

    const std::uint32_t ownStart = f.tell();
    const std::uint32_t ownEnd = clampedEnd(ownStart, h.ownLength);
    const std::uint32_t layerEnd = std::max(ownEnd, clampedEnd(ownStart, h.totalLength));

    if (h.ownLength != 0 && !s.failed() && h.shortName != names.shortName.c_str() &&
        h.shortName != names.layerName.c_str()) {
        s.appendError(("Expected short name '" + names.shortName + "' for layer " + names.layerName + ", got " +
                       h.shortName.toStd() + ".")
                          .c_str());
        f.seek(layerEnd);
        return kStreamLayerShortNameMismatch;
    }

    version = h.version;
    unpackOwn(s);
    if (s.failed()) {
        if (f.failed()) appendEndOfFile(s, names);
        f.seek(layerEnd);
        return kStreamLayerFailed;
    }

    const std::uint32_t pos = f.tell();
    if (pos < ownEnd) {
        Log("Warning: Not all object data was read while unpacking object %s, layer %s v%d.%d, %d/%d bytes unread.\n",
            names.objectName.c_str(), names.layerName.c_str(), int(h.version.major), int(h.version.minor),
            int(ownEnd - pos), int(h.ownLength));
        f.seek(ownEnd);
    } else if (pos > ownEnd) {
        char text[1024];
        std::snprintf(
            text, sizeof text,
            "Error: Unpacker read beyond end of chunk while unpacking object %s, layer %s v%d.%d, %d bytes overread.\n",
            names.objectName.c_str(), names.layerName.c_str(), int(h.version.major), int(h.version.minor),
            int(pos - ownEnd));
        s.appendError(text);
        f.seek(layerEnd);
        return kStreamLayerFailed;
    }

    const int inner = unpackInner(s);
    if (!STRM_succeeded(inner)) return inner;
    if (f.tell() < layerEnd) f.seek(layerEnd);
    return kStreamLayerOk;
}

std::string STRM_printableTypeName(const std::type_info& type) {
    int status = 0;
    char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    std::string name = (status == 0 && demangled) ? demangled : type.name();
    std::free(demangled);
    return name;
}
