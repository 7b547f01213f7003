#include "platform/Ptr.h"

#include <gtest/gtest.h>

#include <utility>

namespace {
struct Base : iObject {
    explicit Base(int* destroyed) : destroyed_(destroyed) {}
    ~Base() override { ++*destroyed_; }
    int* destroyed_;
};
struct Derived : Base {
    Derived(int* destroyed, int* derivedDestroyed) : Base(destroyed), derivedDestroyed_(derivedDestroyed) {}
    ~Derived() override { ++*derivedDestroyed_; }
    int value = 7;
    int* derivedDestroyed_;
};
}  // namespace

TEST(Ptr, CountsFollowCopiesMovesAndResets) {
    int destroyed = 0;
    Base* raw = new Base(&destroyed);
    EXPECT_EQ(raw->refCount(), 0);
    Qm::Ptr<Base> a(raw);
    EXPECT_EQ(raw->refCount(), 1);
    {
        Qm::Ptr<Base> b = a;
        EXPECT_EQ(raw->refCount(), 2);
        Qm::Ptr<Base> c;
        c = b;
        EXPECT_EQ(raw->refCount(), 3);
        Qm::Ptr<Base> d = std::move(c);
        EXPECT_EQ(raw->refCount(), 3) << "a move transfers the reference";
        EXPECT_FALSE(c);
        EXPECT_EQ(c.get(), nullptr);
    }
    EXPECT_EQ(raw->refCount(), 1);
    EXPECT_EQ(destroyed, 0);
    a.reset();
    EXPECT_EQ(destroyed, 1);
    EXPECT_FALSE(a);
}

TEST(Ptr, TheLastReleaseDeletesAndNotBefore) {
    int destroyed = 0;
    Qm::Ptr<Base> first(new Base(&destroyed));
    Qm::Ptr<Base> second = first;
    first.reset();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(second->refCount(), 1);
    second = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST(Ptr, AccessorsAndBoolean) {
    int destroyed = 0, derivedDestroyed = 0;
    Derived* raw = new Derived(&destroyed, &derivedDestroyed);
    const Qm::Ptr<Derived> p(raw);
    EXPECT_EQ(p.get(), raw);
    EXPECT_EQ(p->value, 7);
    EXPECT_EQ((*p).value, 7);
    EXPECT_TRUE(static_cast<bool>(p));
    EXPECT_FALSE(static_cast<bool>(Qm::Ptr<Derived>()));
    EXPECT_TRUE(Qm::Ptr<Derived>() == nullptr);
    EXPECT_TRUE(p == raw);
}

TEST(Ptr, ConvertsToPointerToBaseSharingTheCount) {
    int destroyed = 0, derivedDestroyed = 0;
    Qm::Ptr<Derived> d(new Derived(&destroyed, &derivedDestroyed));
    Qm::Ptr<Base> b = d;
    EXPECT_EQ(d->refCount(), 2);
    EXPECT_TRUE(b == d);
    EXPECT_FALSE(b != d);
    Qm::Ptr<Base> assigned;
    assigned = d;
    EXPECT_EQ(d->refCount(), 3);
    Qm::Ptr<iObject> top = d;
    EXPECT_EQ(d->refCount(), 4);
    d.reset();
    b.reset();
    assigned.reset();
    EXPECT_EQ(destroyed, 0);
    top.reset();
    EXPECT_EQ(derivedDestroyed, 1) << "deleted through the base, with the derived destructor";
    EXPECT_EQ(destroyed, 1);
}

TEST(Ptr, SelfAssignmentAndReassignmentKeepCountsRight) {
    int destroyed1 = 0, destroyed2 = 0;
    Qm::Ptr<Base> p(new Base(&destroyed1));
    Qm::Ptr<Base>& alias = p;
    p = alias;
    EXPECT_EQ(p->refCount(), 1);
    EXPECT_EQ(destroyed1, 0);
    p = new Base(&destroyed2);
    EXPECT_EQ(destroyed1, 1) << "assigning a new object releases the old one";
    EXPECT_EQ(p->refCount(), 1);
    Qm::Ptr<Base> other(new Base(&destroyed1));
    p = std::move(other);
    EXPECT_EQ(destroyed2, 1);
    EXPECT_EQ(p->refCount(), 1);
}

TEST(Ptr, DistinctObjectsCompareUnequal) {
    int destroyed = 0;
    Qm::Ptr<Base> a(new Base(&destroyed)), b(new Base(&destroyed));
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(Qm::Ptr<Base>(a) == a);
}

TEST(Ptr, CopyingARefCountedObjectDoesNotCopyItsCount) {
    Qm::InternalRefCount a;
    a.addRef();
    a.addRef();
    const Qm::InternalRefCount b(a);
    EXPECT_EQ(b.refCount(), 0);
    Qm::InternalRefCount c;
    c = a;
    EXPECT_EQ(c.refCount(), 0);
    EXPECT_EQ(a.release(), 1);
    EXPECT_EQ(a.release(), 0);
}
