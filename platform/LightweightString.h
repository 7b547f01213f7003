// LightweightString<C>: the host's reference-counted, immutable-by-sharing string
// for narrow (char, UTF-8) and wide (wchar_t, UTF-32 on Linux) text.
//
// A default-constructed string is null; null and empty both report empty(), only
// null reports isNull(). Copies share one buffer (copying is a reference-count
// increment); += and + build a new buffer, so a shared buffer is never changed.
// Threads: distinct strings may be used from any threads; a single string object is
// not to be written by two threads at once (its buffer may be shared freely).
#pragma once

#include <cstddef>
#include <memory>
#include <string>

template <class C>
class LightweightString {
public:
    using Std = std::basic_string<C>;

    LightweightString() = default;
    LightweightString(const C* s) { if (s) rep_ = std::make_shared<const Std>(s); }
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
    C operator[](std::size_t i) const { return (*rep_)[i]; }

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

    std::basic_string_view<C> view() const { return std::basic_string_view<C>(c_str(), size()); }

private:
    static const C* empty_() { static const C e[1] = {C(0)}; return e; }
    static std::basic_string_view<C> view_(const C* s) {
        return s ? std::basic_string_view<C>(s) : std::basic_string_view<C>();
    }
    std::shared_ptr<const Std> rep_;
};

using String = LightweightString<char>;
using WString = LightweightString<wchar_t>;

// UTF-8 <-> UTF-32. Invalid input (bad bytes, overlong forms, surrogates, values
// above U+10FFFF) becomes U+FFFD; nothing throws. A null input gives a null output.
LightweightString<char> toUTF8(const LightweightString<wchar_t>& wide);
LightweightString<wchar_t> fromUTF8(const LightweightString<char>& utf8);

namespace Qm {
// Widens 7-bit ASCII byte by byte (bytes above 0x7F become U+FFFD). Null gives null.
LightweightString<wchar_t> WStringFromAscii(const char* ascii);
inline LightweightString<wchar_t> WStringFromAscii(const LightweightString<char>& a) {
    return a.isNull() ? LightweightString<wchar_t>() : WStringFromAscii(a.c_str());
}
// Decimal text of a signed integer, e.g. -12 gives L"-12".
LightweightString<wchar_t> WStringFromInteger(long long value);
} // namespace Qm
