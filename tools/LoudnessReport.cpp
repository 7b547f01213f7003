#include "tools/LoudnessReport.h"

#include "tools/AudioSource.h"
#include "tools/BlockDecoder.h"
#include "tools/ChannelRoles.h"
#include "tools/Result.h"
#include "tools/ToolError.h"

#include <cmath>

namespace audtool {

namespace {

nlohmann::json number(double v) { return std::isfinite(v) ? nlohmann::json(v) : nlohmann::json(nullptr); }

}  // namespace

LoudnessSummary summarise(const Aud::Loudness& meter) {
    LoudnessSummary s;
    s.integrated = meter.integrated();
    s.range = meter.loudnessRange();
    s.maxMomentary = meter.maxMomentary();
    s.maxShortTerm = meter.maxShortTerm();
    s.truePeak = Aud::Loudness::toDecibels(meter.truePeak());
    s.samplePeak = Aud::Loudness::toDecibels(meter.samplePeak());
    for (unsigned c = 0; c < meter.numChannels(); ++c) {
        s.channelTruePeak.push_back(Aud::Loudness::toDecibels(meter.truePeak(c)));
        s.channelSamplePeak.push_back(Aud::Loudness::toDecibels(meter.samplePeak(c)));
    }
    s.nonFinite = meter.nonFiniteSamples();
    return s;
}

LoudnessSummary measureSource(AudioSource& source, const std::vector<Aud::eChannelRole>& roles,
                              const std::function<void(double)>& progress) {
    const FileFormat& format = source.format();
    Aud::Loudness meter(roles, double(format.rate));
    if (meter.status() != Aud::sSuccess || roles.size() != format.channels)
        throw InputError(source.name() + ": cannot measure the loudness of " + std::to_string(format.channels) +
                         " channels at " + std::to_string(format.rate) + " Hz");
    constexpr unsigned kBlock = 8192;
    BlockDecoder decoder(source, kBlock);
    std::vector<const float*> channels(format.channels);
    std::int64_t done = 0;
    while (decoder.decode(source, kBlock) > 0) {
        for (unsigned c = 0; c < format.channels; ++c) channels[c] = decoder.channel(c);
        meter.process(channels.data(), decoder.framesRead());
        done += decoder.framesRead();
        if (progress && format.frames > 0) progress(double(done) / double(format.frames));
    }
    LoudnessSummary s = summarise(meter);
    s.roles = roles;
    return s;
}

std::string levelText(double value) { return std::isfinite(value) ? formatText("%.2f", value) : "-inf"; }

std::string loudnessText(const LoudnessSummary& s, const std::string& indent, bool perChannel) {
    std::string out;
    out += indent + formatText("integrated loudness  %8s LUFS\n", levelText(s.integrated).c_str());
    out += indent + formatText("loudness range       %8s LU\n", levelText(s.range).c_str());
    out += indent + formatText("max momentary        %8s LUFS\n", levelText(s.maxMomentary).c_str());
    out += indent + formatText("max short-term       %8s LUFS\n", levelText(s.maxShortTerm).c_str());
    out += indent + formatText("true peak            %8s dBTP\n", levelText(s.truePeak).c_str());
    out += indent + formatText("sample peak          %8s dBFS\n", levelText(s.samplePeak).c_str());
    if (perChannel) {
        for (std::size_t c = 0; c < s.channelTruePeak.size(); ++c) {
            const char* role = c < s.roles.size() ? Aud::channelRoleName(s.roles[c]) : "";
            out +=
                indent + formatText("  ch %-2zu %-5s  true peak %8s dBTP  sample peak %8s dBFS\n", c + 1, role,
                                    levelText(s.channelTruePeak[c]).c_str(), levelText(s.channelSamplePeak[c]).c_str());
        }
    }
    if (s.nonFinite) out += indent + formatText("non-finite samples   %llu (skipped)\n", s.nonFinite);
    return out;
}

nlohmann::json loudnessJson(const LoudnessSummary& s, bool perChannel) {
    nlohmann::json j;
    j["integrated_lufs"] = number(s.integrated);
    j["loudness_range_lu"] = number(s.range);
    j["max_momentary_lufs"] = number(s.maxMomentary);
    j["max_short_term_lufs"] = number(s.maxShortTerm);
    j["true_peak_dbtp"] = number(s.truePeak);
    j["sample_peak_dbfs"] = number(s.samplePeak);
    if (perChannel) {
        nlohmann::json a = nlohmann::json::array();
        for (std::size_t c = 0; c < s.channelTruePeak.size(); ++c)
            a.push_back({{"channel", c + 1},
                         {"role", c < s.roles.size() ? Aud::channelRoleName(s.roles[c]) : ""},
                         {"true_peak_dbtp", number(s.channelTruePeak[c])},
                         {"sample_peak_dbfs", number(s.channelSamplePeak[c])}});
        j["channels"] = a;
    }
    j["non_finite_samples"] = s.nonFinite;
    return j;
}

}  // namespace audtool
