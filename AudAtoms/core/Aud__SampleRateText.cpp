// The persisted and display text forms of Aud::SampleRate (declared in Aud__SampleRate.h).
#include "AudAtoms/core/Aud__SampleRate.h"

#include "platform/Report.h"
#include "platform/Resources.h"

#include <cstdio>

namespace Aud {

namespace {
constexpr char kRevision = 'A';
constexpr int kNoRateResource = 10055;
constexpr int kProjectRateResource = 10342;

struct BaseText {
    eBaseSampleRate code;
    const wchar_t* text;
};

// In the order fromDisplayString compares them.
constexpr BaseText kBaseTexts[] = {
    {keBaseSampleRate11025, L"11.025 kHz"}, {keBaseSampleRate16000, L"16 kHz"}, {keBaseSampleRate22050, L"22.05 kHz"},
    {keBaseSampleRate24000, L"24 kHz"},     {keBaseSampleRate32000, L"32 kHz"}, {keBaseSampleRate44100, L"44.1 kHz"},
    {keBaseSampleRate48000, L"48 kHz"},     {keBaseSampleRate96000, L"96 kHz"},
};

struct FactorPiece {
    eFactor flag;
    eFactor inverse;
    const wchar_t* piece;
};

// Pair by pair, in the order the pieces are appended.
constexpr FactorPiece kFactorPieces[] = {
    {keFactor24_25, keFactor25_24, L" x 24/25"},
    {keFactor25_24, keFactor24_25, L" x 25/24"},
    {keFactor1001_1000, keFactor1000_1001, L" x 1.001"},
    {keFactor1000_1001, keFactor1001_1000, L" x 1/1.001"},
    {keFactor30_24, keFactor24_30, L" x 30/24"},
    {keFactor24_30, keFactor30_24, L" x 24/30"},
    {keFactor2, keFactor1_2, L" x 2"},
    {keFactor1_2, keFactor2, L" x 1/2"},
};
}  // namespace

LightweightString<wchar_t> getDisplayString(eBaseSampleRate code) {
    if (code == keBaseSampleRateProject) return resourceStrW(kProjectRateResource);
    for (const BaseText& b : kBaseTexts)
        if (b.code == code) return LightweightString<wchar_t>(b.text);
    return paddedResourceStrW(kNoRateResource, L"< ", L" >", 0);
}

LightweightString<wchar_t> getDisplayString(eFactor f) {
    std::wstring text;
    for (const FactorPiece& p : kFactorPieces)
        if ((f & p.flag) && !(f & p.inverse)) text += p.piece;
    // Drop the leading " x " of the first piece.
    if (text.size() >= 4) return LightweightString<wchar_t>(text.substr(3));
    return LightweightString<wchar_t>(L"");
}

LightweightString<wchar_t> getDisplayString(const SampleRate& rate) {
    LightweightString<wchar_t> text = getDisplayString(rate.baseSampleRate());
    const LightweightString<wchar_t> factorText = getDisplayString(rate.factor());
    if (!factorText.empty()) text = text + L" x " + factorText;
    return text;
}

eBaseSampleRate fromDisplayString(const LightweightString<wchar_t>& text) {
    for (const BaseText& b : kBaseTexts)
        if (text == b.text) return b.code;
    // Unknown texts deliberately fall back to 48 kHz.
    return keBaseSampleRate48000;
}

LightweightString<char> SampleRate::asString() const {
    char prefix[80];
    std::snprintf(prefix, sizeof prefix, "[%c][%d] ", kRevision, int(word_));
    const LightweightString<char> factorText = toUTF8(getDisplayString(factor()));
    const LightweightString<char> baseText = toUTF8(getDisplayString(baseSampleRate()));
    LightweightString<char> text = LightweightString<char>(prefix) + baseText;
    if (!factorText.empty()) text = text + " x " + factorText;
    return text;
}

void SampleRate::setFromString(const LightweightString<char>& persisted) {
    char revision = 0;
    int word = 0;
    // The description after the word is for people reading the file; it is not parsed.
    if (std::sscanf(persisted.c_str(), "[%c][%d]", &revision, &word) < 2) {
        LogBoth("Warning: encountered unreadable SampleRate value!\n");
        word_ = 0;
        return;
    }
    if (revision != kRevision) {
        LogBoth("Warning: encountered unrecognized SampleRate revision!\n");
        word_ = 0;
        return;
    }
    word_ = std::uint32_t(word);
}

}  // namespace Aud
