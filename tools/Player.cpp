#include "tools/Player.h"

#include "tools/AudioFileWriter.h"
#include "tools/RealtimeProbe.h"
#include "tools/Result.h"
#include "tools/ToolError.h"

#include "platform/FloatingPointMode.h"

#include <jack/jack.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace audtool {

namespace {

void silent(const char*) {}

// Tests of the probe: an allocation or an unspecified lock in every callback.
void plantViolation(int what) {
    if (what == 1) {
        void* volatile p = std::malloc(64);
        std::free(p);
    } else if (what == 2) {
        static std::mutex planted;
        const std::lock_guard<std::mutex> hold(planted);
    }
}

}  // namespace

Player::Player(const Session& session, const PlayerOptions& options) {
    ::jack_set_error_function(silent);
    ::jack_set_info_function(silent);
    jack_status_t status{};
    const auto openOptions =
        static_cast<jack_options_t>(JackNoStartServer | (options.server.empty() ? 0 : JackServerName));
    // A busy server may fail the handshake (a communication error): tried three times.
    for (int attempt = 0; attempt < 3 && !client_; ++attempt) {
        if (attempt) std::this_thread::sleep_for(std::chrono::milliseconds(200));
        client_ = options.server.empty()
                      ? ::jack_client_open(options.clientName.c_str(), openOptions, &status)
                      : ::jack_client_open(options.clientName.c_str(), openOptions, &status, options.server.c_str());
        if (!client_ && !(status & JackServerError)) break;
    }
    if (!client_) {
        if (status & JackServerFailed)
            throw InputError("no JACK server is running" +
                             (options.server.empty() ? std::string() : " under the name '" + options.server + "'") +
                             " (start one, e.g. jackd -d dummy, or PipeWire's JACK layer)");
        throw OutputError("the JACK server refused the client (status 0x" + formatText("%x", unsigned(status)) + ")");
    }
    try {
        rate_ = ::jack_get_sample_rate(client_);
        period_ = ::jack_get_buffer_size(client_);
        if (rate_ != session.rate)
            throw InputError(session.name + ": the session's rate " + std::to_string(session.rate) +
                             " Hz differs from the JACK server's " + std::to_string(rate_) +
                             " Hz (the player does not resample; run the server at the session's rate)");
        std::vector<std::unique_ptr<AudioSource>> files;
        for (const SessionFile& f : session.files) {
            try {
                files.push_back(std::make_unique<SndfileSource>(f.path));
            } catch (const InputError& e) {
                throw InputError(session.name + ":" + std::to_string(f.line) + ": " + e.what());
            }
        }
        disk_ = std::make_unique<DiskReader>(std::move(files), rate_, options.disk);
        job_ = buildRenderJob(session, disk_->takeSources(), period_);
        Renderer& r = *job_.renderer;
        outputs_ = r.config().outputs;
        totalFrames_ = r.config().totalFrames;
        // Every input gets a store, so that the user can write automation on any of them.
        for (unsigned i = 0; i < r.numInputs(); ++i) {
            Aud::DynamicLevelControl::Store* store = nullptr;
            for (auto& s : job_.stores)
                if (s.get() == r.automation(i)) store = s.get();
            if (!store) {
                extraStores_.push_back(std::make_unique<Aud::DynamicLevelControl::Store>());
                store = extraStores_.back().get();
                r.setAutomation(i, store);
            }
            stores_.push_back(store);
        }
        r.prepare();
        r.locate(0);
        timer_.setPeriod(double(period_) / double(rate_));
        if (options.capture) capture_.assign(outputs_, std::vector<float>(std::size_t(totalFrames_), 0.0f));
        r.setSink([this](const float* const* outs, unsigned n) {
            for (unsigned k = 0; k < outputs_; ++k)
                std::memcpy(portBuffers_[k] + sinkOffset_, outs[k], n * sizeof(float));
            if (capture_.empty()) return;
            const std::int64_t at = captured_.load(std::memory_order_relaxed);
            const std::int64_t m = std::min<std::int64_t>(n, totalFrames_ - at);
            for (unsigned k = 0; k < outputs_; ++k)
                std::memcpy(capture_[k].data() + at, outs[k], std::size_t(m) * sizeof(float));
            captured_.store(at + m, std::memory_order_release);
        });
        for (unsigned k = 0; k < outputs_; ++k) {
            const std::string name = "out_" + std::to_string(k + 1);
            jack_port_t* p = ::jack_port_register(client_, name.c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
            if (!p) throw OutputError("the JACK server refused the port " + name);
            ports_.push_back(p);
        }
        ::jack_set_process_callback(client_, &Player::processEntry, this);
        ::jack_set_xrun_callback(
            client_,
            [](void* self) {
                static_cast<Player*>(self)->xruns_.fetch_add(1);
                return 0;
            },
            this);
        ::jack_on_shutdown(
            client_, [](void* self) { static_cast<Player*>(self)->serverGone_.store(true); }, this);
        if (options.plant == "alloc") plant_ = 1;
        else if (options.plant == "lock") plant_ = 2;
        rtprobe::init();
        connectAfterStart_ = options;
    } catch (...) {
        ::jack_client_close(client_);
        client_ = nullptr;
        throw;
    }
}

Player::~Player() {
    stop();
    if (client_) ::jack_client_close(client_);
}

void Player::start() {
    disk_->start(0);
    if (::jack_activate(client_) != 0) throw OutputError("the JACK server would not activate the client");
    active_ = true;
    connectPorts(connectAfterStart_);
}

void Player::stop() {
    if (active_) ::jack_deactivate(client_);
    active_ = false;
    if (disk_) disk_->stop();
}

void Player::connectPorts(const PlayerOptions& options) {
    if (!options.connectPorts.empty()) {
        for (unsigned k = 0; k < outputs_ && k < options.connectPorts.size(); ++k)
            if (::jack_connect(client_, ::jack_port_name(ports_[k]), options.connectPorts[k].c_str()) != 0)
                throw InputError("cannot connect " + std::string(::jack_port_name(ports_[k])) + " to " +
                                 options.connectPorts[k]);
        return;
    }
    if (!options.connect) return;
    const char** playback =
        ::jack_get_ports(client_, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
    if (!playback) return;
    for (unsigned k = 0; k < outputs_ && playback[k]; ++k)
        ::jack_connect(client_, ::jack_port_name(ports_[k]), playback[k]);
    ::jack_free(static_cast<void*>(playback));
}

void Player::locate(double seconds) {
    const auto frame = static_cast<std::int64_t>(std::llround(std::max(0.0, seconds) * rate_));
    locateRequest_.store(std::min(frame, totalFrames_));
}

void Player::setLoop(double startSeconds, double endSeconds) {
    loopStart_.store(static_cast<std::int64_t>(std::llround(std::max(0.0, startSeconds) * rate_)));
    loopEnd_.store(std::min(totalFrames_, static_cast<std::int64_t>(std::llround(std::max(0.0, endSeconds) * rate_))));
}

float Player::serverLoad() const { return client_ ? ::jack_cpu_load(client_) : 0.0f; }

int Player::processEntry(unsigned frames, void* self) { return static_cast<Player*>(self)->process(frames); }

void Player::relocate(std::int64_t frame) {
    pos_ = frame;
    job_.renderer->locate(frame);
    disk_->locate(frame);
    seeking_ = true;
    atEnd_.store(false);
}

int Player::process(unsigned frames) {
    rtprobe::enter();
    const double wall0 = monotonicSeconds();
    const double cpu0 = threadCpuSeconds();
    {
        const platform::ScopedFlushDenormals flushDenormals;
        for (unsigned k = 0; k < outputs_; ++k)
            portBuffers_[k] = static_cast<float*>(::jack_port_get_buffer(ports_[k], frames));
        if (plant_) plantViolation(plant_);
        const std::int64_t request = locateRequest_.exchange(-1);
        if (request >= 0) relocate(request);
        if (seeking_ && disk_->primed()) seeking_ = false;
        unsigned done = 0;
        if (rolling_.load(std::memory_order_relaxed)) {
            const Renderer& r = *job_.renderer;
            while (done < frames && pos_ < totalFrames_ && !seeking_) {
                std::int64_t n = std::min<std::int64_t>({frames - done, totalFrames_ - pos_, r.maxBlock()});
                const std::int64_t loopStart = loopStart_.load(std::memory_order_relaxed);
                const std::int64_t loopEnd = loopEnd_.load(std::memory_order_relaxed);
                const bool looping = loopEnd > loopStart && pos_ < loopEnd;
                if (looping) n = std::min(n, loopEnd - pos_);
                sinkOffset_ = done;
                job_.renderer->renderAt(pos_, unsigned(n));
                pos_ += n;
                done += unsigned(n);
                if (looping && pos_ == loopEnd) relocate(loopStart);
            }
            if (pos_ >= totalFrames_) {
                atEnd_.store(true);
                rolling_.store(false);
            }
        }
        for (unsigned k = 0; k < outputs_; ++k) std::fill(portBuffers_[k] + done, portBuffers_[k] + frames, 0.0f);
        position_.store(pos_, std::memory_order_release);
    }
    timer_.record(monotonicSeconds() - wall0, threadCpuSeconds() - cpu0);
    rtprobe::leave();
    return 0;
}

void Player::writeCapture(const std::filesystem::path& path, int sampleType) const {
    const Renderer& r = *job_.renderer;
    AudioFileWriter writer(path, sampleType, outputs_, rate_, r.maxBlock());
    const std::int64_t total = captured_.load(std::memory_order_acquire);
    std::vector<const float*> outs(outputs_);
    for (std::int64_t at = 0; at < total; at += r.maxBlock()) {
        const auto n = static_cast<unsigned>(std::min<std::int64_t>(r.maxBlock(), total - at));
        for (unsigned k = 0; k < outputs_; ++k) outs[k] = capture_[k].data() + at;
        writer.write(outs.data(), n);
    }
    writer.commit();
}

}  // namespace audtool
