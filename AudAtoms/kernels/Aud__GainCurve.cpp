#include "AudAtoms/kernels/Aud__GainCurve.h"

#include "AudAtoms/internal/Aud__GainCurve_Laws.h"

#include <cstddef>

namespace Aud::GainCurve {

namespace {

template <std::size_t N>
struct NodeTable {
    CurveNode nodes[N];
};

enum class Direction { kUVal2Mag, kMag2UVal };
enum class LastSlope { kZero, kContinueLaw };

// Samples law at input i / divisor for i = 0 .. N-1 (one more for the last slope).
template <std::size_t N, class Law>
constexpr NodeTable<N> makeTable(Law law, double divisor, Direction direction, LastSlope lastSlope) {
    NodeTable<N> table{};
    double in = 0, out = law(0.0);
    for (std::size_t i = 0; i < N; ++i) {
        const double nextIn = static_cast<double>(i + 1) / divisor;
        const double nextOut = law(nextIn);
        double slope = (nextOut - out) / (nextIn - in);
        if (i == N - 1 && lastSlope == LastSlope::kZero) slope = 0;
        CurveNode& node = table.nodes[i];
        node.uval = static_cast<float>(direction == Direction::kUVal2Mag ? in : out);
        node.mag = static_cast<float>(direction == Direction::kUVal2Mag ? out : in);
        node.slope = static_cast<float>(slope);
        node.reserved = 0.0f;
        in = nextIn;
        out = nextOut;
    }
    return table;
}

constexpr auto kConstantPowerUVal2Mag =
    makeTable<101>(Laws::constantPowerMag, 100, Direction::kUVal2Mag, LastSlope::kZero);
constexpr auto kConstantPowerMag2UVal =
    makeTable<101>(Laws::constantPowerUVal, 100, Direction::kMag2UVal, LastSlope::kZero);
constexpr auto kMixerUVal2Mag = makeTable<1502>(Laws::mixerMag, 1000, Direction::kUVal2Mag, LastSlope::kContinueLaw);
constexpr auto kMixerMag2UVal = makeTable<903>(Laws::mixerUVal, 200, Direction::kMag2UVal, LastSlope::kContinueLaw);

// Node index of input / step, truncated toward zero; quotients that are not a valid
// index (past the end, -1 or less, NaN) take the last node.
template <std::size_t N>
const CurveNode& nodeFor(const CurveNode (&table)[N], float input, float step) {
    const float q = input / step;
    if (q > -1.0f && q < static_cast<float>(N)) return table[static_cast<int>(q)];
    return table[N - 1];
}

template <std::size_t N>
float uvalToMag(const CurveNode (&table)[N], float uval, float step) {
    const CurveNode& node = nodeFor(table, uval, step);
    return node.mag + (uval - node.uval) * node.slope;
}

template <std::size_t N>
float magToUVal(const CurveNode (&table)[N], float mag, float step) {
    const CurveNode& node = nodeFor(table, mag, step);
    return node.uval + (mag - node.mag) * node.slope;
}

}  // namespace

namespace ConstantPower1_Private {
const CurveNode (&UVal2Mag_CurveNodes)[101] = kConstantPowerUVal2Mag.nodes;
const CurveNode (&Mag2UVal_CurveNodes)[101] = kConstantPowerMag2UVal.nodes;
}  // namespace ConstantPower1_Private

namespace MixerStyleLog1_Private {
const CurveNode (&UVal2Mag_CurveNodes)[1502] = kMixerUVal2Mag.nodes;
const CurveNode (&Mag2UVal_CurveNodes)[903] = kMixerMag2UVal.nodes;
}  // namespace MixerStyleLog1_Private

namespace ConstantPower1 {
float UVal2Mag(float uval) { return uvalToMag(ConstantPower1_Private::UVal2Mag_CurveNodes, uval, 0.01f); }
float Mag2UVal(float mag) { return magToUVal(ConstantPower1_Private::Mag2UVal_CurveNodes, mag, 0.01f); }
}  // namespace ConstantPower1

namespace MixerStyleLog1 {
float UVal2Mag(float uval) { return uvalToMag(MixerStyleLog1_Private::UVal2Mag_CurveNodes, uval, 0.001f); }
float Mag2UVal(float mag) {
    if (mag == 1.0f) return 1.0f;
    return magToUVal(MixerStyleLog1_Private::Mag2UVal_CurveNodes, mag, 0.005f);
}
}  // namespace MixerStyleLog1

}  // namespace Aud::GainCurve
