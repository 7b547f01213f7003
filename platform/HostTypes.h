// Small host types: the maximum number of audio tracks of an edit, the origins of a
// shot's audio, and the host list Vector<T>, a std::vector whose operator[] checks
// its bounds: an index past the end prints the assertion report with the condition
// "i < size_" and yields a default-constructed element (never reads out of range).
#pragma once

#include "platform/Report.h"

#include <cstddef>
#include <vector>

constexpr unsigned EditChanMaxAudio = 32;

namespace ShotOrigin {
enum eShotOrigin : int {
    StereoWavImports = 1,
    MultiTrackWavImports = 2,
    RecordingsWithVideo = 3,
    AudioOnlyRecordings = 4,
    MP3Imports = 5,
    CDImports = 6,
    OtherStereoAudioImports = 7,
    OtherMultiTrackAudioImports = 8,
};
}  // namespace ShotOrigin

template <class T>
class Vector : public std::vector<T> {
public:
    using std::vector<T>::vector;
    Vector() = default;
    Vector(const std::vector<T>& v) : std::vector<T>(v) {}
    Vector(std::vector<T>&& v) : std::vector<T>(std::move(v)) {}

    T& operator[](std::size_t i) {
        if (i < this->size()) return std::vector<T>::operator[](i);
        assertionReport("i < size_", "ole/qm/Vector", 87);
        return fallback();
    }
    const T& operator[](std::size_t i) const {
        if (i < this->size()) return std::vector<T>::operator[](i);
        assertionReport("i < size_", "ole/qm/Vector", 87);
        return fallback();
    }

private:
    static T& fallback() {
        thread_local T value{};
        value = T{};
        return value;
    }
};
