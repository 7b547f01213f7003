#include "tools/Renderer.h"

#include "tools/ChannelRoles.h"

#include "tools/Rates.h"
#include "tools/RealtimeProbe.h"
#include "tools/ToolError.h"

#include "AudAtoms/kernels/Aud__GainCurve.h"
#include "AudAtoms/kernels/Aud__MixRender.h"
#include "AudAtoms/core/Aud__Util_Timing.h"
#include "platform/FloatingPointMode.h"
#include "platform/HostTypes.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace audtool {

namespace MR = Aud::MixRender;

struct Renderer::Source {
    std::unique_ptr<AudioSource> source;
    BlockDecoder decoder;
    std::unique_ptr<InputConverter> converter;  // null: the source is at the render rate
    Aud::Monitor monitor;
    Source(std::unique_ptr<AudioSource> s, unsigned maxFrames) : source(std::move(s)), decoder(*source, maxFrames) {}
};

double RenderStats::audioSeconds() const { return rate ? double(frames) / double(rate) : 0.0; }

double RenderStats::timesRealTime() const { return cpuSeconds > 0 ? audioSeconds() / cpuSeconds : 0.0; }

double RenderStats::timesRealTimeWall() const { return seconds > 0 ? audioSeconds() / seconds : 0.0; }

namespace {

unsigned groups(unsigned frames) { return (frames + 3) / 4; }

double threadCpuSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

}  // namespace

Renderer::Renderer(const RenderConfig& config, std::vector<std::unique_ptr<AudioSource>> sources)
    : config_(config), mixer_(EditChanMaxAudio, kMixBuses, int(config.outputs) + 2) {
    if (config.outputs < 2 || config.outputs > 16)
        throw InputError("the mixer renders 2 to 16 outputs, not " + std::to_string(config.outputs));
    const auto rate = libraryRateForHertz(config.rate);
    if (!rate || rate->factor() != Aud::keFactorNone)
        throw InputError("render rate " + std::to_string(config.rate) + " Hz is not a library base rate");
    cadence_ = Aud::Util::getSMPTE_FrameSequence(*rate, config.frameRate);
    if (cadence_.empty())
        throw InputError("the library has no samples-per-frame cadence for " + rateDisplayText(*rate) + " at " +
                         frameRateText(config.frameRate) + " fps");
    if (config.blockFrames > (1u << 20))
        throw InputError("blocks of " + std::to_string(config.blockFrames) +
                         " frames are longer than the renderer's 2^20");
    blocks_ = config.blockFrames ? std::vector<std::uint32_t>{config.blockFrames} : cadence_;
    maxBlock_ = *std::max_element(blocks_.begin(), blocks_.end());
    if (maxBlock_ == 0 || maxBlock_ > (1u << 20))
        throw InputError("the samples-per-frame cadence gives unusable blocks of " + std::to_string(maxBlock_) +
                         " samples");

    const std::size_t room = std::size_t(maxBlock_) + BlockDecoder::kPadding;
    unsigned inputs = 0;
    for (auto& s : sources) {
        const FileFormat& f = s->format();
        const std::size_t index = sources_.size();
        const Aud::eFactor factor =
            index < config.sourceFactors.size() ? config.sourceFactors[index] : Aud::keFactorNone;
        if (inputs + f.channels > unsigned(EditChanMaxAudio))
            throw InputError(s->name() + ": its " + std::to_string(f.channels) +
                             " channels would take the inputs past the mixer's " + std::to_string(EditChanMaxAudio));
        auto src = std::make_unique<Source>(std::move(s), maxBlock_);
        src->converter = makeInputConverter(*src->source, factor, *rate, config.resampling, maxBlock_);
        src->monitor.registerMonitoringPoints(f.channels);
        for (unsigned c = 0; c < f.channels; ++c) {
            Channel ch;
            ch.source = src.get();
            ch.sourceChannel = c;
            ch.work.assign(room, 0.0f);
            channels_.push_back(std::move(ch));
            std::string label = src->source->name();
            if (f.channels > 1) label += " ch " + std::to_string(c + 1) + "/" + std::to_string(f.channels);
            inputMeters_.add(label, src->monitor.getInputMonitoringPointId(c));
        }
        inputs += f.channels;
        sources_.push_back(std::move(src));
    }

    buses_.assign(std::size_t(kMixBuses) * 2, std::vector<float>(room, 0.0f));
    outputs_.sampleType = 0;
    outputs_.numSamples = 0;
    for (unsigned k = 0; k < config.outputs; ++k) {
        Aud::StreamBuffer b(0, unsigned(room), 0);
        b.memory = new ByteBufferImpl(unsigned(room * sizeof(float)));
        b.hasMemory = true;
        outputs_.streamBuffers.push_back(b);
    }
    outputMonitor_.registerMonitoringPoints(config.outputs);
    // The main mix: outputs 1 and 2 (left and right, where it goes by default), or all
    // outputs as a surround layout when there are 5 or 6 of them.
    const unsigned mixChannels = config.outputs == 5 || config.outputs == 6 ? config.outputs : 2;
    mixLoudness_ = std::make_unique<Aud::Loudness>(defaultRoles(mixChannels), double(config.rate));
    for (unsigned k = 0; k < config.outputs; ++k)
        outputMeters_.add("output " + std::to_string(k + 1), outputMonitor_.getInputMonitoringPointId(k));
}

Renderer::~Renderer() = default;

void Renderer::setAutomation(unsigned input, const Aud::DynamicLevelControl::Store* store) {
    channels_.at(input).store = store;
}

void Renderer::setEqualiser(unsigned input, Equaliser eq) { channels_.at(input).eq = std::move(eq); }

float* Renderer::output(unsigned k) { return static_cast<float*>(outputs_.streamBuffers[k].memory->getBuffer()); }

void Renderer::renderBlock(std::int64_t firstFrame, unsigned frames) {
    for (auto& s : sources_) {
        if (s->converter) {
            Source* src = s.get();
            s->converter->produce(*s->source, s->decoder, frames,
                                  [src] { src->monitor.updateMonitoringPoints(src->decoder.buffers()); });
            continue;
        }
        s->decoder.decode(*s->source, frames);
        if (s->decoder.framesRead()) {
            const rtprobe::AllowLocks registryLock;  // a meter post takes the registry's lock
            s->monitor.updateMonitoringPoints(s->decoder.buffers());
        }
    }
    for (unsigned i = 0; i < channels_.size(); ++i) {
        const Source* src = channels_[i].source;
        const unsigned c = channels_[i].sourceChannel;
        inputData_[i] = src->converter ? src->converter->channel(c) : src->decoder.channel(c);
    }
    mixBlock(inputData_.data(), frames, double(firstFrame) / double(config_.rate));
}

void Renderer::mixBlock(const float* const* inputs, unsigned frames, double blockTime) {
    const unsigned g = groups(frames);
    for (auto& bus : buses_) std::fill(bus.begin(), bus.begin() + std::size_t(g) * 4, 0.0f);
    for (unsigned i = 0; i < channels_.size(); ++i) {
        Channel& ch = channels_[i];
        const float* x = inputs[i];
        if (ch.store) {
            ch.automation.noticeEdits(blockTime);
            x = ch.automation.apply(x, ch.work.data(), frames);
        }
        // The equaliser filters in place, so only in this input's own buffer: the input
        // buffer is not ours to change.
        if (!ch.eq.empty() && x != ch.work.data()) {
            std::copy_n(x, std::size_t(g) * 4, ch.work.data());
            x = ch.work.data();
        }
        mixData_[i] = x;
    }
    equalisers_.process(workData_.data(), frames);

    const bool inputSolo = mixer_.anyInputSolo();
    for (unsigned i = 0; i < channels_.size(); ++i) {
        // The kernels only read their source (their signatures predate const).
        float* x = const_cast<float*>(mixData_[i]);
        const int in = int(i);
        if (mixer_.getInputMuteState(in) || (inputSolo && !mixer_.getInputSoloState(in))) continue;
        const float gain = channels_[i].gain * Aud::GainCurve::MixerStyleLog1::UVal2Mag(mixer_.getInputLevel(in));
        const float pan = std::clamp(mixer_.getInputPan(in), 0.0f, 1.0f);
        const float left = gain * Aud::GainCurve::ConstantPower1::UVal2Mag(std::min(1.0f, 2.0f * (1.0f - pan)));
        const float right = gain * Aud::GainCurve::ConstantPower1::UVal2Mag(std::min(1.0f, 2.0f * pan));
        for (int m = -1; m < kMixBuses - 1; ++m)
            if (mixer_.getInputRoutedToMix(in, m))
                MR::MultiplyConstantAndAdd2(x, buses_[std::size_t(m + 1) * 2].data(),
                                            buses_[std::size_t(m + 1) * 2 + 1].data(), g, left, right);
    }

    for (unsigned k = 0; k < config_.outputs; ++k) std::fill(output(k), output(k) + std::size_t(g) * 4, 0.0f);
    const bool mixSolo = mixer_.anyMixSolo();
    for (int m = -1; m < kMixBuses - 1; ++m) {
        if (mixer_.getMixMuteState(m) || (mixSolo && !mixer_.getMixSoloState(m))) continue;
        const float gain = Aud::GainCurve::MixerStyleLog1::UVal2Mag(mixer_.getMixLevel(m));
        for (unsigned k = 0; k < config_.outputs; ++k)
            for (int side = 0; side < 2; ++side)
                if (mixer_.getMixRoutedToOutput(m, int(k), side == 0))
                    MR::MultiplyConstantAndAdd(buses_[std::size_t(m + 1) * 2 + side].data(), output(k), g, gain);
    }

    if (outputGain_ != 1.0f)
        for (unsigned k = 0; k < config_.outputs; ++k) MR::MultiplyConstant(output(k), output(k), g, outputGain_);
    outputs_.numSamples = frames;
    {
        const rtprobe::AllowLocks registryLock;
        outputMonitor_.updateMonitoringPoints(outputs_);
    }
    const float* outs[16];
    for (unsigned k = 0; k < config_.outputs; ++k) outs[k] = output(k);
    mixLoudness_->process(outs, frames);
    if (sink_) sink_(outs, frames);
}

void Renderer::prepare() {
    std::vector<Equaliser*> equalisers;
    for (Channel& ch : channels_) equalisers.push_back(ch.eq.empty() ? nullptr : &ch.eq);
    equalisers_ = EqualiserBank(equalisers);
    inputData_.assign(channels_.size(), nullptr);
    mixData_.assign(channels_.size(), nullptr);
    workData_.clear();
    for (Channel& ch : channels_) workData_.push_back(ch.work.data());
}

void Renderer::locate(std::int64_t frame) {
    for (Channel& ch : channels_)
        ch.automation.configure(ch.store, double(config_.rate), double(frame) / double(config_.rate),
                                AutomationApplier::Direction::kForwards);
}

void Renderer::renderAt(std::int64_t firstFrame, unsigned frames) {
    renderBlock(firstFrame, std::min(frames, maxBlock_));
}

RenderStats Renderer::run() {
    RenderStats stats;
    stats.rate = config_.rate;
    prepare();
    platform::ScopedFlushDenormals flushDenormals;
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = threadCpuSeconds();
    locate(0);
    std::int64_t frame = 0;
    std::size_t k = 0;
    while (frame < config_.totalFrames) {
        const unsigned n = unsigned(std::min<std::int64_t>(blocks_[k], config_.totalFrames - frame));
        k = (k + 1) % blocks_.size();
        if (hook_) hook_(frame);
        renderBlock(frame, n);
        frame += n;
        ++stats.blocks;
        if (progress_) progress_(double(frame) / double(config_.totalFrames));
    }
    stats.frames = frame;
    stats.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    stats.cpuSeconds = threadCpuSeconds() - cpuStart;
    return stats;
}

}  // namespace audtool
