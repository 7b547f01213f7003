// Test access to the level store's node tree. The library instantiates NodeTree once,
// for Store::Node, and keeps that instantiation hidden (it is not part of the exported
// interface); tests that drive the tree directly link the static testing library
// (AudAtoms::Testing), which carries it. Not installed.
#pragma once

#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

namespace Aud::DynamicLevelControl {

extern template class NodeTree<Store::Node>;

}  // namespace Aud::DynamicLevelControl
