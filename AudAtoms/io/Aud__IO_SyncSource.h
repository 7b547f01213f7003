// Sync sources of audio hardware: what the hardware locks its sample clock to (free
// running, video reference, LTC time code, an AES/EBU input) and which input of that
// kind, plus a read-only handle on the host's record of how many inputs of a source
// type the hardware has.
//
// IO_SyncSource owns a small heap record (type, 0-based input number): construction
// and copying allocate, assignment copies the fields, destruction frees.
// IO_SyncSourceTypeInfo holds a pointer to a host-owned Rep (copying copies the
// pointer); numInputs() on an invalid (null) handle reports "Method called on invalid
// IO_SyncSourceTypeInfo object" through ole_splat and answers 0; type() answers 0
// without a report.
// Threads: plain values; one object is not written by two threads at once.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/io/Aud__AudCapsVector.h"

#include "platform/LightweightString.h"

#include <cstdint>

namespace Aud {

enum eIO_SyncSourceType : std::uint32_t {
    keIO_SyncSourceTypeNone = 0,
    keIO_SyncSourceTypeFreeRunning = 1,
    keIO_SyncSourceTypeVideo = 2,
    keIO_SyncSourceTypeLTC = 3,
    keIO_SyncSourceTypeAES_EBU = 4,
};

class AUDATOMS_EXPORT IO_SyncSource {
public:
    IO_SyncSource(eIO_SyncSourceType type, unsigned inputNumber);
    IO_SyncSource(const IO_SyncSource& other);
    IO_SyncSource& operator=(const IO_SyncSource& other);
    ~IO_SyncSource();

    eIO_SyncSourceType type() const { return eIO_SyncSourceType(rep_->type); }
    void type(eIO_SyncSourceType t) { rep_->type = t; }
    unsigned inputNumber() const { return rep_->inputNumber; }
    void inputNumber(unsigned n) { rep_->inputNumber = n; }

    bool operator==(const IO_SyncSource& o) const { return type() == o.type() && inputNumber() == o.inputNumber(); }
    bool operator!=(const IO_SyncSource& o) const { return !(*this == o); }

    bool valid() const { return true; }
    // Type 0 and input number 0xFFFFFFFF.
    void reset();
    // The type's name and the input: "Video 1" for input 0 of Video; AES/EBU inputs
    // are pairs, " 1&2" for input 0 and " 3&4" for any other. The input number plus
    // one is taken in 32 bits, so a reset source shows " 0" (after the type's report).
    LightweightString<wchar_t> getDisplayString() const;

private:
    struct Rep {
        std::uint32_t type;
        std::uint32_t inputNumber;
    };
    Rep* rep_;
};

class AUDATOMS_EXPORT IO_SyncSourceTypeInfo {
public:
    // The host's record, fields in this order.
    struct Rep {
        std::uint32_t numInputs;
        std::uint32_t type;
    };

    IO_SyncSourceTypeInfo() = default;
    IO_SyncSourceTypeInfo(Rep* rep) : rep_(rep) {}

    bool valid() const { return rep_ != nullptr; }  // no report
    unsigned numInputs() const;
    eIO_SyncSourceType type() const { return rep_ ? eIO_SyncSourceType(rep_->type) : keIO_SyncSourceTypeNone; }

private:
    Rep* rep_ = nullptr;
};

// "Free Running", "Video", "LTC", "AES/EBU"; any other value reports "Dodgy enum!"
// through ole_splat and gives the empty string.
AUDATOMS_EXPORT LightweightString<wchar_t> getDisplayString(eIO_SyncSourceType type);

using IO_SyncSourceTypeInfoVector = AudCapsVector<IO_SyncSourceTypeInfo, eIO_SyncSourceType>;

}  // namespace Aud
