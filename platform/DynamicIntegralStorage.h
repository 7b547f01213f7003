// DynamicIntegralStorage<Short, Long>: the variable-width unsigned integers of object
// stream format 1. A value below the escape (the largest Short, 0xFF or 0xFFFF) is
// written as one Short; any other value, the escape itself included, as the escape
// followed by the value as a Long. Reading takes one Short and, when it is the escape,
// the Long that follows. Little-endian, through StreamFile's typed setters and getters.
//
// Instances used by the layer framing: <unsigned char, unsigned short> for layer
// versions (254 takes 1 byte, 255 and 256 take 3) and <unsigned short, unsigned int>
// for layer lengths (65534 takes 2 bytes, 65535 takes 6).
// Threads: stateless; a stream belongs to one thread at a time. No allocation.
// Part of the object streams: platform/Streams.h includes this header after StreamFile and
// PStream, and including this header alone includes all of platform/Streams.h.
#include "platform/Streams.h"

#ifndef AUDATOMS_PLATFORM_DYNAMICINTEGRALSTORAGE_H
#define AUDATOMS_PLATFORM_DYNAMICINTEGRALSTORAGE_H

#include <cstdint>
#include <limits>
#include <type_traits>

namespace platform::detail {
inline void streamPutUnsigned(StreamFile& f, std::uint8_t v) { f.setCookedChar(v); }
inline void streamPutUnsigned(StreamFile& f, std::uint16_t v) { f.setUnsignedShort(v); }
inline void streamPutUnsigned(StreamFile& f, std::uint32_t v) { f.setUnsignedLong(v); }
inline void streamGetUnsigned(StreamFile& f, std::uint8_t& v) { v = f.getCookedChar(); }
inline void streamGetUnsigned(StreamFile& f, std::uint16_t& v) { v = f.getUnsignedShort(); }
inline void streamGetUnsigned(StreamFile& f, std::uint32_t& v) { v = f.getUnsignedLong(); }
}  // namespace platform::detail

template <class Short, class Long>
class DynamicIntegralStorage {
    static_assert(std::is_unsigned_v<Short> && std::is_unsigned_v<Long> && sizeof(Short) < sizeof(Long),
                  "DynamicIntegralStorage needs a narrower and a wider unsigned type");
    static_assert(sizeof(Long) <= 4, "stream integers are at most 32 bits wide");

public:
    static constexpr Short escape = std::numeric_limits<Short>::max();

    DynamicIntegralStorage() = default;
    explicit DynamicIntegralStorage(Long value) : value_(value) {}

    Long value() const { return value_; }
    // Bytes that write() takes for the held value.
    static constexpr unsigned encodedSize(Long v) {
        return v < Long(escape) ? sizeof(Short) : sizeof(Short) + sizeof(Long);
    }

    void pack(StreamFile& f) const { write(f, value_); }
    void unpack(StreamFile& f) { value_ = read(f); }

    static void write(StreamFile& f, Long v) {
        if (v < Long(escape)) {
            platform::detail::streamPutUnsigned(f, static_cast<Short>(v));
            return;
        }
        platform::detail::streamPutUnsigned(f, escape);
        platform::detail::streamPutUnsigned(f, v);
    }

    // A read past the end of the stream gives 0 and leaves the stream failed.
    static Long read(StreamFile& f) {
        Short s{};
        platform::detail::streamGetUnsigned(f, s);
        if (s != escape) return Long(s);
        Long l{};
        platform::detail::streamGetUnsigned(f, l);
        return l;
    }

private:
    Long value_ = 0;
};

#endif  // AUDATOMS_PLATFORM_DYNAMICINTEGRALSTORAGE_H
