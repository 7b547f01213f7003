#include "platform/LightweightString.h"

#include <cstdint>

namespace {
constexpr char32_t kReplacement = 0xFFFD;

void appendUtf8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xF0 | (c >> 18));
        out += char(0x80 | ((c >> 12) & 0x3F));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}
}  // namespace

LightweightString<char> toUTF8(const LightweightString<wchar_t>& wide) {
    if (wide.isNull()) return {};
    std::string out;
    out.reserve(wide.size());
    for (std::size_t i = 0; i < wide.size(); ++i) appendUtf8(out, char32_t(std::uint32_t(wide[i])));
    return LightweightString<char>(std::move(out));
}

LightweightString<wchar_t> fromUTF8(const LightweightString<char>& utf8) {
    if (utf8.isNull()) return {};
    const auto* s = reinterpret_cast<const unsigned char*>(utf8.c_str());
    const std::size_t n = utf8.size();
    std::wstring out;
    out.reserve(n);
    std::size_t i = 0;
    while (i < n) {
        const unsigned char b = s[i];
        if (b < 0x80) {
            out += wchar_t(b);
            ++i;
            continue;
        }
        int need = 0;
        char32_t c = 0;
        // Allowed range of the second byte; later bytes are always 80..BF.
        unsigned char lo = 0x80, hi = 0xBF;
        if (b >= 0xC2 && b <= 0xDF) {
            need = 1;
            c = b & 0x1F;
        } else if (b >= 0xE0 && b <= 0xEF) {
            need = 2;
            c = b & 0x0F;
            if (b == 0xE0) lo = 0xA0;       // below: overlong
            else if (b == 0xED) hi = 0x9F;  // above: surrogates
        } else if (b >= 0xF0 && b <= 0xF4) {
            need = 3;
            c = b & 0x07;
            if (b == 0xF0) lo = 0x90;       // below: overlong
            else if (b == 0xF4) hi = 0x8F;  // above: beyond U+10FFFF
        } else {
            out += wchar_t(kReplacement);
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        int got = 0;
        for (; got < need && j < n; ++got, ++j) {
            const unsigned char t = s[j];
            if (t < (got == 0 ? lo : 0x80) || t > (got == 0 ? hi : 0xBF)) break;
            c = (c << 6) | (t & 0x3F);
        }
        out += got < need ? wchar_t(kReplacement) : wchar_t(c);
        i = j;
    }
    return LightweightString<wchar_t>(std::move(out));
}

namespace Qm {
LightweightString<wchar_t> WStringFromAscii(const char* ascii) {
    if (!ascii) return {};
    std::wstring out;
    for (const char* p = ascii; *p; ++p) {
        const unsigned char b = static_cast<unsigned char>(*p);
        out += b < 0x80 ? wchar_t(b) : wchar_t(kReplacement);
    }
    return LightweightString<wchar_t>(std::move(out));
}

LightweightString<wchar_t> WStringFromInteger(long long value) {
    return LightweightString<wchar_t>(std::to_wstring(value));
}
}  // namespace Qm
