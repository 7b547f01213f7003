// The B+tree behind the level store, checked against a plain sorted vector that keeps
// equal times in insertion order (what an ordered multiset does), with the tree's
// structural self-check after every operation.
#include "AudAtoms/automation/Aud__DynamicLevelNodeTree_testing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

using Aud::DynamicLevelControl::NodeTree;
using Aud::DynamicLevelControl::Store;
using Tree = NodeTree<Store::Node>;
using Pos = Tree::Pos;

namespace {

// Values carry a unique id in `level` so that identity and order can be compared.
struct Model {
    std::vector<Store::Node> v;
    std::size_t upper(double t) const {
        return std::upper_bound(v.begin(), v.end(), t, [](double x, const Store::Node& n) { return x < n.time; }) -
               v.begin();
    }
    std::size_t lower(double t) const {
        return std::lower_bound(v.begin(), v.end(), t, [](const Store::Node& n, double x) { return n.time < x; }) -
               v.begin();
    }
};

Pos posAt(const Tree& tree, std::size_t index) {
    Pos p = tree.begin();
    for (std::size_t i = 0; i < index; ++i) p = tree.next(p);
    return p;
}

std::size_t indexOf(const Tree& tree, Pos target) {
    std::size_t i = 0;
    for (Pos p = tree.begin(); p != target; p = tree.next(p)) {
        if (p.isEnd()) return static_cast<std::size_t>(-1);
        ++i;
    }
    return i;
}

void expectSame(const Tree& tree, const Model& m) {
    ASSERT_EQ(tree.verify(), "");
    ASSERT_EQ(tree.size(), m.v.size());
    std::size_t i = 0;
    for (Pos p = tree.begin(); !p.isEnd(); p = tree.next(p), ++i) {
        ASSERT_LT(i, m.v.size());
        ASSERT_EQ(tree.at(p).time, m.v[i].time) << "at " << i;
        ASSERT_EQ(tree.at(p).level, m.v[i].level) << "at " << i;
    }
    ASSERT_EQ(i, m.v.size());
    // Walking backwards from the end meets the same values.
    Pos p = tree.end();
    for (std::size_t j = m.v.size(); j-- > 0;) {
        p = tree.prev(p);
        ASSERT_EQ(tree.at(p).level, m.v[j].level);
    }
}

// One random operation on both tree and model; times drawn from a coarse grid so
// that equal times are common.
void randomStep(Tree& tree, Model& m, std::mt19937& rng, float& nextId, double span) {
    std::uniform_int_distribution<int> op(0, 9);
    std::uniform_real_distribution<double> anyTime(0.0, span);
    auto gridTime = [&] { return std::floor(anyTime(rng) * 4.0) / 4.0; };
    switch (op(rng)) {
    case 0:
    case 1:
    case 2: {  // insert after equal times
        Store::Node n(gridTime(), nextId++);
        Pos p = tree.insert(n);
        std::size_t at = m.upper(n.time);
        m.v.insert(m.v.begin() + at, n);
        ASSERT_EQ(indexOf(tree, p), at);
        break;
    }
    case 3: {  // insert right before a chosen position, at a time that keeps order
        std::size_t at = std::uniform_int_distribution<std::size_t>(0, m.v.size())(rng);
        double lo = at > 0 ? m.v[at - 1].time : -1.0;
        double hi = at < m.v.size() ? m.v[at].time : span + 1.0;
        double t = std::uniform_int_distribution<int>(0, 1)(rng) ? lo : hi;
        if (at == 0 && m.v.empty()) t = 0.5;
        else if (at == 0) t = hi;
        else if (at == m.v.size()) t = lo;
        Store::Node n(t, nextId++);
        Pos p = tree.insertBefore(posAt(tree, at), n);
        m.v.insert(m.v.begin() + at, n);
        ASSERT_EQ(indexOf(tree, p), at);
        break;
    }
    case 4:
    case 5:
    case 6: {  // erase at a random index
        if (m.v.empty()) break;
        std::size_t at = std::uniform_int_distribution<std::size_t>(0, m.v.size() - 1)(rng);
        Pos r = tree.erase(posAt(tree, at));
        m.v.erase(m.v.begin() + at);
        if (at == m.v.size()) {
            ASSERT_TRUE(r.isEnd());
        } else {
            ASSERT_EQ(tree.at(r).level, m.v[at].level);
        }
        break;
    }
    case 7: {  // retime within the neighbours
        if (m.v.empty()) break;
        std::size_t at = std::uniform_int_distribution<std::size_t>(0, m.v.size() - 1)(rng);
        double lo = at > 0 ? m.v[at - 1].time : -2.0;
        double hi = at + 1 < m.v.size() ? m.v[at + 1].time : span + 2.0;
        double t = lo + (hi - lo) * std::uniform_real_distribution<double>(0.0, 1.0)(rng);
        tree.retime(posAt(tree, at), t);
        m.v[at].time = t;
        break;
    }
    case 8: {  // lower bound
        double t = gridTime();
        Pos p = tree.lowerBound(t);
        std::size_t at = m.lower(t);
        if (at == m.v.size()) {
            ASSERT_TRUE(p.isEnd());
        } else {
            ASSERT_EQ(tree.at(p).level, m.v[at].level);
        }
        break;
    }
    default: {  // upper bound
        double t = gridTime();
        Pos p = tree.upperBound(t);
        std::size_t at = m.upper(t);
        if (at == m.v.size()) {
            ASSERT_TRUE(p.isEnd());
        } else {
            ASSERT_EQ(tree.at(p).level, m.v[at].level);
        }
        break;
    }
    }
}

}  // namespace

TEST(DynamicLevelNodeTree, EmptyTree) {
    Tree tree;
    EXPECT_TRUE(tree.empty());
    EXPECT_EQ(tree.size(), 0u);
    EXPECT_TRUE(tree.begin().isEnd());
    EXPECT_TRUE(tree.lowerBound(0.0).isEnd());
    EXPECT_TRUE(tree.upperBound(0.0).isEnd());
    EXPECT_TRUE(tree.prev(tree.end()).isEnd());
    EXPECT_EQ(tree.verify(), "");
}

TEST(DynamicLevelNodeTree, EqualTimesKeepInsertionOrder) {
    Tree tree;
    for (int i = 0; i < 100; ++i) tree.insert(Store::Node(3.0, float(i)));
    float expect = 0.0f;
    for (Pos p = tree.begin(); !p.isEnd(); p = tree.next(p)) EXPECT_EQ(tree.at(p).level, expect++);
    EXPECT_EQ(tree.at(tree.lowerBound(3.0)).level, 0.0f);
    EXPECT_TRUE(tree.upperBound(3.0).isEnd());
    EXPECT_EQ(tree.verify(), "");
}

TEST(DynamicLevelNodeTree, RandomOperationsMatchModel) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        std::mt19937 rng(seed);
        Tree tree;
        Model m;
        float id = 0.0f;
        // Grow to a few thousand values (several inner levels at 32 per node): every
        // other step adds one more value besides the random operation ...
        std::uniform_real_distribution<double> anyTime(0.0, 300.0);
        for (int i = 0; i < 6000; ++i) {
            ASSERT_NO_FATAL_FAILURE(randomStep(tree, m, rng, id, 300.0));
            if (i % 2 == 0) {
                Store::Node n(anyTime(rng), id++);
                tree.insert(n);
                m.v.insert(m.v.begin() + m.upper(n.time), n);
            }
            if (i % 50 == 0) {
                ASSERT_NO_FATAL_FAILURE(expectSame(tree, m));
            }
            ASSERT_EQ(tree.verify(), "") << "seed " << seed << " step " << i;
        }
        ASSERT_NO_FATAL_FAILURE(expectSame(tree, m));
        EXPECT_GE(tree.height(), 2u);
        // ... then shrink to nothing through erases.
        while (!m.v.empty()) {
            std::size_t at = std::uniform_int_distribution<std::size_t>(0, m.v.size() - 1)(rng);
            tree.erase(posAt(tree, at));
            m.v.erase(m.v.begin() + at);
            ASSERT_EQ(tree.verify(), "") << "seed " << seed << " size " << m.v.size();
        }
        EXPECT_TRUE(tree.empty());
        EXPECT_EQ(tree.height(), 0u);
    }
}

TEST(DynamicLevelNodeTree, MixedOperationsAtSteadySize) {
    std::mt19937 rng(99);
    Tree tree;
    Model m;
    float id = 0.0f;
    for (int i = 0; i < 30000; ++i) {
        ASSERT_NO_FATAL_FAILURE(randomStep(tree, m, rng, id, 40.0));
        if (i % 500 == 0) {
            ASSERT_NO_FATAL_FAILURE(expectSame(tree, m));
        }
    }
    ASSERT_NO_FATAL_FAILURE(expectSame(tree, m));
}

TEST(DynamicLevelNodeTree, QueueLikeUseStaysBalanced) {
    // Appending at the end while erasing at the front exercises borrowing and merging
    // on both sides of the tree.
    Tree tree;
    double t = 0.0;
    for (int i = 0; i < 5000; ++i) tree.insert(Store::Node(t++, 0.0f));
    for (int i = 0; i < 20000; ++i) {
        tree.insert(Store::Node(t++, 0.0f));
        tree.erase(tree.begin());
        if (i % 997 == 0) {
            ASSERT_EQ(tree.verify(), "");
        }
    }
    EXPECT_EQ(tree.size(), 5000u);
    EXPECT_EQ(tree.at(tree.begin()).time, 20000.0);
    EXPECT_EQ(tree.verify(), "");
    // Erasing from the back down to one value collapses the tree to a single leaf.
    while (tree.size() > 1) tree.erase(tree.last());
    EXPECT_EQ(tree.height(), 0u);
    EXPECT_EQ(tree.verify(), "");
}

TEST(DynamicLevelNodeTree, HeightIsLogarithmic) {
    Tree tree;
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> d(0.0, 1e6);
    for (int i = 0; i < 200000; ++i) tree.insert(Store::Node(d(rng), 0.0f));
    // Nodes below the root hold at least 8 entries, so 200000 values need at most
    // 1 + log8(200000 / 8) < 6 inner levels.
    EXPECT_LE(tree.height(), 5u);
    EXPECT_EQ(tree.verify(), "");
    // Erase three quarters at random and the tree stays within the same bound.
    for (int i = 0; i < 150000; ++i) {
        Pos p = tree.lowerBound(d(rng));
        tree.erase(p.isEnd() ? tree.begin() : p);
    }
    EXPECT_EQ(tree.size(), 50000u);
    EXPECT_LE(tree.height(), 5u);
    EXPECT_EQ(tree.verify(), "");
}

TEST(DynamicLevelNodeTree, StructureVersionChangesOnlyWithStructure) {
    Tree tree;
    auto v0 = tree.structureVersion();
    Pos p = tree.insert(Store::Node(1.0, 0.0f));
    auto v1 = tree.structureVersion();
    EXPECT_NE(v0, v1);
    tree.at(p).level = 3.0f;
    tree.retime(p, 2.0);
    EXPECT_EQ(tree.structureVersion(), v1);
    tree.erase(p);
    EXPECT_NE(tree.structureVersion(), v1);
}
