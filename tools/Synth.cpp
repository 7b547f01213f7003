#include "tools/Synth.h"

#include "tools/AudioFileWriter.h"
#include "tools/ToolError.h"

#include <cmath>
#include <numbers>
#include <random>

namespace audtool {

std::unique_ptr<MemorySource> makeMemorySource(std::string name, int sampleType, bool bigEndian, unsigned rate,
                                               const std::vector<std::vector<float>>& channels,
                                               std::int64_t loopFrames) {
    FileFormat f;
    f.sampleType = sampleType;
    f.bigEndian = bigEndian;
    f.channels = static_cast<unsigned>(channels.size());
    f.rate = rate;
    const unsigned frames = static_cast<unsigned>(channels.front().size());
    ExportConverter converter(sampleType, f.channels, frames);
    std::vector<const float*> ptrs;
    for (const auto& c : channels) ptrs.push_back(c.data());
    std::size_t bytes = 0;
    const unsigned char* data = converter.convert(ptrs.data(), frames, bytes);
    std::vector<unsigned char> raw(data, data + bytes);
    if (bigEndian) {
        const unsigned stride = f.stride();
        if (stride != 2 && stride != 4) throw std::logic_error("big-endian synthesis needs 2 or 4-byte samples");
        AudioInterleaver swapper(sampleType, f.channels, sampleType == 0 ? 2 : 201);
        std::vector<unsigned char> swapped(raw.size());
        swapper.copyBigEndianAudioToBuff(swapped.data(), raw.data(),
                                         stride == 2 ? unsigned(raw.size() / 2) : unsigned(raw.size()));
        raw.swap(swapped);
    }
    return std::make_unique<MemorySource>(std::move(name), f, std::move(raw), loopFrames);
}

std::vector<float> sine(unsigned rate, double seconds, double hz, double amplitude) {
    std::vector<float> x(static_cast<std::size_t>(seconds * rate));
    for (std::size_t i = 0; i < x.size(); ++i)
        x[i] = float(amplitude * std::sin(2 * std::numbers::pi * hz * double(i) / rate));
    return x;
}

std::vector<float> logSweep(unsigned rate, double seconds, double fromHz, double toHz, double amplitude) {
    std::vector<float> x(static_cast<std::size_t>(seconds * rate));
    const double k = std::log(toHz / fromHz);
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double t = double(i) / rate;
        const double phase = 2 * std::numbers::pi * fromHz * seconds / k * (std::exp(t / seconds * k) - 1);
        x[i] = float(amplitude * std::sin(phase));
    }
    return x;
}

std::vector<float> noiseBursts(unsigned rate, double seconds, double period, double length, double amplitude,
                               std::uint32_t seed) {
    std::vector<float> x(static_cast<std::size_t>(seconds * rate), 0.0f);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double t = std::fmod(double(i) / rate, period);
        if (t < length) x[i] = float(amplitude * u(rng) * std::exp(-6.0 * t / length));
    }
    return x;
}

}  // namespace audtool
