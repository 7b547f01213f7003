// The offline renderer: the library's typical block of playback, run block by block
// over whole inputs.
//
// One block is one video frame of samples: the block lengths cycle through the
// library's samples-per-frame cadence (Aud::Util::getSMPTE_FrameSequence) of the
// session rate at the session frame rate; RenderConfig::blockFrames instead gives
// blocks of a fixed length, as a real-time server's period does. For each block:
//  1. every source is read raw and decoded by the library (BlockDecoder: interleaver
//     split, then float), and its Aud::Monitor posts each channel's peak (input meters);
//     a source at another rate than the render's (or with a speed-change factor) is
//     converted to the render rate on the way (InputConverter, Aud::Resampler);
//  2. every mixer input with level automation has its AutomationApplier walk the store
//     (reacting at the block start to edits made since the last block) and apply the
//     walk's runs by the rule below (MixRender::MultiplyWithRampFrom, or MultiplyConstant
//     for a flat run);
//  3. every input's equaliser filters the result in the input's own work buffer, all
//     inputs at once (EqualiserBank: Biquad::processChannels, exactly what each
//     Equaliser::process would give);
//  4. the mixer state routes it: each input feeds the left and right sides of each mix
//     bus it is routed to (MultiplyConstantAndAdd2) with gain = fader x pan side, and
//     each mix bus side feeds the real outputs it is routed to (MultiplyConstantAndAdd)
//     with the mix fader's gain; muted inputs and mixes, and the others while any
//     input (mix) is soloed, are left out;
//  5. the outputs are scaled by the output gain when it is not 1 (MultiplyConstant),
//     an Aud::Monitor posts each output's peak (output meters), the main mix's
//     Aud::Loudness meter takes outputs 1 and 2 as left and right (all outputs, with the
//     surround roles of ChannelRoles.h, when there are 5 or 6), and the sink gets them.
// An input gain (normalisation, 1.0 unless set) multiplies into the input's fader gain
// in step 4, so a gain of 1.0 leaves every sample as it was.
// Faders are fader positions turned into gains by the mixer-style gain curve
// (GainCurve::MixerStyleLog1::UVal2Mag, 1.0 = unity). Pan p (0 left, 0.5 centre,
// 1 right, clamped to 0..1) gives the left side ConstantPower1::UVal2Mag(min(1, 2(1-p)))
// and the right side ConstantPower1::UVal2Mag(min(1, 2p)): both sides are unity at the
// centre and the side the pan moves away from falls along the constant-power curve.
// Mixer outputs 0 .. outputs-1 are the output channels; the two special slots are not
// rendered.
//
// Steps 2 to 5 are mixBlock(), which takes each input's block as a read-only pointer;
// step 1 only supplies those pointers.
//
// Level automation and block boundaries. Every sample's automation gain depends only on
// its position within its run of the level iterator (from one node, glide start or glide
// end to the next), never on where the blocks fall: the sample at index j of a run gets
// start + float(j) * delta (MixRender::RampLevelAt), from the level and delta the walk
// handed out when the run began, however many blocks the run spans (AutomationApplier
// keeps the run's start across blocks and the walk's level_ at the next sample's level
// by the same rule). So a session renders to the same samples, bit for bit, at every
// frame rate and fixed block length; shifted in time together with its automation it
// renders to the same samples shifted; a ramp stays on its straight line (within a
// fraction of a 24-bit step) and ends exactly on the level of the node it reaches; and
// an edit made between blocks glides from the same level, whatever the block lengths,
// when it is made before the same sample. The run's samples go to the input's work
// buffer (see below); the decoder's buffer is only read.
//
// Buffer ownership. Every buffer of the block path has one owner, the one stage that
// writes it; every other stage only reads it, and only within the block it was written
// for. No stage scales, filters or clears a buffer it does not own, in place or
// otherwise:
//  - a source's decoded channels belong to its BlockDecoder (BlockDecoder::channel
//    hands them out read-only). The decoder writes them only when it reads frames and
//    keeps them silent past the frames read, so a buffer it no longer writes (the file
//    has ended) must still hold what it last put there;
//  - each input's work buffer belongs to that input's automation and equaliser stages:
//    automation writes its result there, and an input with an equaliser has its samples
//    there (copied from the decoder's buffer when automation left them in place) and
//    filtered there;
//  - the mix buses and the outputs belong to the mixing stage, which clears and fills
//    them every block; the sink reads the outputs and does not write them.
// So a block's result depends only on the inputs' samples of that block and on the
// stages' own state (filter memories, automation walks), never on what a stage did to
// another's buffer in an earlier block; a future player that shares mixBlock() can
// hand it buffers it keeps and reuses (a cache, a disk reader's ring) and get them back
// unchanged.
//
// The kernels work in whole groups of four samples: a run of n samples is processed as
// ceil(n/4) groups, so up to three samples past the run are written too; the next run
// rewrites them, and every buffer has BlockDecoder::kPadding samples of room past the
// longest block.
//
// run() holds platform::ScopedFlushDenormals (flush-to-zero, denormals-are-zero) for
// its whole duration and restores the previous mode after it.
// Threads: one renderer belongs to one thread; a block hook may edit the automation
// stores between blocks (the walk notices the edit through the store's modification
// protocol).
#pragma once

#include "tools/AudioSource.h"
#include "tools/AutomationApplier.h"
#include "tools/BlockDecoder.h"
#include "tools/Equaliser.h"
#include "tools/EqualiserBank.h"
#include "tools/InputConverter.h"
#include "tools/Meters.h"
#include "tools/Session.h"

#include "AudAtoms/automation/Aud__DynamicLevelControl.h"
#include "AudAtoms/metering/Aud__Loudness.h"
#include "AudAtoms/metering/Aud__Monitor.h"
#include "AudAtoms/mixer/Aud__SimpleMixState.h"
#include "platform/FrameRate.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace audtool {

struct RenderConfig {
    unsigned rate = 48000;  // Hz, a library base rate
    std::int64_t totalFrames = 0;
    Qm::FrameRate frameRate = Qm::FrameRate25;
    unsigned outputs = 2;      // real mixer outputs, 2..16
    unsigned blockFrames = 0;  // 0: one block per video frame; else every block this long
    // Sources at another rate are converted to this one (InputConverter) at this quality;
    // sourceFactors[i] (when given) is source i's speed change (pull-up or pull-down),
    // applied as a factor of the source's own rate.
    Aud::Resampler::eQuality resampling = Aud::Resampler::keQualityBest;
    std::vector<Aud::eFactor> sourceFactors;
};

struct RenderStats {
    std::int64_t frames = 0;
    std::int64_t blocks = 0;
    double seconds = 0;     // wall time of run()
    double cpuSeconds = 0;  // processor time of the rendering thread
    unsigned rate = 0;      // Hz
    double audioSeconds() const;
    // Audio seconds per second of the rendering thread's processor time: the speed on
    // one core, whatever else the machine runs meanwhile.
    double timesRealTime() const;
    double timesRealTimeWall() const;  // audio seconds per second of wall time
};

class Renderer {
public:
    static constexpr int kMixBuses = kSessionMixSlots;  // the main mix and mixes 0, 1, 2

    using Sink = std::function<void(const float* const* outputs, unsigned frames)>;
    using BlockHook = std::function<void(std::int64_t firstFrame)>;
    using Progress = std::function<void(double fraction)>;

    // InputError when a source's rate (times its factor) cannot be converted to the
    // render rate (not a rate the library expresses, or beyond 8:1), the sources have
    // more channels than the mixer has inputs, the rate has no video-frame cadence
    // at the frame rate, or a fixed block length is above 2^20.
    Renderer(const RenderConfig& config, std::vector<std::unique_ptr<AudioSource>> sources);
    ~Renderer();

    const RenderConfig& config() const { return config_; }
    unsigned numInputs() const { return static_cast<unsigned>(channels_.size()); }
    unsigned maxBlock() const { return maxBlock_; }
    // The samples-per-frame cadence at the frame rate (whatever the block lengths).
    const std::vector<std::uint32_t>& cadence() const { return cadence_; }

    // The mixer state, 32 inputs, 4 mixes and outputs + 2 output slots, in its default
    // configuration until changed.
    Aud::SimpleMixState& mixer() { return mixer_; }
    // Level automation of a mixer input (the store must outlive the renderer; null: none).
    void setAutomation(unsigned input, const Aud::DynamicLevelControl::Store* store);
    const Aud::DynamicLevelControl::Store* automation(unsigned input) const { return channels_.at(input).store; }
    void setEqualiser(unsigned input, Equaliser eq);
    // A linear gain on a mixer input (1.0: none) and on every output (1.0: none).
    void setInputGain(unsigned input, float gain) { channels_[input].gain = gain; }
    void setOutputGain(float gain) { outputGain_ = gain; }
    const Equaliser& equaliser(unsigned input) const { return channels_[input].eq; }

    void setSink(Sink sink) { sink_ = std::move(sink); }
    void setBlockHook(BlockHook hook) { hook_ = std::move(hook); }
    void setProgress(Progress progress) { progress_ = std::move(progress); }

    RenderStats run();

    // Block by block, for a real-time player: prepare() once (allocates; after the
    // equalisers and automation are set), then from one thread locate() at every start
    // and seek, and renderAt() for each block (frames <= maxBlock()). These two neither
    // allocate nor throw; they take only the store's lock inside the automation walk and
    // the monitoring registry's lock inside the monitors' posts. The caller holds the
    // flush-denormals mode (platform::ScopedFlushDenormals) around renderAt(), as run()
    // does, for the same samples.
    void prepare();
    // Places every automation walk at `frame` (a new reader of its store, playing forwards).
    void locate(std::int64_t frame);
    // Reads, decodes and mixes one block whose first sample is `firstFrame`; the sink
    // gets the outputs.
    void renderAt(std::int64_t firstFrame, unsigned frames);

    const MeterSet& inputMeters() const { return inputMeters_; }
    const MeterSet& outputMeters() const { return outputMeters_; }
    // Loudness of the rendered outputs (the mix file's channels) so far.
    const Aud::Loudness& mixLoudness() const { return *mixLoudness_; }

private:
    struct Source;
    struct Channel {
        Source* source = nullptr;
        unsigned sourceChannel = 0;
        const Aud::DynamicLevelControl::Store* store = nullptr;
        AutomationApplier automation;  // the store's walk and the run it is in
        Equaliser eq;
        float gain = 1.0f;        // normalisation gain, linear
        std::vector<float> work;  // this input's own buffer: automation's and the equaliser's output
    };

    void renderBlock(std::int64_t firstFrame, unsigned frames);
    // Steps 2 to 5 for one block: inputs[i] holds input i's frames (and the kernels' room
    // past them), read only.
    void mixBlock(const float* const* inputs, unsigned frames, double blockTime);
    float* output(unsigned k);

    RenderConfig config_;
    std::vector<std::uint32_t> cadence_;
    std::vector<std::uint32_t> blocks_;  // the block lengths run() cycles through
    unsigned maxBlock_ = 0;
    std::vector<std::unique_ptr<Source>> sources_;
    std::vector<Channel> channels_;
    EqualiserBank equalisers_;             // the channels' equalisers, built by run()
    std::vector<const float*> inputData_;  // per block: each input's decoded samples (the decoder's)
    std::vector<const float*> mixData_;    // per block: each input's samples as the mix reads them
    std::vector<float*> workData_;         // each input's work buffer, what the equalisers filter
    Aud::SimpleMixState mixer_;
    std::vector<std::vector<float>> buses_;  // [mix slot * 2 + side]
    Aud::StreamBufferList outputs_;
    Aud::Monitor outputMonitor_;
    MeterSet inputMeters_;
    MeterSet outputMeters_;
    std::unique_ptr<Aud::Loudness> mixLoudness_;
    float outputGain_ = 1.0f;
    Sink sink_;
    BlockHook hook_;
    Progress progress_;
};

}  // namespace audtool
