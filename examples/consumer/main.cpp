// A program using the installed AudAtoms library: a sample rate and its display text,
// a video-frame cadence, a block of 24-bit file samples turned into float buffers and
// mixed with a gain, metered, equalised, and written back. Exits 0 when every result
// is the expected one.
#include "AudAtoms/AudAtoms.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

int main() {
    int failures = 0;
    auto check = [&](bool ok, const char* what) {
        std::printf("%-44s %s\n", what, ok ? "ok" : "FAILED");
        failures += !ok;
    };

    // A pulled-down rate: 48 kHz / 1.001.
    const Aud::SampleRate rate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001);
    const std::string shown = toUTF8(Aud::getDisplayString(rate)).toStd();
    std::printf("AudAtoms %s, rate %s = %.6f Hz\n", audAtomsDllVersionStr(), shown.c_str(),
                rate.calcCombinedSampleRate());
    check(shown == "48 kHz x 1/1.001", "display text of 48 kHz x 1/1.001");
    check(Aud::Util::getSMPTE_FrameSequence(Aud::SampleRate(Aud::keBaseSampleRate48000), Qm::FrameRate29_97).size() ==
              5,
          "48 kHz at 29.97 fps: a 5-frame cadence");

    // Two channels of packed 24-bit little-endian samples, split by the interleaver.
    const unsigned frames = 8;
    std::vector<unsigned char> bytes;
    for (unsigned i = 0; i < frames; ++i)
        for (int v : {0x400000, -0x200000}) {  // 0.5 left, -0.25 right
            bytes.push_back(std::uint8_t(v));
            bytes.push_back(std::uint8_t(v >> 8));
            bytes.push_back(std::uint8_t(v >> 16));
        }
    Qm::Ptr<iMemHolder> raw(new ByteBufferImpl(unsigned(bytes.size())));
    std::copy(bytes.begin(), bytes.end(), static_cast<unsigned char*>(raw->getBuffer()));
    AudioInterleaver interleaver;
    Aud::StreamBufferList list;
    const Aud::Metadata format(1, 2, 48000, 2, Aud::keLocationFile);
    check(interleaver.deinterleaveAudio(frames, format, raw, list) == AudioInterleaver::kSuccess &&
              list.streamBuffers.size() == 2,
          "interleaver splits two channels");

    std::vector<float> left(frames), right(frames), mix(frames, 0.0f);
    Aud::SampleConvert::toFloat(list.sampleType, list.streamBuffers[0].memory->getBuffer(), frames, left.data());
    Aud::SampleConvert::toFloat(list.sampleType, list.streamBuffers[1].memory->getBuffer(), frames, right.data());
    Aud::MixRender::MultiplyConstantAndAdd(left.data(), mix.data(), frames / 4, 1.0f);
    Aud::MixRender::MultiplyConstantAndAdd(right.data(), mix.data(), frames / 4, 0.5f);
    check(mix[0] == 0.375f, "0.5 + 0.5 x -0.25 = 0.375");
    float peak = 0;
    Aud::MixRender::PeakScan(mix.data(), frames / 4, &peak);
    check(peak == 0.375f, "peak scan");

    Aud::Filter::Biquad low(Aud::Filter::Biquad::kLowPass, 12000, 48000,
                            {Aud::Filter::Biquad::ShapeDescriptor::kQ, 0.7071f}, 0.0, true);
    check(std::fabs(low.getResponseMagnitudeAtFrequency(0.5f) - 0.7071f) < 1e-3, "low pass at its corner: -3 dB");

    AudioInterleaver writer(2, 1, Aud::keAudioDataTypePCM);
    std::vector<unsigned char> plane(frames * 3);
    Aud::SampleConvert::fromFloat(2, mix.data(), frames, plane.data());
    writer.writeSamplesPlanar({plane.data()}, frames);
    const unsigned char* out = writer.getScratch();
    check(writer.getLastError() == AudioInterleaver::kSuccess && out[0] == 0x00 && out[1] == 0x00 && out[2] == 0x30,
          "written back as 24-bit 0x300000");

    std::printf("%s\n", failures ? "consumer: FAILED" : "consumer: all results as expected");
    return failures ? 1 : 0;
}
