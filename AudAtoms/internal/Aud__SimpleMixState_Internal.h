// Internal to the mixer state's sources: the source position its assertion reports
// name, and the relaxed atomic access used for single values (see the thread rules
// in Aud__SimpleMixState.h). Not part of the public interface.
#pragma once

#include "AudAtoms/internal/AssertionSource.h"

#include <atomic>

namespace Aud::SimpleMixStateInternal {

inline constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__SimpleMixState"};

template <class T>
T loadRelaxed(const T& field) {
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}
template <class T>
void storeRelaxed(T& field, T value) {
    std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}

}  // namespace Aud::SimpleMixStateInternal
