#include "platform/StreamClassRegistrar.h"

#include <algorithm>
#include <mutex>

namespace {
struct Registry {
    std::mutex mutex;
    std::vector<const StreamClassRegistrar*> entries;
};
Registry& registry() {
    static Registry* r = new Registry;  // never destroyed: registrars may outlive static destruction order
    return *r;
}
}  // namespace

StreamClassRegistrar::StreamClassRegistrar(const LightweightString<char>& longName,
                                           const LightweightString<char>& shortName, Streamable::BuilderType builderFn)
    : longName_(longName), shortName_(shortName), builder_(builderFn) {
    Registry& r = registry();
    std::lock_guard<std::mutex> g(r.mutex);
    r.entries.push_back(this);
}

StreamClassRegistrar::~StreamClassRegistrar() {
    Registry& r = registry();
    std::lock_guard<std::mutex> g(r.mutex);
    r.entries.erase(std::remove(r.entries.begin(), r.entries.end(), this), r.entries.end());
}

Streamable::BuilderType StreamClassRegistrar::findBuilder(const LightweightString<char>& name) {
    Registry& r = registry();
    std::lock_guard<std::mutex> g(r.mutex);
    for (auto it = r.entries.rbegin(); it != r.entries.rend(); ++it)
        if ((*it)->longName_ == name || (*it)->shortName_ == name) return (*it)->builder_;
    return nullptr;
}

Qm::Ptr<Streamable> StreamClassRegistrar::build(const LightweightString<char>& name, PStream& s) {
    const Streamable::BuilderType b = findBuilder(name);
    return b ? b(s) : Qm::Ptr<Streamable>();
}

std::vector<LightweightString<char>> StreamClassRegistrar::registeredLongNames() {
    Registry& r = registry();
    std::lock_guard<std::mutex> g(r.mutex);
    std::vector<LightweightString<char>> names;
    for (const auto* e : r.entries) names.push_back(e->longName_);
    return names;
}
