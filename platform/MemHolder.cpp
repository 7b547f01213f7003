#include "platform/MemHolder.h"

#include <cstring>
#include <new>

bool ByteBufferImpl::alloc(unsigned bytes) {
    data_.reset();
    size_ = used_ = 0;
    if (bytes == 0) return true;
    data_.reset(new (std::nothrow) unsigned char[bytes]());
    if (!data_) return false;
    size_ = used_ = bytes;
    return true;
}

int ByteBufferImpl::setUsed(unsigned bytes) {
    if (bytes > size_) return 1;
    used_ = bytes;
    return 0;
}

namespace Qm {
void Memset(void* dst, unsigned char value, unsigned int bytes) {
    if (bytes) std::memset(dst, value, bytes);
}
}  // namespace Qm
