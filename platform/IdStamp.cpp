#include "platform/IdStamp.h"

#include <atomic>

namespace {
std::atomic<std::uint64_t> nextId{1};
}

IdStamp::IdStamp() : value_(nextId.fetch_add(1, std::memory_order_relaxed)) {}
