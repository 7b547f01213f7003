#include "platform/NamedObjects.h"

namespace Qm {
NamedObjectsNamespace& NamedObjectsNamespace::global() {
    static NamedObjectsNamespace* ns = new NamedObjectsNamespace;  // lives until exit
    return *ns;
}
}  // namespace Qm
