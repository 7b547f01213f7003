// Aud::SimpleMixState: its registration with the host's stream-class registry, its
// hierarchy names, its builder, and the "showMixChansDebug" flag, all set up when the
// library is loaded.
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "platform/Config.h"

#include <atomic>

namespace Aud {

namespace {
std::atomic<bool> gShowMixChansDebug{false};
}  // namespace

void SimpleMixState::readDebugConfiguration() {
    gShowMixChansDebug.store(config_int("showMixChansDebug", 0) == 1, std::memory_order_relaxed);
}

bool SimpleMixState::showMixChansDebug() { return gShowMixChansDebug.load(std::memory_order_relaxed); }

LightweightString<char> SimpleMixState::subHierarchyName(bool longForm, bool withOutermost) {
    return STRM_hierarchyNameOf<Streamable, Taggable, SimpleMixState>(longForm, withOutermost);
}

LightweightString<char> SimpleMixState::hierarchyName(bool longForm, bool withOutermost) const {
    return subHierarchyName(longForm, withOutermost);
}

Qm::Ptr<Streamable> STRM_L_SimpleMixState_builder(PStream& s) {
    Qm::Ptr<SimpleMixState> state(new SimpleMixState());
    state->STRM_hierarchyUnpack(s);
    return state;
}

const StreamClassRegistrar
    SimpleMixState::STRM_L_SimpleMixState_registrar_(SimpleMixState::subHierarchyName(true, false),
                                                     SimpleMixState::subHierarchyName(false, false),
                                                     &STRM_L_SimpleMixState_builder);

namespace {
[[maybe_unused]] const bool gDebugConfigurationRead = (SimpleMixState::readDebugConfiguration(), true);
}  // namespace

}  // namespace Aud
