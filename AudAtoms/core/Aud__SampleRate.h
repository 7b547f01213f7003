// Aud::SampleRate: an audio sample rate as one packed 32-bit word, a nominal base rate
// code and a set of speed-change factor flags, so that pulled, sped-up and
// project-relative rates stay exact and comparable.
//
// Word layout (persisted as a decimal number, so fixed):
//   bits 0-4   eBaseSampleRate code (0 invalid, 1 project rate, 2-9 concrete rates)
//   bits 5-12  eFactor flags, kept in place; four pairs of mutually inverse flags.
//              Both flags of a pair set means that pair contributes nothing.
//   bits 13-31 zero in rates made by the library's own operations.
// Equality is equality of the whole word.
//
// Units: hertz. calcBaseSampleRate gives whole hertz, calcCombinedSampleRate the exact
// double product of base hertz and factor multiplier (nothing rounded).
//
// The project hardware rate is a process-wide SampleRate held by the host's named
// objects ("Aud__CurrentProjectHardwareSampleRate"); the host writes it through
// Aud::Private::getProjectHardwareSampleRateNamedObject(), the library only reads it
// (a plain word copy, no lock). Only operations that touch a project-relative rate
// (base code 1) consult it, and only they can throw Qm::Exception::RuntimeError (when
// the named-objects service gives no object).
//
// Text forms: asString/setFromString is the persisted form "[A][<word>] <description>";
// getDisplayString gives the wide texts for menus, fromDisplayString reads a base rate
// back from its display text. Writing and display allocate; reading logs a warning
// through LogBoth for unreadable text and never throws.
//
// Threads: a SampleRate is a plain value; any thread. The arithmetic members neither
// allocate nor lock, except that a project-relative rate (base code 1) makes
// calcBaseSampleRate, calcCombinedSampleRate and specialized look up the project rate
// (a named-object lookup: a lock and an allocation). Text and display functions allocate.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/core/Aud__Status.h"
#include "AudAtoms/core/SearchableVector.h"
#include "platform/LightweightString.h"

#include <cstdint>

namespace Aud {

enum eBaseSampleRate : unsigned {
    keBaseSampleRateInvalid = 0,
    keBaseSampleRateProject = 1,
    keBaseSampleRate11025 = 2,
    keBaseSampleRate16000 = 3,
    keBaseSampleRate22050 = 4,
    keBaseSampleRate24000 = 5,
    keBaseSampleRate32000 = 6,
    keBaseSampleRate44100 = 7,
    keBaseSampleRate48000 = 8,
    keBaseSampleRate96000 = 9,
};

// Flags already at bit 5 and up, so they OR straight into the word.
enum eFactor : unsigned {
    keFactorNone = 0,
    keFactor24_25 = 0x20,       // pair 1: x 0.96
    keFactor25_24 = 0x40,       // pair 1: x 1.0416666666666667
    keFactor1001_1000 = 0x80,   // pair 2: x 1.001
    keFactor1000_1001 = 0x100,  // pair 2: / 1.001
    keFactor30_24 = 0x200,      // pair 3: x 1.25
    keFactor24_30 = 0x400,      // pair 3: x 0.8
    keFactor2 = 0x800,          // pair 4: x 2
    keFactor1_2 = 0x1000,       // pair 4: x 0.5
};

constexpr eFactor operator|(eFactor a, eFactor b) { return eFactor(unsigned(a) | unsigned(b)); }
constexpr eFactor operator&(eFactor a, eFactor b) { return eFactor(unsigned(a) & unsigned(b)); }

class AUDATOMS_EXPORT SampleRate {
public:
    SampleRate() = default;
    SampleRate(eBaseSampleRate base, eFactor factor = keFactorNone);
    // Reads the persisted text form (see setFromString).
    SampleRate(const LightweightString<char>& persisted);

    bool operator==(const SampleRate& o) const { return word_ == o.word_; }
    bool operator!=(const SampleRate& o) const { return word_ != o.word_; }

    // The packed word itself, e.g. 264 for 48 kHz / 1.001.
    std::uint32_t word() const { return word_; }
    static SampleRate fromWord(std::uint32_t word);

    eBaseSampleRate baseSampleRate() const { return eBaseSampleRate(word_ & 0x1Fu); }
    // Replaces the low five bits with code, unmasked: pass codes 0 to 9 only.
    void baseSampleRate(eBaseSampleRate code) { word_ = (word_ & ~0x1Fu) | unsigned(code); }
    // Every bit above bit 4.
    eFactor factor() const { return eFactor(word_ & ~0x1Fu); }
    // Keeps the base and replaces all factor bits with f, unmasked.
    void factor(eFactor f) { word_ = (word_ & 0x1Fu) | unsigned(f); }
    // ORs the flags in; does not clear their inverses (a pair with both set cancels).
    void addFactor(eFactor f) { word_ |= unsigned(f); }
    void removeFactor(eFactor f) { word_ &= ~unsigned(f); }

    // Base code for an exact rate in hertz; any other rate prints an assertion line
    // and gives keBaseSampleRateInvalid.
    static eBaseSampleRate calcSampleRate(unsigned hertz);
    // Multiplier of the factor flags, computed in a fixed order (bit-exact).
    static double calcFactor(eFactor f);
    double calcFactor() const { return calcFactor(factor()); }
    // The canonical factor whose multiplier is within 0.000001 (absolute) of ratio:
    // sSuccess, or sInvalid with out = keFactorNone when none is.
    static eStatus determineFactorFromFloat(eFactor& out, double ratio);
    // Swaps the two flags of every pair; bits outside the eight flags are dropped.
    static eFactor invert(eFactor f);

    // True when the base code is not 0 (codes 10 to 31 count as valid).
    bool valid() const { return baseSampleRate() != keBaseSampleRateInvalid; }
    // Hertz of a base code: table values for 2 to 9, 0 for 0 and 10 and above; code 1
    // uses the project rate's base code (may throw). A project rate that is itself
    // project-relative gives 0.
    static std::uint32_t calcBaseSampleRate(eBaseSampleRate code);
    std::uint32_t calcBaseSampleRate() const { return calcBaseSampleRate(baseSampleRate()); }
    // Base hertz times factor multiplier, not rounded.
    double calcCombinedSampleRate() const;
    // A copy; a project-relative rate gets the project's base code, keeping its factor.
    SampleRate specialized() const;

    // Persisted form: "[A][<word as signed decimal>] <base text>[ x <factor text>]".
    LightweightString<char> asString() const;
    // Reads "[A][<int>]..." (the rest is ignored) and stores the integer as the whole
    // word, unchecked. Unreadable text or another revision letter logs a warning and
    // gives the all-zero rate. A null string reads as empty.
    void setFromString(const LightweightString<char>& persisted);

private:
    std::uint32_t word_ = 0;
};

// A copy of the project hardware rate (all-zero until the host writes one). Throws
// Qm::Exception::RuntimeError when the named-objects service gives no object.
AUDATOMS_EXPORT SampleRate getProjectHardwareSampleRate();

namespace Private {
// The shared project hardware rate itself (the host writes it), or null when the
// named-objects service gives none. Created all-zero on first lookup.
AUDATOMS_EXPORT SampleRate* getProjectHardwareSampleRateNamedObject();
}  // namespace Private

// Display texts (wide, for menus and dialogs).
// Base codes: "11.025 kHz" ... "96 kHz"; code 1 is resource 10342 (never resolved to
// the project's actual rate); 0 and unknown codes are "< " + resource 10055 + " >".
AUDATOMS_EXPORT LightweightString<wchar_t> getDisplayString(eBaseSampleRate code);
// Factor flags: the pieces of the pairs with exactly one flag set, joined by " x ",
// e.g. "24/25 x 1.001"; empty for no factor.
AUDATOMS_EXPORT LightweightString<wchar_t> getDisplayString(eFactor f);
// Base text, then " x " and the factor text when that is not empty.
AUDATOMS_EXPORT LightweightString<wchar_t> getDisplayString(const SampleRate& rate);
// The concrete base code (2 to 9) whose display text equals text exactly; any other
// text, empty or null included, gives keBaseSampleRate48000.
AUDATOMS_EXPORT eBaseSampleRate fromDisplayString(const LightweightString<wchar_t>& text);

}  // namespace Aud
