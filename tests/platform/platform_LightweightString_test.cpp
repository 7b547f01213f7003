#include "platform/LightweightString.h"
#include "tests/support/Property.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

using NString = LightweightString<char>;
using WideString = LightweightString<wchar_t>;

namespace {
constexpr wchar_t kFFFD = 0xFFFD;

NString bytes(std::initializer_list<unsigned char> b) {
    std::string s;
    for (unsigned char c : b) s += char(c);
    return NString(s);
}

std::wstring wide(std::initializer_list<std::uint32_t> cps) {
    std::wstring s;
    for (auto c : cps) s += wchar_t(c);
    return s;
}
}  // namespace

// ---- null and empty -------------------------------------------------------------

TEST(LightweightString, DefaultIsNullAndEmptyWithAValidCString) {
    const NString n;
    EXPECT_TRUE(n.isNull());
    EXPECT_TRUE(n.empty());
    EXPECT_EQ(n.size(), 0u);
    ASSERT_NE(n.c_str(), nullptr);
    EXPECT_EQ(n.c_str()[0], '\0');
    EXPECT_EQ(n.toStd(), "");

    const WideString w;
    EXPECT_TRUE(w.isNull());
    ASSERT_NE(w.c_str(), nullptr);
    EXPECT_EQ(w.c_str()[0], L'\0');
}

TEST(LightweightString, NullPointerGivesNullButEmptyTextGivesEmpty) {
    EXPECT_TRUE(NString(static_cast<const char*>(nullptr)).isNull());
    EXPECT_TRUE(NString(nullptr, 5).isNull());
    const NString e("");
    EXPECT_FALSE(e.isNull());
    EXPECT_TRUE(e.empty());
    EXPECT_FALSE(NString(std::string()).isNull());
    EXPECT_FALSE(WideString(L"").isNull());
}

TEST(LightweightString, ConstructionFromPointerLengthAndStdString) {
    const NString a("abcdef", 3);
    EXPECT_EQ(a.size(), 3u);
    EXPECT_STREQ(a.c_str(), "abc");
    const NString withNul("a\0b", 3);
    EXPECT_EQ(withNul.size(), 3u);
    EXPECT_EQ(withNul.toStd(), std::string("a\0b", 3));
    const NString s(std::string("hello"));
    EXPECT_EQ(s.size(), 5u);
    EXPECT_EQ(s.length(), 5u);
    EXPECT_EQ(s.toStd(), "hello");
    EXPECT_EQ(WideString(std::wstring(L"x\u00e9")).size(), 2u);
}

TEST(LightweightString, IndexBeyondTheEndGivesZeroWithoutReading) {
    const NString s("ab");
    EXPECT_EQ(s[0], 'a');
    EXPECT_EQ(s[1], 'b');
    EXPECT_EQ(s[2], '\0');
    EXPECT_EQ(s[100], '\0');
    EXPECT_EQ(NString()[0], '\0');
}

// ---- comparisons ----------------------------------------------------------------

TEST(LightweightString, ComparesWithStringsAndCharacterPointers) {
    const NString abc("abc");
    EXPECT_TRUE(abc == NString("abc"));
    EXPECT_TRUE(abc == "abc");
    EXPECT_TRUE("abc" == abc);
    EXPECT_TRUE(abc != "abd");
    EXPECT_TRUE("abd" != abc);
    EXPECT_FALSE(abc != "abc");
    EXPECT_TRUE(abc < "abd");
    EXPECT_TRUE("abb" < abc);
    EXPECT_FALSE(abc < "abc");
    EXPECT_TRUE(abc < NString("abcd"));
    EXPECT_FALSE(NString("b") < NString("a"));
    EXPECT_TRUE(WideString(L"\u00e9") == L"\u00e9");
    EXPECT_TRUE(WideString(L"a") < L"b");
}

TEST(LightweightString, NullComparesAsTheEmptyText) {
    const NString null;
    EXPECT_TRUE(null == NString(""));
    EXPECT_TRUE(null == "");
    EXPECT_TRUE(null == static_cast<const char*>(nullptr));
    EXPECT_TRUE(NString("") == static_cast<const char*>(nullptr));
    EXPECT_TRUE(NString("x") != static_cast<const char*>(nullptr));
    EXPECT_FALSE(null < NString(""));
    EXPECT_TRUE(null < "a");
    EXPECT_TRUE(static_cast<const char*>(nullptr) < NString("a"));
}

// ---- concatenation and sharing ----------------------------------------------------

TEST(LightweightString, PlusAndPlusEqualsConcatenate) {
    EXPECT_EQ(NString("ab") + NString("cd"), "abcd");
    EXPECT_EQ(NString("ab") + "cd", "abcd");
    EXPECT_EQ("ab" + NString("cd"), "abcd");
    EXPECT_EQ(WideString(L"x") + L"\u00e9", L"x\u00e9");
    NString s("a");
    s += "b";
    s += NString("c");
    s += 'd';
    EXPECT_EQ(s, "abcd");
    s += s;
    EXPECT_EQ(s, "abcdabcd");
}

TEST(LightweightString, NullOperandsOfConcatenation) {
    NString n;
    n += NString();
    EXPECT_TRUE(n.isNull()) << "appending null to null leaves null";
    n += "";
    EXPECT_FALSE(n.isNull()) << "appending a real (empty) text makes a text";
    EXPECT_EQ(NString() + "x", "x");
    EXPECT_EQ(static_cast<const char*>(nullptr) + NString("x"), "x");
    EXPECT_EQ(NString("x") + static_cast<const char*>(nullptr), "x");
}

TEST(LightweightString, CopiesShareOneBufferAndAppendingDoesNotDisturbTheOthers) {
    const NString original("shared text");
    NString copy = original;
    EXPECT_EQ(copy.c_str(), original.c_str()) << "a copy is a count increment, not a new buffer";
    const char* before = original.c_str();
    copy += "!";
    EXPECT_EQ(copy, "shared text!");
    EXPECT_EQ(original, "shared text");
    EXPECT_EQ(original.c_str(), before);
    NString assigned;
    assigned = original;
    EXPECT_EQ(assigned.c_str(), original.c_str());
}

// ---- UTF-8 -------------------------------------------------------------------------

TEST(LightweightString, ToUTF8EncodesEachLengthClass) {
    // By the UTF-8 bit patterns: U+00E9 = 110.00011 10.101001 -> C3 A9;
    // U+20AC = 1110.0010 10.000010 10.101100 -> E2 82 AC;
    // U+1F600 = 11110.000 10.011111 10.011000 10.000000 -> F0 9F 98 80;
    // U+10FFFF -> F4 8F BF BF.
    EXPECT_EQ(toUTF8(WideString(L"A")), "A");
    EXPECT_EQ(toUTF8(WideString(wide({0xE9}))), bytes({0xC3, 0xA9}));
    EXPECT_EQ(toUTF8(WideString(wide({0x20AC}))), bytes({0xE2, 0x82, 0xAC}));
    EXPECT_EQ(toUTF8(WideString(wide({0x1F600}))), bytes({0xF0, 0x9F, 0x98, 0x80}));
    EXPECT_EQ(toUTF8(WideString(wide({0x10FFFF}))), bytes({0xF4, 0x8F, 0xBF, 0xBF}));
    EXPECT_EQ(toUTF8(WideString(wide({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000}))),
              bytes({0x7F, 0xC2, 0x80, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xEF, 0xBF, 0xBF, 0xF0, 0x90, 0x80, 0x80}));
}

TEST(LightweightString, FromUTF8DecodesEachLengthClassIncludingBeyondTheBasicPlane) {
    EXPECT_EQ(fromUTF8(bytes({0xC3, 0xA9})).toStd(), wide({0xE9}));
    EXPECT_EQ(fromUTF8(bytes({0xE2, 0x82, 0xAC})).toStd(), wide({0x20AC}));
    const WideString smile = fromUTF8(bytes({'a', 0xF0, 0x9F, 0x98, 0x80, 'b'}));
    ASSERT_EQ(smile.size(), 3u) << "one wide character (32 bits) per code point, no surrogate pair";
    EXPECT_EQ(std::uint32_t(smile[1]), 0x1F600u);
    EXPECT_EQ(fromUTF8(bytes({0xF4, 0x8F, 0xBF, 0xBF})).toStd(), wide({0x10FFFF}));
    EXPECT_EQ(fromUTF8(bytes({0xED, 0x9F, 0xBF})).toStd(), wide({0xD7FF})) << "last before the surrogates";
    EXPECT_EQ(fromUTF8(bytes({0xEE, 0x80, 0x80})).toStd(), wide({0xE000})) << "first after the surrogates";
}

TEST(LightweightString, EveryScalarValueRoundTrips) {
    std::wstring all;
    for (std::uint32_t c = 1; c <= 0x10FFFF; ++c)
        if (c < 0xD800 || c > 0xDFFF) all += wchar_t(c);
    const NString utf8 = toUTF8(WideString(all));
    // 1 byte for U+0001..U+007F, 2 for U+0080..U+07FF, 3 for U+0800..U+FFFF without the
    // 2048 surrogates, 4 for U+10000..U+10FFFF.
    const std::size_t expected =
        0x7F * 1 + (0x800 - 0x80) * 2 + (0x10000 - 0x800 - 0x800) * 3 + (0x110000 - 0x10000) * 4;
    EXPECT_EQ(utf8.size(), expected);
    EXPECT_TRUE(fromUTF8(utf8).toStd() == all);
}

TEST(LightweightString, ToUTF8ReplacesWhatIsNotAScalarValue) {
    const NString fffd = bytes({0xEF, 0xBF, 0xBD});
    EXPECT_EQ(toUTF8(WideString(wide({0xD800}))), fffd);
    EXPECT_EQ(toUTF8(WideString(wide({0xDFFF}))), fffd);
    EXPECT_EQ(toUTF8(WideString(wide({0x110000}))), fffd);
    EXPECT_EQ(toUTF8(WideString(std::wstring(1, wchar_t(-1)))), fffd);
    EXPECT_EQ(toUTF8(WideString(wide({'a', 0xD83D, 0xDE00, 'b'}))),
              bytes({'a', 0xEF, 0xBF, 0xBD, 0xEF, 0xBF, 0xBD, 'b'}))
        << "a UTF-16 surrogate pair is two invalid characters here";
}

TEST(LightweightString, InvalidUTF8BecomesOneReplacementPerMaximalSubpart) {
    struct Case {
        const char* what;
        NString in;
        std::wstring out;
    };
    const Case cases[] = {
        {"truncated 2-byte at the end", bytes({'a', 0xC3}), wide({'a', kFFFD})},
        {"truncated 3-byte at the end", bytes({0xE2, 0x82}), wide({kFFFD})},
        {"truncated 3-byte then ASCII", bytes({0xE2, 0x82, 'A'}), wide({kFFFD, 'A'})},
        {"truncated 4-byte", bytes({0xF0, 0x9F, 0x98}), wide({kFFFD})},
        {"truncated 4-byte then a valid one", bytes({0xF0, 0x9F, 0xC3, 0xA9}), wide({kFFFD, 0xE9})},
        {"lone continuation bytes", bytes({0x80, 0xBF}), wide({kFFFD, kFFFD})},
        {"C0 overlong", bytes({0xC0, 0xAF}), wide({kFFFD, kFFFD})},
        {"C1 overlong", bytes({0xC1, 0xBF}), wide({kFFFD, kFFFD})},
        {"3-byte overlong", bytes({0xE0, 0x80, 0xAF}), wide({kFFFD, kFFFD, kFFFD})},
        {"4-byte overlong", bytes({0xF0, 0x80, 0x80, 0xAF}), wide({kFFFD, kFFFD, kFFFD, kFFFD})},
        {"encoded surrogate", bytes({0xED, 0xA0, 0x80}), wide({kFFFD, kFFFD, kFFFD})},
        {"encoded low surrogate", bytes({0xED, 0xBF, 0xBF}), wide({kFFFD, kFFFD, kFFFD})},
        {"above U+10FFFF", bytes({0xF4, 0x90, 0x80, 0x80}), wide({kFFFD, kFFFD, kFFFD, kFFFD})},
        {"F5 to FF never start a sequence", bytes({0xF5, 0xF8, 0xFC, 0xFE, 0xFF}),
         wide({kFFFD, kFFFD, kFFFD, kFFFD, kFFFD})},
        {"F5 followed by continuations", bytes({0xF5, 0x80, 0x80, 0x80}), wide({kFFFD, kFFFD, kFFFD, kFFFD})},
        {"invalid byte between letters", bytes({'a', 0xFF, 'b'}), wide({'a', kFFFD, 'b'})},
        {"start byte followed by a start byte", bytes({0xC3, 0xC3, 0xA9}), wide({kFFFD, 0xE9})},
    };
    for (const auto& c : cases) EXPECT_TRUE(fromUTF8(c.in).toStd() == c.out) << c.what;
}

TEST(LightweightString, ConversionsKeepNullAndEmpty) {
    EXPECT_TRUE(toUTF8(WideString()).isNull());
    EXPECT_TRUE(fromUTF8(NString()).isNull());
    EXPECT_FALSE(toUTF8(WideString(L"")).isNull());
    EXPECT_FALSE(fromUTF8(NString("")).isNull());
    EXPECT_EQ(fromUTF8(NString("a\0b", 3)).size(), 3u) << "an embedded NUL is a character";
}

AUDATOMS_PROPERTY(LightweightString, ValidCodePointsRoundTrip, (const std::vector<std::uint32_t>& raw)) {
    std::wstring w;
    for (auto r : raw) {
        std::uint32_t c = r % 0x110000u;
        if (c >= 0xD800 && c <= 0xDFFF) c -= 0x800;
        w += wchar_t(c);
    }
    RC_ASSERT(fromUTF8(toUTF8(WideString(w))).toStd() == w);
}

AUDATOMS_PROPERTY(LightweightString, AnyBytesDecodeToScalarValuesThatReencodeStably,
                  (const std::vector<std::uint8_t>& raw)) {
    const WideString decoded = fromUTF8(NString(std::string(raw.begin(), raw.end())));
    RC_ASSERT(decoded.size() <= raw.size());
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        const auto c = std::uint32_t(decoded[i]);
        RC_ASSERT(c <= 0x10FFFFu);
        RC_ASSERT(!(c >= 0xD800u && c <= 0xDFFFu));
    }
    RC_ASSERT(fromUTF8(toUTF8(decoded)).toStd() == decoded.toStd());
}

// ---- ASCII and integers ------------------------------------------------------------

TEST(LightweightString, WStringFromAsciiWidensByteByByte) {
    EXPECT_EQ(Qm::WStringFromAscii("48 kHz"), L"48 kHz");
    EXPECT_TRUE(Qm::WStringFromAscii(static_cast<const char*>(nullptr)).isNull());
    const WideString e = Qm::WStringFromAscii("");
    EXPECT_FALSE(e.isNull());
    EXPECT_TRUE(e.empty());
    EXPECT_TRUE(Qm::WStringFromAscii("a\x80z").toStd() == wide({'a', kFFFD, 'z'}));
    EXPECT_TRUE(Qm::WStringFromAscii(NString()).isNull());
    EXPECT_EQ(Qm::WStringFromAscii(NString("SRC")), L"SRC");
}

TEST(LightweightString, WStringFromIntegerWritesSignedDecimal) {
    EXPECT_EQ(Qm::WStringFromInteger(0), L"0");
    EXPECT_EQ(Qm::WStringFromInteger(42), L"42");
    EXPECT_EQ(Qm::WStringFromInteger(-12), L"-12");
    EXPECT_EQ(Qm::WStringFromInteger(INT_MIN), L"-2147483648");
    EXPECT_EQ(Qm::WStringFromInteger(INT_MAX), L"2147483647");
    EXPECT_EQ(Qm::WStringFromInteger(LLONG_MIN), L"-9223372036854775808");
    EXPECT_EQ(Qm::WStringFromInteger(LLONG_MAX), L"9223372036854775807");
}
