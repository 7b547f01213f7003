// Tolerant comparison of time-line values, as the host's base library defines it.
// valLessThanVal<T>(a, b) is true when a lies below b by at least the tolerance of T
// (double: 1e-6 time units, the tolerance under which two times are the same point;
// float: 1e-6 as well). Pure, any thread, no allocation.
#pragma once

template <class T>
struct ValTolerance;
template <>
struct ValTolerance<double> {
    static constexpr double value = 1e-6;
};
template <>
struct ValTolerance<float> {
    static constexpr float value = 1e-6f;
};

template <class T>
inline bool valLessThanVal(T a, T b) {
    return b - a >= ValTolerance<T>::value;
}
