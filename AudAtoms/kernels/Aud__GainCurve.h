// Aud::GainCurve: fader and pan laws as constant node tables, so that converting a
// control position ("UVal", 0 at the bottom of the control's travel) to a linear
// magnitude ("Mag", the gain factor applied to samples, 1.0 = unity) and back costs one
// division, one truncation and one multiply-add, with no logarithm or trigonometry.
//
// Two curves, each a pair of tables sampled at even steps of their input:
//   ConstantPower1  mag = sin(uval * pi/2), uval = (2/pi) * asin(mag)       (pans, crossfades)
//       UVal2Mag: 101 nodes, uval = 0, 0.01, ... 1.00;  Mag2UVal: 101 nodes, mag = 0 ... 1.00
//   MixerStyleLog1  dB piecewise linear in uval*72 through (0,-145) (3,-60) (11,-40)
//       (20,-30) (49,-10) (60,-5) (72,0) (87,+5) (100,+10), continuing along the last
//       segment; mag = 10^(dB/20), except that uval 0 is mag 0 exactly  (mixer faders)
//       UVal2Mag: 1502 nodes, uval = 0, 0.001, ... 1.501;  Mag2UVal: 903 nodes, mag = 0, 0.005, ... 4.51
// Every stored value is the law evaluated in double and rounded to float. A node's slope
// is (out[i+1] - out[i]) / (in[i+1] - in[i]) of the law in double; the last node's slope
// is 0 on the constant-power tables and continues the law one step beyond the table on
// the mixer-style ones. The tables are computed by the compiler from the laws.
//
// Lookup (single precision): i = trunc(input / step), clamped to the last node when it
// is out of range (negative quotients of -1 or less, NaN and inputs past the end use the
// last node); result = node.out + (input - node.in) * node.slope, so inputs beyond the
// table are extrapolated along the last node's slope. MixerStyleLog1::Mag2UVal returns
// 1.0 at once for a magnitude of exactly 1.0.
//
// Threads: read-only data and pure functions; any thread, no allocation, no locks.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

namespace Aud::GainCurve {

// One 16-byte table node.
struct AUDATOMS_EXPORT CurveNode {
    float uval;      // control position
    float mag;       // linear magnitude
    float slope;     // d(output)/d(input) towards the next node
    float reserved;  // always 0
};

namespace ConstantPower1_Private {
extern AUDATOMS_EXPORT const CurveNode (&UVal2Mag_CurveNodes)[101];
extern AUDATOMS_EXPORT const CurveNode (&Mag2UVal_CurveNodes)[101];
}  // namespace ConstantPower1_Private

namespace MixerStyleLog1_Private {
extern AUDATOMS_EXPORT const CurveNode (&UVal2Mag_CurveNodes)[1502];
extern AUDATOMS_EXPORT const CurveNode (&Mag2UVal_CurveNodes)[903];
}  // namespace MixerStyleLog1_Private

namespace ConstantPower1 {
AUDATOMS_EXPORT float UVal2Mag(float uval);
AUDATOMS_EXPORT float Mag2UVal(float mag);
}  // namespace ConstantPower1

namespace MixerStyleLog1 {
AUDATOMS_EXPORT float UVal2Mag(float uval);
AUDATOMS_EXPORT float Mag2UVal(float mag);
}  // namespace MixerStyleLog1

}  // namespace Aud::GainCurve
