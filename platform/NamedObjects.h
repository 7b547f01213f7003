// Named objects of the host: one process-wide object per (type, name), created on
// first lookup by a factory and kept until process exit.
// Threads: findOrCreate is thread-safe; the factory runs under the namespace's lock.
// setAvailable(false) makes the service hand out nothing (null), as a host without
// the service would; for tests of that path.
#pragma once

#include "platform/AudPlatformExport.h"

#include "platform/LightweightString.h"

#include <atomic>
#include <map>
#include <mutex>
#include <typeindex>
#include <utility>

namespace Qm {

namespace TypeManip {
template <class T>
struct TemplatedNew {
    static T* new_() { return new T(); }
};
}  // namespace TypeManip

class AUDPLATFORM_EXPORT NamedObjectsNamespace {
public:
    static NamedObjectsNamespace& global();

    template <class T>
    T* findOrCreate(const LightweightString<char>& name, T* (*factory)() = &TypeManip::TemplatedNew<T>::new_) {
        if (!available_.load()) return nullptr;
        std::lock_guard<std::mutex> g(m_);
        auto key = std::make_pair(std::type_index(typeid(T)), name.toStd());
        auto it = objects_.find(key);
        if (it != objects_.end()) return static_cast<T*>(it->second);
        T* made = factory ? factory() : nullptr;
        if (made) objects_.emplace(std::move(key), made);
        return made;
    }

    void setAvailable(bool available) { available_.store(available); }
    bool available() const { return available_.load(); }

private:
    std::mutex m_;
    std::map<std::pair<std::type_index, std::string>, void*> objects_;
    std::atomic<bool> available_{true};
};

}  // namespace Qm
