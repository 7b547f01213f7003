#include "platform/LightweightString.h"

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
} // namespace

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
        int extra = 0;
        char32_t c = 0, min = 0;
        if (b < 0x80) { out += wchar_t(b); ++i; continue; }
        if (b >= 0xC2 && b <= 0xDF) { extra = 1; c = b & 0x1F; min = 0x80; }
        else if (b >= 0xE0 && b <= 0xEF) { extra = 2; c = b & 0x0F; min = 0x800; }
        else if (b >= 0xF0 && b <= 0xF4) { extra = 3; c = b & 0x07; min = 0x10000; }
        else { out += wchar_t(kReplacement); ++i; continue; }
        std::size_t j = 1;
        for (; j <= std::size_t(extra); ++j) {
            if (i + j >= n || (s[i + j] & 0xC0) != 0x80) break;
            c = (c << 6) | (s[i + j] & 0x3F);
        }
        if (j <= std::size_t(extra)) { out += wchar_t(kReplacement); i += j; continue; }
        if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
        out += wchar_t(c);
        i += j;
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
} // namespace Qm
