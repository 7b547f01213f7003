// Shared byte memory of the host: iMemHolder is the interface of a reference-counted
// byte range (held through Qm::Ptr<iMemHolder>); ByteBufferImpl owns a heap array.
// Sizes are in bytes. Qm::Memset fills a byte count with one byte value.
// Threads: the count is atomic; the bytes belong to one thread at a time.
#pragma once

#include "platform/AudPlatformExport.h"

#include "platform/Ptr.h"

#include <memory>

class AUDPLATFORM_EXPORT iMemHolder : public iObject {
public:
    ~iMemHolder() override = default;
    virtual void* getBuffer() const = 0;      // first byte
    virtual unsigned getSize() const = 0;     // capacity in bytes
    virtual unsigned getUsed() const = 0;     // bytes in use
    virtual int setUsed(unsigned bytes) = 0;  // 0 on success
};

class AUDPLATFORM_EXPORT ByteBufferImpl : public iMemHolder {
public:
    ByteBufferImpl() = default;
    explicit ByteBufferImpl(unsigned bytes) { alloc(bytes); }

    // Allocates a zero-filled array of the given size (releasing any earlier one);
    // capacity and used length become that size. Returns false if out of memory.
    bool alloc(unsigned bytes);

    void* getBuffer() const override { return data_.get(); }
    unsigned getSize() const override { return size_; }
    unsigned getUsed() const override { return used_; }
    // Fails (returns 1, nothing changed) when asked for more than the capacity.
    int setUsed(unsigned bytes) override;

private:
    std::unique_ptr<unsigned char[]> data_;
    unsigned size_ = 0;
    unsigned used_ = 0;
};

namespace Qm {
AUDPLATFORM_EXPORT void Memset(void* dst, unsigned char value, unsigned int bytes);
}
