// LightweightString<C>: the host's reference-counted, immutable-by-sharing string
// for narrow (char, UTF-8) and wide (wchar_t, UTF-32 on Linux) text.
//
// A default-constructed string is null; null and empty both report empty(), only
// null reports isNull(). Copies share one buffer (copying is a reference-count
// increment); += and + build a new buffer, so a shared buffer is never changed.
// Threads: distinct strings may be used from any threads; a single string object is
// not to be written by two threads at once (its buffer may be shared freely).
#pragma once

#include "platform/AudPlatformExport.h"

#include <cstddef>
#include <memory>
#include <string>

template <class C>
class LightweightString {
public:
    using Std = std::basic_string<C>;

    LightweightString() = default;
    LightweightString(const C* s) {
        if (s) rep_ = std::make_shared<const Std>(s);
    }
    LightweightString(const C* s, std::size_t length) {
        if (s) rep_ = std::make_shared<const Std>(s, length);
    }
    LightweightString(const Std& s) : rep_(std::make_shared<const Std>(s)) {}
    LightweightString(Std&& s) : rep_(std::make_shared<const Std>(std::move(s))) {}

    const C* c_str() const { return rep_ ? rep_->c_str() : empty_(); }
    std::size_t size() const { return rep_ ? rep_->size() : 0; }
    std::size_t length() const { return size(); }
    bool empty() const { return size() == 0; }
    bool isNull() const { return !rep_; }
    Std toStd() const { return rep_ ? *rep_ : Std(); }
    // The character at i; C(0) for i >= size() (also for a null string), never a read
    // out of range.
    C operator[](std::size_t i) const { return i < size() ? (*rep_)[i] : C(0); }

    LightweightString& operator+=(const LightweightString& o) {
        if (o.isNull()) return *this;
        Std s = toStd();
        s += o.toStd();
        rep_ = std::make_shared<const Std>(std::move(s));
        return *this;
    }
    LightweightString& operator+=(const C* o) { return *this += LightweightString(o); }
    LightweightString& operator+=(C c) { return *this += LightweightString(&c, 1); }

    friend LightweightString operator+(LightweightString a, const LightweightString& b) { return a += b; }
    friend LightweightString operator+(LightweightString a, const C* b) { return a += b; }
    friend LightweightString operator+(const C* a, const LightweightString& b) {
        LightweightString r(a ? a : empty_());
        return r += b;
    }

    // Null and empty compare equal as texts: comparisons are of c_str() contents.
    friend bool operator==(const LightweightString& a, const LightweightString& b) { return a.view() == b.view(); }
    friend bool operator!=(const LightweightString& a, const LightweightString& b) { return !(a == b); }
    friend bool operator<(const LightweightString& a, const LightweightString& b) { return a.view() < b.view(); }
    friend bool operator==(const LightweightString& a, const C* b) { return a.view() == view_(b); }
    friend bool operator!=(const LightweightString& a, const C* b) { return !(a == b); }
    friend bool operator<(const LightweightString& a, const C* b) { return a.view() < view_(b); }
    friend bool operator==(const C* a, const LightweightString& b) { return b == a; }
    friend bool operator!=(const C* a, const LightweightString& b) { return !(b == a); }
    friend bool operator<(const C* a, const LightweightString& b) { return view_(a) < b.view(); }

    std::basic_string_view<C> view() const { return std::basic_string_view<C>(c_str(), size()); }

private:
    static const C* empty_() {
        static const C e[1] = {C(0)};
        return e;
    }
    static std::basic_string_view<C> view_(const C* s) {
        return s ? std::basic_string_view<C>(s) : std::basic_string_view<C>();
    }
    std::shared_ptr<const Std> rep_;
};

using String = LightweightString<char>;
using WString = LightweightString<wchar_t>;

// UTF-8 <-> UTF-32. Nothing throws; a null input gives a null output.
// toUTF8: a wide character that is a surrogate (U+D800..U+DFFF) or above U+10FFFF
// (including negative wchar_t values) is written as U+FFFD (EF BF BD).
// fromUTF8: each maximal ill-formed subpart becomes one U+FFFD (the Unicode
// recommended practice): a byte that cannot start a sequence (80..BF, C0, C1,
// F5..FF) is one U+FFFD; a valid start byte followed by fewer continuation bytes than
// it needs (truncated, or broken by a byte that does not fit) is one U+FFFD for the
// bytes that did fit, and decoding resumes at the byte that did not. The second byte
// is range-checked (E0: A0..BF, ED: 80..9F, F0: 90..BF, F4: 80..8F), so overlong
// forms, surrogates and values above U+10FFFF give one U+FFFD per byte.
AUDPLATFORM_EXPORT LightweightString<char> toUTF8(const LightweightString<wchar_t>& wide);
AUDPLATFORM_EXPORT LightweightString<wchar_t> fromUTF8(const LightweightString<char>& utf8);

namespace Qm {
// Widens 7-bit ASCII byte by byte (bytes above 0x7F become U+FFFD). Null gives null.
AUDPLATFORM_EXPORT LightweightString<wchar_t> WStringFromAscii(const char* ascii);
inline LightweightString<wchar_t> WStringFromAscii(const LightweightString<char>& a) {
    return a.isNull() ? LightweightString<wchar_t>() : WStringFromAscii(a.c_str());
}
// Decimal text of a signed integer, e.g. -12 gives L"-12".
AUDPLATFORM_EXPORT LightweightString<wchar_t> WStringFromInteger(long long value);
}  // namespace Qm
