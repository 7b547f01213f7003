#include "tools/DiskReader.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <exception>

namespace audtool {

struct DiskReader::Input {
    std::unique_ptr<AudioSource> file;
    RawRing ring;
    std::int64_t next = 0;  // file frame the disk thread reads next
    bool ended = false;     // the end chunk of this generation is written
    bool priming = false;   // just sought: fill whatever is free, not only when half empty
    Input(std::unique_ptr<AudioSource> f, std::size_t slots, unsigned chunkFrames)
        : file(std::move(f)), ring(slots, chunkFrames, file->format().frameBytes()) {}
};

// The audio thread's view of one file: raw frames out of the ring, as a source.
class RingSource final : public AudioSource {
public:
    RingSource(RawRing& ring, const AudioSource& file, DiskReader::Shared& shared)
        : ring_(ring), format_(file.format()), name_(file.name()), shared_(shared) {}

    const FileFormat& format() const override { return format_; }
    const std::string& name() const override { return name_; }

    unsigned readFrames(unsigned char* dst, unsigned frames) override {
        sync();
        if (ended_) return 0;
        if (skip_ > 0) skip_ -= consume(nullptr, skip_);
        if (skip_ > 0 || !enough(frames)) {
            if (!ended_) {
                shared_.underruns.fetch_add(1, std::memory_order_relaxed);
                skip_ += frames;
            }
            return 0;
        }
        return static_cast<unsigned>(consume(dst, frames));
    }

    // Audio thread: the ring holds the current generation's first frames (or its end).
    bool primed() {
        sync();
        const RawChunk* c = ring_.front();
        return ended_ || (c && c->generation == generation_);
    }

private:
    // Follows a locate: chunks of older generations are dropped.
    void sync() {
        const std::uint64_t g = shared_.generation.load(std::memory_order_relaxed);
        if (g != generation_) {
            generation_ = g;
            offset_ = 0;
            skip_ = 0;
            ended_ = false;
        }
        while (const RawChunk* c = ring_.front()) {
            if (c->generation == generation_) break;
            ring_.pop();
            offset_ = 0;
        }
    }

    // Whether `frames` frames (or the file's end before them) are in the ring.
    bool enough(std::int64_t frames) {
        std::int64_t have = -std::int64_t(offset_);
        for (std::size_t i = 0;; ++i) {
            const RawChunk* c = ring_.at(i);
            if (!c || c->generation != generation_) return false;
            have += c->frames;
            if (have >= frames || c->end) return true;
        }
    }

    // Copies (dst) or drops (null) up to n frames of the current generation; returns
    // how many.
    std::int64_t consume(unsigned char* dst, std::int64_t n) {
        const unsigned fb = format_.frameBytes();
        std::int64_t done = 0;
        while (done < n) {
            RawChunk* c = ring_.front();
            if (!c || c->generation != generation_) break;
            const std::int64_t take = std::min<std::int64_t>(n - done, c->frames - offset_);
            if (dst && take > 0)
                std::memcpy(dst + std::size_t(done) * fb, c->data + std::size_t(offset_) * fb, std::size_t(take) * fb);
            done += take;
            offset_ += unsigned(take);
            if (offset_ >= c->frames) {
                const bool end = c->end;
                ring_.pop();
                offset_ = 0;
                if (end) {
                    ended_ = true;
                    break;
                }
            }
        }
        return done;
    }

    RawRing& ring_;
    FileFormat format_;
    std::string name_;
    DiskReader::Shared& shared_;
    std::uint64_t generation_ = 0;
    unsigned offset_ = 0;    // frames of the front chunk already read
    std::int64_t skip_ = 0;  // frames lost to underruns, dropped when they arrive
    bool ended_ = false;
};

DiskReader::DiskReader(std::vector<std::unique_ptr<AudioSource>> files, unsigned rate, const DiskReaderOptions& options)
    : options_(options) {
    const std::size_t slots =
        std::max<std::size_t>(4, std::size_t(std::ceil(options.aheadSeconds * rate / options.chunkFrames)));
    for (auto& f : files) {
        inputs_.push_back(std::make_unique<Input>(std::move(f), slots, options.chunkFrames));
        auto source = std::make_unique<RingSource>(inputs_.back()->ring, *inputs_.back()->file, shared_);
        sources_.push_back(source.get());
        toTake_.push_back(std::move(source));
    }
}

DiskReader::~DiskReader() { stop(); }

std::vector<std::unique_ptr<AudioSource>> DiskReader::takeSources() { return std::move(toTake_); }

void DiskReader::start(std::int64_t frame) {
    shared_.frame.store(frame, std::memory_order_relaxed);
    shared_.generation.store(1, std::memory_order_release);
    shared_.stop.store(false);
    thread_ = std::thread([this] { threadMain(); });
}

void DiskReader::stop() {
    shared_.stop.store(true);
    if (thread_.joinable()) thread_.join();
}

void DiskReader::locate(std::int64_t frame) {
    shared_.frame.store(frame, std::memory_order_relaxed);
    shared_.generation.fetch_add(1, std::memory_order_release);
}

bool DiskReader::primed() {
    bool all = true;
    for (RingSource* s : sources_) all = s->primed() && all;
    return all;
}

std::string DiskReader::error() const {
    std::lock_guard<std::mutex> hold(errorLock_);
    return error_;
}

void DiskReader::threadMain() {
    std::uint64_t generation = 0;
    while (!shared_.stop.load()) {
        const std::uint64_t g = shared_.generation.load(std::memory_order_acquire);
        if (g != generation) {
            generation = g;
            const std::int64_t frame = shared_.frame.load(std::memory_order_relaxed);
            for (auto& in : inputs_) {
                in->file->seek(frame);
                in->next = frame;
                in->ended = false;
                in->priming = true;
            }
        }
        // One chunk per needy file per pass, so that every file fills at the same pace.
        bool wrote = false;
        for (auto& in : inputs_) {
            if (in->ended) continue;
            const std::size_t free = in->ring.freeSlots();
            if (free == 0) {
                in->priming = false;
                continue;
            }
            if (!in->priming && free < (in->ring.slots() - 1) / 2) continue;
            in->priming = true;  // refill to full once half empty
            RawChunk* c = in->ring.beginWrite();
            if (!c) continue;
            unsigned n = 0;
            try {
                n = in->file->readFrames(c->data, in->ring.chunkFrames());
            } catch (const std::exception& e) {
                std::lock_guard<std::mutex> hold(errorLock_);
                if (error_.empty()) error_ = e.what();
                n = 0;
                in->ended = true;
            }
            c->generation = generation;
            c->firstFrame = in->next;
            c->frames = n;
            c->end = in->ended || n < in->ring.chunkFrames();
            in->ring.commitWrite();
            in->next += n;
            in->ended = c->end;
            wrote = true;
            if (options_.delayMsPerChunk)
                std::this_thread::sleep_for(std::chrono::milliseconds(options_.delayMsPerChunk));
            if (shared_.generation.load(std::memory_order_acquire) != generation) break;
        }
        if (!wrote) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

}  // namespace audtool
