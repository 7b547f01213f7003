#include "AudAtoms/buffers/Aud__StreamBuffer.h"

#include <utility>

MemRef::MemRef(Qm::Ptr<iMemHolder> target, unsigned offset, unsigned size)
    : target_(std::move(target)), offset_(offset), size_(size) {}

MemRef::~MemRef() {
    target_.reset();
    offset_ = 0;
}

void* MemRef::getBuffer() const {
    if (!target_) return nullptr;
    unsigned char* base = static_cast<unsigned char*>(target_->getBuffer());
    return base ? base + offset_ : nullptr;
}
