// The real-time player: a session rendered on a JACK server's process callback.
//
// A JACK client with one output port per mixer output ("out_1" ...), optionally
// connected to the server's playback ports. Every process callback renders the next
// period of the session from the transport position with the offline renderer's block
// path (Renderer::renderAt, blocks as long as the server's period, so the samples are
// those `audatoms render` writes), reading the input files through the DiskReader's
// rings. The callback never waits: an input whose ring lacks data plays silence and
// counts an underrun; after a locate the output is silent until every ring holds the
// new place.
//
// Transport (user-interface thread): play, pause, locate (seconds), loop between two
// positions. The transport stops by itself at the session's end unless it loops.
// Edits: the mixer state (Renderer::mixer()) and the automation stores (store()) are
// edited from the user-interface thread while playing, as an editor's UI does; the
// walks notice store edits at each block start and glide to them.
//
// Measured: each callback's wall and thread processor time (CallbackTimer), the
// server's xruns and the inputs' underruns.
// Capture (tests): the rendered frames of each callback, kept in memory allocated
// before the start and written to a file after the stop.
//
// Threads: construction, start, stop, capture writing on the main thread; the
// transport, edits and figures on the user-interface thread (which may be the main
// thread); process() on the server's audio thread: no allocation, no file or terminal
// I/O, no exception, no lock but the automation store's (inside the walk) and the
// monitoring registry's (inside a meter post).
#pragma once

#include "tools/CallbackTimer.h"
#include "tools/DiskReader.h"
#include "tools/RenderJob.h"
#include "tools/Session.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace audtool {

struct PlayerOptions {
    std::string server;  // JACK server name ("": the default)
    std::string clientName = "audatoms";
    bool connect = true;                    // to the playback ports
    std::vector<std::string> connectPorts;  // instead of the playback ports, in order
    bool capture = false;                   // keep what the callbacks render
    DiskReaderOptions disk;
    std::string plant;  // tests: "alloc" or "lock" in every callback
};

class Player {
public:
    // InputError: no server ("no JACK server is running ..."), the session's rate is not
    // the server's, an input file cannot be read; OutputError: the client fails.
    Player(const Session& session, const PlayerOptions& options);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Activates the client and connects the ports; the transport is paused at 0.
    void start();
    // Deactivates the client and stops the disk thread.
    void stop();

    // ---- user-interface thread ----
    void play() { rolling_.store(true); }
    void pause() { rolling_.store(false); }
    bool rolling() const { return rolling_.load(); }
    void locate(double seconds);
    void setLoop(double startSeconds, double endSeconds);  // end <= start: no loop
    // The next frame the callback renders, and whether it has stopped at the end.
    std::int64_t positionFrames() const { return position_.load(std::memory_order_acquire); }
    double positionSeconds() const { return double(positionFrames()) / double(rate_); }
    bool atEnd() const { return atEnd_.load(); }
    bool serverGone() const { return serverGone_.load(); }

    Renderer& renderer() { return *job_.renderer; }
    const Renderer& renderer() const { return *job_.renderer; }
    Aud::SimpleMixState& mixer() { return job_.renderer->mixer(); }
    // Input i's automation store (every input has one; empty: unity gain).
    Aud::DynamicLevelControl::Store& store(unsigned input) { return *stores_.at(input); }
    unsigned numInputs() const { return job_.renderer->numInputs(); }
    unsigned outputs() const { return outputs_; }

    // ---- figures, any thread ----
    unsigned rate() const { return rate_; }
    unsigned period() const { return period_; }
    std::uint64_t xruns() const { return xruns_.load(); }
    std::uint64_t underruns() const { return disk_->underruns(); }
    float serverLoad() const;  // the server's own load figure, percent
    const CallbackTimer& timer() const { return timer_; }
    std::string diskError() const { return disk_->error(); }
    std::int64_t capturedFrames() const { return captured_.load(); }
    // The captured frames as a file of `sampleType` (main thread, after stop()).
    void writeCapture(const std::filesystem::path& path, int sampleType) const;

private:
    static int processEntry(unsigned frames, void* self);
    int process(unsigned frames);
    void render(std::int64_t first, unsigned frames);
    void connectPorts(const PlayerOptions& options);
    void relocate(std::int64_t frame);  // audio thread

    jack_client_t* client_ = nullptr;
    std::vector<jack_port_t*> ports_;
    float* portBuffers_[16] = {};
    unsigned outputs_ = 0;
    unsigned rate_ = 0;
    unsigned period_ = 0;
    std::int64_t totalFrames_ = 0;
    std::unique_ptr<DiskReader> disk_;
    RenderJob job_;
    std::vector<Aud::DynamicLevelControl::Store*> stores_;
    std::vector<std::unique_ptr<Aud::DynamicLevelControl::Store>> extraStores_;
    CallbackTimer timer_;
    bool active_ = false;
    PlayerOptions connectAfterStart_;
    int plant_ = 0;  // 1 alloc, 2 lock

    // Audio thread state.
    std::int64_t pos_ = 0;
    bool seeking_ = true;
    unsigned sinkOffset_ = 0;

    // Between the threads.
    std::atomic<bool> rolling_{false};
    std::atomic<std::int64_t> locateRequest_{-1};
    std::atomic<std::int64_t> loopStart_{0}, loopEnd_{0};
    std::atomic<std::int64_t> position_{0};
    std::atomic<bool> atEnd_{false};
    std::atomic<bool> serverGone_{false};
    std::atomic<std::uint64_t> xruns_{0};

    // Capture: outputs x capacity frames, filled in callback order.
    std::vector<std::vector<float>> capture_;
    std::atomic<std::int64_t> captured_{0};
};

}  // namespace audtool
