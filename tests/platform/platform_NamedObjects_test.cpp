#include "platform/NamedObjects.h"

#include <gtest/gtest.h>

namespace {
struct Rate {
    int hz = 48000;
};
struct Label {
    double weight = 0.5;
};

int madeByFactory = 0;
Rate* countingFactory() {
    ++madeByFactory;
    return new Rate{44100};
}
Rate* nullFactory() { return nullptr; }

// Restores availability even when a check fails half-way.
struct AvailabilityGuard {
    ~AvailabilityGuard() { Qm::NamedObjectsNamespace::global().setAvailable(true); }
};
}  // namespace

using Qm::NamedObjectsNamespace;

TEST(NamedObjects, GlobalIsOneNamespace) {
    EXPECT_EQ(&NamedObjectsNamespace::global(), &NamedObjectsNamespace::global());
    EXPECT_TRUE(NamedObjectsNamespace::global().available());
}

TEST(NamedObjects, OneObjectPerTypeAndName) {
    auto& ns = NamedObjectsNamespace::global();
    Rate* a = ns.findOrCreate<Rate>(LightweightString<char>("one-per-name"), &Qm::TypeManip::TemplatedNew<Rate>::new_);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->hz, 48000) << "made by the default-constructing factory";
    a->hz = 96000;
    Rate* again = ns.findOrCreate<Rate>(LightweightString<char>("one-per-name"));
    EXPECT_EQ(again, a);
    EXPECT_EQ(again->hz, 96000);
    Rate* other = ns.findOrCreate<Rate>(LightweightString<char>("another-name"));
    EXPECT_NE(other, a);
}

TEST(NamedObjects, DifferentTypesWithOneNameAreDistinct) {
    auto& ns = NamedObjectsNamespace::global();
    Rate* r = ns.findOrCreate<Rate>(LightweightString<char>("shared-name"));
    Label* l = ns.findOrCreate<Label>(LightweightString<char>("shared-name"));
    ASSERT_NE(r, nullptr);
    ASSERT_NE(l, nullptr);
    EXPECT_NE(static_cast<void*>(r), static_cast<void*>(l));
    EXPECT_EQ(r->hz, 48000);
    EXPECT_EQ(l->weight, 0.5);
    EXPECT_EQ(ns.findOrCreate<Label>(LightweightString<char>("shared-name")), l);
}

TEST(NamedObjects, TheFactoryRunsOnlyForTheFirstLookup) {
    auto& ns = NamedObjectsNamespace::global();
    madeByFactory = 0;
    Rate* a = ns.findOrCreate<Rate>(LightweightString<char>("factory-once"), &countingFactory);
    Rate* b = ns.findOrCreate<Rate>(LightweightString<char>("factory-once"), &countingFactory);
    EXPECT_EQ(madeByFactory, 1);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a->hz, 44100);
}

TEST(NamedObjects, AFactoryGivingNothingStoresNothing) {
    auto& ns = NamedObjectsNamespace::global();
    EXPECT_EQ(ns.findOrCreate<Rate>(LightweightString<char>("not-made"), &nullFactory), nullptr);
    Rate* later = ns.findOrCreate<Rate>(LightweightString<char>("not-made"));
    ASSERT_NE(later, nullptr);
    EXPECT_EQ(later->hz, 48000);
}

TEST(NamedObjects, AnUnavailableServiceHandsOutNothing) {
    auto& ns = NamedObjectsNamespace::global();
    AvailabilityGuard restore;
    Rate* existing = ns.findOrCreate<Rate>(LightweightString<char>("availability"));
    ASSERT_NE(existing, nullptr);
    ns.setAvailable(false);
    EXPECT_FALSE(ns.available());
    EXPECT_EQ(ns.findOrCreate<Rate>(LightweightString<char>("availability")), nullptr);
    madeByFactory = 0;
    EXPECT_EQ(ns.findOrCreate<Rate>(LightweightString<char>("never-made"), &countingFactory), nullptr);
    EXPECT_EQ(madeByFactory, 0);
    ns.setAvailable(true);
    EXPECT_EQ(ns.findOrCreate<Rate>(LightweightString<char>("availability")), existing) << "kept meanwhile";
}
