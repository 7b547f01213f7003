// Test helpers for the buffer tests: memory holders from byte lists, their bytes back,
// the exact text of an assertion report, and a holder that counts its destruction.
#pragma once

#include "platform/MemHolder.h"
#include "platform/Ptr.h"

#include <cstdint>
#include <string>
#include <vector>

namespace audatoms::test {

using Bytes = std::vector<unsigned char>;

// A ByteBufferImpl holding a copy of `bytes` (capacity and used length = its size).
Qm::Ptr<iMemHolder> memoryOf(const Bytes& bytes);
// The first `count` bytes of a holder (its used length when count is omitted).
Bytes bytesOf(const iMemHolder& memory);
Bytes bytesOf(const iMemHolder& memory, std::size_t count);

// "assertion failed <condition> at <source> line <line>\n"
std::string assertionText(const char* condition, const char* source, int line);
// The same line `times` times.
std::string assertionText(const char* condition, const char* source, int line, unsigned times);

// Little-endian bytes of a value of the given width.
Bytes le16(std::uint16_t v);
Bytes le32(std::uint32_t v);
Bytes le64(std::uint64_t v);
Bytes concat(const std::vector<Bytes>& parts);

// An owned byte array that raises *destroyed when it is destroyed.
class CountingHolder : public iMemHolder {
public:
    CountingHolder(unsigned size, int* destroyed) : data_(size), destroyed_(destroyed) {}
    ~CountingHolder() override { ++*destroyed_; }
    void* getBuffer() const override { return const_cast<unsigned char*>(data_.data()); }
    unsigned getSize() const override { return unsigned(data_.size()); }
    unsigned getUsed() const override { return unsigned(data_.size()); }
    int setUsed(unsigned) override { return 0; }

private:
    Bytes data_;
    int* destroyed_;
};

}  // namespace audatoms::test
