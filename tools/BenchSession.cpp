#include "tools/BenchSession.h"

#include "tools/AudioFileWriter.h"
#include "tools/Renderer.h"
#include "tools/Result.h"
#include "tools/Synth.h"
#include "tools/ToolError.h"

#include "AudAtoms/mixer/Aud__SimpleMixState.h"
#include "platform/HostTypes.h"
#include "platform/IniFile.h"

#include <cmath>
#include <fstream>
#include <vector>

namespace audtool {

std::filesystem::path writeBenchSession(const std::filesystem::path& dir, unsigned inputs, double seconds) {
    constexpr unsigned kRate = 48000;
    constexpr unsigned kOutputs = 2 * Renderer::kMixBuses;
    std::filesystem::create_directories(dir);
    const auto frames = static_cast<std::int64_t>(std::llround(seconds * kRate));
    std::string ini = formatText("; The benchmark session: %u inputs, automation and a 3-band equaliser on each,\n"
                                 "; 4 mix buses. Written by audatoms bench --write-session.\n"
                                 "[Session]\nSampleRate=%u\nLength=%.17g\nFrameRate=25\nOutputs=%u\n\n[Inputs]\n",
                                 inputs, kRate, seconds, kOutputs);
    for (unsigned i = 0; i < inputs; ++i) {
        const std::string name = formatText("input_%02u.wav", i);
        std::vector<float> x = sine(kRate, 10.0, 110.0 * (1 + i % 7), 0.2);
        const std::vector<float> n = noiseBursts(kRate, 10.0, 0.5 + 0.05 * i, 0.2, 0.2, 100 + i);
        for (std::size_t k = 0; k < x.size(); ++k) x[k] += n[k];
        AudioFileWriter w(dir / name, 2, 1, kRate, unsigned(x.size()));
        for (std::int64_t at = 0; at < frames; at += std::int64_t(x.size())) {
            const float* ch[1] = {x.data()};
            w.write(ch, unsigned(std::min<std::int64_t>(std::int64_t(x.size()), frames - at)));
        }
        w.commit();
        ini += "File=" + name + "\n";
    }
    Aud::SimpleMixState mixer(EditChanMaxAudio, Renderer::kMixBuses, int(kOutputs) + 2);
    for (unsigned i = 0; i < inputs; ++i) {
        ini += formatText("\n[Automation.%u]\n", i);
        for (double t = 0; t <= seconds + 1; t += 0.5 + 0.01 * i)
            ini += formatText("%.9g=%.9g\n", t, 0.5 + 0.5 * std::sin(t + i));
        ini += formatText("\n[EQ.%u]\nBand=lowshelf:%u:+2\nBand=peaking:%u:q=1.1:-3\nBand=highshelf:%u:+1.5\n", i,
                          80 + 5 * i, 800 + 50 * i, 6000 + 100 * i);
        mixer.setInputPan(int(i), float(i % 5) / 4.0f);
        mixer.setInputRoutedToMix(int(i), int(i % 3), true);
    }
    for (int m = 0; m < Renderer::kMixBuses - 1; ++m) {
        mixer.setMixRoutedToOutput(m, 2 + 2 * m, true, true);
        mixer.setMixRoutedToOutput(m, 3 + 2 * m, false, true);
    }
    QmIniFile mix;
    mixer.storeCompatibleConfigurationInformation(mix);
    ini += "\n" + mix.toText();
    const std::filesystem::path session = dir / "session.ini";
    std::ofstream out(session, std::ios::binary);
    out << ini;
    if (!out.flush()) throw OutputError(session.string() + ": cannot write");
    return session;
}

}  // namespace audtool
