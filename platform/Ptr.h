// Intrusive reference counting of the host: Qm::InternalRefCount holds the count,
// iObject is the base of shared library objects, Qm::Ptr<T> owns one reference.
// The last release deletes the object through its virtual destructor.
// Threads: counts are atomic; one Ptr object is not to be written by two threads at once.
#pragma once

#include "platform/AudPlatformExport.h"

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace Qm {

class AUDPLATFORM_EXPORT InternalRefCount {
public:
    InternalRefCount() = default;
    InternalRefCount(const InternalRefCount&) : refs_(0) {}
    InternalRefCount& operator=(const InternalRefCount&) { return *this; }
    virtual ~InternalRefCount() = default;

    void addRef() const { refs_.fetch_add(1, std::memory_order_relaxed); }
    // Returns the count left after the release; the caller deletes at 0.
    int release() const { return refs_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    int refCount() const { return refs_.load(std::memory_order_acquire); }

private:
    mutable std::atomic<int> refs_{0};
};

}  // namespace Qm

class AUDPLATFORM_EXPORT iObject : public virtual Qm::InternalRefCount {
public:
    ~iObject() override = default;
};

namespace Qm {

template <class T>
class Ptr {
public:
    Ptr() = default;
    Ptr(std::nullptr_t) {}
    Ptr(T* p) : p_(p) {
        if (p_) p_->addRef();
    }
    Ptr(const Ptr& o) : p_(o.p_) {
        if (p_) p_->addRef();
    }
    Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ptr(const Ptr<U>& o) : p_(o.get()) {
        if (p_) p_->addRef();
    }
    ~Ptr() { reset(); }

    // Copy and swap: assigning a pointer to itself takes and drops one reference.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
    Ptr& operator=(const Ptr& o) {
        Ptr(o).swap(*this);
        return *this;
    }
    Ptr& operator=(Ptr&& o) noexcept {
        Ptr(std::move(o)).swap(*this);
        return *this;
    }
    Ptr& operator=(T* p) {
        Ptr(p).swap(*this);
        return *this;
    }

    void reset() {
        T* p = std::exchange(p_, nullptr);
        if (p && p->release() == 0) delete p;
    }
    void swap(Ptr& o) noexcept { std::swap(p_, o.p_); }

    T* get() const { return p_; }
    T* operator->() const { return p_; }
    T& operator*() const { return *p_; }
    explicit operator bool() const { return p_ != nullptr; }

    template <class U>
    bool operator==(const Ptr<U>& o) const {
        return p_ == o.get();
    }
    bool operator==(std::nullptr_t) const { return p_ == nullptr; }
    bool operator==(const T* p) const { return p_ == p; }

private:
    T* p_ = nullptr;
};

}  // namespace Qm
