// Connection types of audio hardware: the kinds of connector (analogue, AES/EBU,
// S/PDIF, ADAT, 1394, SDI, HDMI ...) and a read-only handle on the host's capability
// record of each: gain control, sample-rate conversion limits and the connection class.
//
// IO_ConnectionTypeInfo holds one pointer to a host-owned Rep; copying copies the
// pointer, destruction frees nothing. A default handle holds null and is invalid.
// Every member except type() and valid() first checks the handle: on an invalid one it
// reports "Method called on invalid IO_ConnectionTypeInfo object" through ole_splat and
// then answers as if the record held zeros, false and an empty string.
//
// Units: gains as the host's hardware layer gives them; sample-rate limits in hertz
// (absolute range) or as fractions of the first rate (relative range).
// Threads: reading a record is safe from any thread while the host does not change it.
// getSRCDisplayString and the display strings allocate; nothing else does.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/io/Aud__AudCapsVector.h"
#include "AudAtoms/core/Aud__SampleRate.h"

#include "platform/LightweightString.h"

#include <cstdint>

namespace Aud {

enum eIO_ConnectionType : int {
    keIO_ConnectionTypeInvalid = 0,
    keIO_ConnectionTypeAny = 1,  // no display name of its own
    keIO_ConnectionTypeAnalogue = 2,
    keIO_ConnectionTypeAES_EBU = 3,
    keIO_ConnectionType1394 = 4,
    keIO_ConnectionTypeSDI = 5,  // embedded in serial digital video
    keIO_ConnectionTypeSPDIF = 6,
    keIO_ConnectionTypeADAT = 7,
    keIO_ConnectionTypeMixer = 8,  // no display name of its own
    keIO_ConnectionTypeHDMI = 9,
};

class AUDATOMS_EXPORT IO_ConnectionTypeInfo {
public:
    // The host's capability record, fields in this order.
    struct Rep {
        bool supportsGainControl;
        double minimumGain;
        double maximumGain;
        bool absoluteSRCRange;  // limits below are hertz (true) or fractions (false)
        double srcLowerLimit;   // lowest rate, or how far below the first rate
        double srcUpperLimit;   // highest rate, or how far above the first rate
        bool supportsSRC;
        LightweightString<char> srcDescription;  // shown to the user as it is
        std::int32_t connectionClass;            // 1 analogue, 2 digital, 3 mixer
        eIO_ConnectionType type;
    };

    IO_ConnectionTypeInfo() = default;
    IO_ConnectionTypeInfo(Rep* rep) : rep_(rep) {}

    // True when the handle holds a record (no report).
    bool valid() const { return rep_ != nullptr; }

    bool supportsGainControl() const;
    double mininumGain() const;  // sic: the established name
    double maximumGain() const;
    bool supportsSRC() const;
    std::int32_t getConnectionClass() const;
    bool isAnalogue() const;
    bool isDigital() const;
    bool isMixer() const;
    // The record's type, or 0 for an invalid handle (no report).
    eIO_ConnectionType type() const;
    // The conversion description widened from ASCII; empty when there is none.
    LightweightString<wchar_t> getSRCDisplayString() const;
    // Aud::getDisplayString(type()).
    LightweightString<wchar_t> getDisplayString() const;
    // Whether the connection accepts `second` when it runs at `first`: analogue and
    // mixer connections accept anything; digital ones need conversion support and
    // `second` within the limits (absolute hertz, or relative to `first`).
    bool supportsSRC(const SampleRate& first, const SampleRate& second) const;

private:
    const Rep& rep() const;  // reports an invalid handle; never null
    Rep* rep_ = nullptr;
};

// Display name of a connection type; 0, 1, 8 and unknown codes print an assertion line
// and give the name of resource 10055.
AUDATOMS_EXPORT LightweightString<wchar_t> getDisplayString(eIO_ConnectionType type);

using IO_ConnectionTypeInfoVector = AudCapsVector<IO_ConnectionTypeInfo, eIO_ConnectionType>;

}  // namespace Aud
