#include "tools/RawRing.h"

namespace audtool {

RawRing::RawRing(std::size_t slots, unsigned chunkFrames, unsigned frameBytes)
    : slots_(slots + 1),  // one slot always stays empty, telling full from empty
      chunkFrames_(chunkFrames), frameBytes_(frameBytes), chunks_(new RawChunk[slots_]),
      bytes_(new unsigned char[slots_ * std::size_t(chunkFrames) * frameBytes]) {
    for (std::size_t i = 0; i < slots_; ++i) chunks_[i].data = bytes_.get() + i * std::size_t(chunkFrames) * frameBytes;
}

RawChunk* RawRing::beginWrite() {
    const std::size_t head = head_.load(std::memory_order_relaxed);
    const std::size_t next = (head + 1) % slots_;
    if (next == tail_.load(std::memory_order_acquire)) return nullptr;
    return &chunks_[head];
}

void RawRing::commitWrite() {
    const std::size_t head = head_.load(std::memory_order_relaxed);
    head_.store((head + 1) % slots_, std::memory_order_release);
}

std::size_t RawRing::freeSlots() const {
    const std::size_t head = head_.load(std::memory_order_relaxed);
    const std::size_t tail = tail_.load(std::memory_order_acquire);
    return slots_ - 1 - (head + slots_ - tail) % slots_;
}

std::size_t RawRing::size() const {
    const std::size_t head = head_.load(std::memory_order_acquire);
    const std::size_t tail = tail_.load(std::memory_order_relaxed);
    return (head + slots_ - tail) % slots_;
}

RawChunk* RawRing::at(std::size_t i) {
    if (i >= size()) return nullptr;
    return &chunks_[(tail_.load(std::memory_order_relaxed) + i) % slots_];
}

void RawRing::pop() {
    const std::size_t tail = tail_.load(std::memory_order_relaxed);
    tail_.store((tail + 1) % slots_, std::memory_order_release);
}

}  // namespace audtool
