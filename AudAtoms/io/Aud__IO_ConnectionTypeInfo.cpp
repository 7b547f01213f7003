#include "AudAtoms/io/Aud__IO_ConnectionTypeInfo.h"

#include "AudAtoms/internal/AssertionSource.h"
#include "platform/Report.h"
#include "platform/Resources.h"

namespace Aud {

namespace {
constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__IO_ConnectionTypeInfo"};
const IO_ConnectionTypeInfo::Rep kEmptyRep{};  // what an invalid handle answers from
}  // namespace

const IO_ConnectionTypeInfo::Rep& IO_ConnectionTypeInfo::rep() const {
    if (rep_) return *rep_;
    ole_splat("Method called on invalid IO_ConnectionTypeInfo object");
    return kEmptyRep;
}

bool IO_ConnectionTypeInfo::supportsGainControl() const { return rep().supportsGainControl; }
double IO_ConnectionTypeInfo::mininumGain() const { return rep().minimumGain; }
double IO_ConnectionTypeInfo::maximumGain() const { return rep().maximumGain; }
bool IO_ConnectionTypeInfo::supportsSRC() const { return rep().supportsSRC; }
std::int32_t IO_ConnectionTypeInfo::getConnectionClass() const { return rep().connectionClass; }
bool IO_ConnectionTypeInfo::isAnalogue() const { return rep().connectionClass == 1; }
bool IO_ConnectionTypeInfo::isDigital() const { return rep().connectionClass == 2; }
bool IO_ConnectionTypeInfo::isMixer() const { return rep().connectionClass == 3; }

eIO_ConnectionType IO_ConnectionTypeInfo::type() const { return rep_ ? rep_->type : keIO_ConnectionTypeInvalid; }

LightweightString<wchar_t> IO_ConnectionTypeInfo::getSRCDisplayString() const {
    const LightweightString<char>& d = rep().srcDescription;
    return d.empty() ? LightweightString<wchar_t>(L"") : Qm::WStringFromAscii(d);
}

LightweightString<wchar_t> IO_ConnectionTypeInfo::getDisplayString() const {
    rep();  // the invalid-handle report
    return Aud::getDisplayString(type());
}

bool IO_ConnectionTypeInfo::supportsSRC(const SampleRate& first, const SampleRate& second) const {
    const Rep& r = rep();
    if (r.connectionClass != 2) return true;
    if (!r.supportsSRC) return false;
    const double f = first.calcCombinedSampleRate();
    const double s = second.calcCombinedSampleRate();
    if (r.absoluteSRCRange) return s >= r.srcLowerLimit && r.srcUpperLimit >= s;
    return s >= f - r.srcLowerLimit * f && r.srcUpperLimit * f + f >= s;
}

LightweightString<wchar_t> getDisplayString(eIO_ConnectionType type) {
    switch (int(type)) {
    case 2: return resourceStrW(11646);
    case 3: return resourceStrW(11645);
    case 4: return LightweightString<wchar_t>(L"1394");
    case 5: return resourceStrW(11643);
    case 6: return resourceStrW(11647);
    case 7: return resourceStrW(11644);
    case 9: return LightweightString<wchar_t>(L"HDMI");
    default: kSource.report("false", 56); return resourceStrW(10055);
    }
}

}  // namespace Aud
