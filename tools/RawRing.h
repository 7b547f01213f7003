// A lock-free single-producer, single-consumer queue of chunks of raw sample frames (a
// file's own bytes, interleaved), between a disk thread (the producer) and the audio
// thread (the consumer).
//
// Every slot owns a buffer of chunkFrames frames, allocated at construction; a chunk
// carries the generation of the read it belongs to (a locate starts a new generation,
// and the consumer drops chunks of an older one), the file frame of its first frame,
// its frame count and whether the file ended after it.
// Threads: exactly one producer thread calls beginWrite/commitWrite, exactly one
// consumer thread calls front/pop/size; neither blocks, allocates or throws.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace audtool {

struct RawChunk {
    std::uint64_t generation = 0;
    std::int64_t firstFrame = 0;  // file frame of data[0]
    unsigned frames = 0;          // frames held (may be 0 in an end chunk)
    bool end = false;             // the file has no frames after these
    unsigned char* data = nullptr;
};

class RawRing {
public:
    RawRing(std::size_t slots, unsigned chunkFrames, unsigned frameBytes);
    RawRing(const RawRing&) = delete;
    RawRing& operator=(const RawRing&) = delete;

    std::size_t slots() const { return slots_; }
    unsigned chunkFrames() const { return chunkFrames_; }
    unsigned frameBytes() const { return frameBytes_; }

    // Producer: the next free slot (null when the queue is full); fill it, then commit.
    RawChunk* beginWrite();
    void commitWrite();
    // Producer: free slots now (a lower bound; the consumer may free more meanwhile).
    std::size_t freeSlots() const;

    // Consumer: the oldest chunk (null when empty), the i-th after it, its count, and pop.
    RawChunk* front() { return at(0); }
    RawChunk* at(std::size_t i);
    std::size_t size() const;
    void pop();

private:
    std::size_t slots_;
    unsigned chunkFrames_;
    unsigned frameBytes_;
    std::unique_ptr<RawChunk[]> chunks_;
    std::unique_ptr<unsigned char[]> bytes_;
    alignas(64) std::atomic<std::size_t> head_{0};  // next slot to write (producer's)
    alignas(64) std::atomic<std::size_t> tail_{0};  // next slot to read (consumer's)
};

}  // namespace audtool
