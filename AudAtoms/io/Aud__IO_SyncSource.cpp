#include "AudAtoms/io/Aud__IO_SyncSource.h"

#include "platform/Report.h"

namespace Aud {

IO_SyncSource::IO_SyncSource(eIO_SyncSourceType type, unsigned inputNumber) : rep_(new Rep{type, inputNumber}) {}

IO_SyncSource::IO_SyncSource(const IO_SyncSource& other) : rep_(new Rep(*other.rep_)) {}

// Self-assignment copies the record onto itself, which changes nothing.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
IO_SyncSource& IO_SyncSource::operator=(const IO_SyncSource& other) {
    *rep_ = *other.rep_;
    return *this;
}

IO_SyncSource::~IO_SyncSource() { delete rep_; }

void IO_SyncSource::reset() {
    rep_->type = keIO_SyncSourceTypeNone;
    rep_->inputNumber = 0xFFFFFFFFu;
}

LightweightString<wchar_t> IO_SyncSource::getDisplayString() const {
    LightweightString<wchar_t> text = Aud::getDisplayString(type());
    if (type() == keIO_SyncSourceTypeAES_EBU) return text + (inputNumber() == 0 ? L" 1&2" : L" 3&4");
    return text + L" " + Qm::WStringFromInteger(std::uint32_t(inputNumber() + 1u));
}

unsigned IO_SyncSourceTypeInfo::numInputs() const {
    if (rep_) return rep_->numInputs;
    ole_splat("Method called on invalid IO_SyncSourceTypeInfo object");
    return 0;
}

LightweightString<wchar_t> getDisplayString(eIO_SyncSourceType type) {
    switch (std::uint32_t(type)) {
    case 1: return LightweightString<wchar_t>(L"Free Running");
    case 2: return LightweightString<wchar_t>(L"Video");
    case 3: return LightweightString<wchar_t>(L"LTC");
    case 4: return LightweightString<wchar_t>(L"AES/EBU");
    default: ole_splat("Dodgy enum!"); return LightweightString<wchar_t>(L"");
    }
}

}  // namespace Aud
