// Test programmes for the loudness meter: sine segments at given peak levels, fed to a
// sink block by block so that hours of programme need no memory.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace audatoms::test {

struct SineSegment {
    double peakDbfs;  // the sine's peak, dB relative to full scale
    double seconds;
    double hertz = 1000.0;
};

// Feeds the segments, one after another with a continuous phase, to
// sink(const float* const* channels, std::size_t frames) in blocks of up to `block`
// frames. Channel c carries the sine scaled by channelDb[c] (dB; 0 when absent). The
// programme's first fadeInSeconds rise with a raised cosine from silence.
template <class Sink>
void feedSines(unsigned channels, double rate, const std::vector<SineSegment>& segments, Sink&& sink,
               const std::vector<double>& channelDb = {}, std::size_t block = 4800, double phase = 0.0,
               double fadeInSeconds = 0.0) {
    std::vector<std::vector<float>> buf(channels, std::vector<float>(block));
    std::vector<const float*> ptrs(channels);
    for (unsigned c = 0; c < channels; ++c) ptrs[c] = buf[c].data();
    std::vector<double> chanGain(channels, 1.0);
    for (unsigned c = 0; c < channels && c < channelDb.size(); ++c) chanGain[c] = std::pow(10.0, channelDb[c] / 20.0);
    const double twoPi = 6.283185307179586;
    const auto fadeFrames = std::size_t(fadeInSeconds * rate);
    std::size_t done = 0;
    for (const SineSegment& s : segments) {
        const double amp = std::pow(10.0, s.peakDbfs / 20.0);
        const double step = twoPi * s.hertz / rate;
        auto total = std::size_t(std::llround(s.seconds * rate));
        while (total > 0) {
            const std::size_t n = std::min(total, block);
            for (std::size_t i = 0; i < n; ++i) {
                double v = amp * std::sin(phase);
                if (done < fadeFrames) v *= 0.5 - 0.5 * std::cos(3.141592653589793 * double(done) / double(fadeFrames));
                ++done;
                phase += step;
                if (phase > twoPi) phase -= twoPi;
                for (unsigned c = 0; c < channels; ++c) buf[c][i] = float(v * chanGain[c]);
            }
            sink(ptrs.data(), n);
            total -= n;
        }
    }
}

}  // namespace audatoms::test
