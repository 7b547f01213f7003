// Aud::DynamicLevelControl::Store: the level automation of one audio strand.
//
// An ordered multiset of nodes, each a point on the time line with a linear gain
// (1.0 = unity, 0.0 = silence), interpolated linearly in between. Sections are opened
// by a start guard and closed by an end guard whose levels mirror their inner
// neighbours; stretches can be flagged as audio black (silence the edit inserted).
//
// Units: node times are raw time-line positions in the host's time unit (that of
// Qm::CurrentProject::getFrameDuration()). Two times within 1e-6 (strictly) are the
// same point. An end guard's effective time (Node::getTime) is its raw time plus a
// quarter of the project's frame duration; ordering and range searches use raw time,
// matching and interpolation use effective time.
//
// Threads: one re-entrant CriticalSection guards every operation for its whole
// duration (operations call one another under it) and is released on every exit,
// exceptions included. setRangeToBlackSection / setRangeToNonBlackSection are not
// locked as a whole (each step is), and the raw setLevel(const_iterator, float) takes
// no lock. Every change calls setModified(), which makes every reader that used
// acknowledgeModification() see queryModification() == true: readers on other
// threads (the applying iterator) re-find their place after each change.
//
// Iterators are positions into the store. Unlike plain container positions they
// survive edits elsewhere in the store: after any insert or erase an iterator re-finds
// its node by raw time (and rank among nodes of equal time) on its next use. An
// iterator whose node was erased then refers to the node that followed it.
//
// Complexity: lookups and single-node edits O(log n); range operations add O(k) for
// the k nodes they visit; eraseNonGuard(iterator, iterator) sweeps the whole store.
// Memory: edits may allocate; lookups and the modification protocol on a store whose
// reader set has room (it keeps room for the readers it has seen) do not.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/automation/Aud__DynamicLevelClientSet.h"
#include "AudAtoms/automation/Aud__DynamicLevelNodeTree.h"
#include "platform/CriticalSection.h"

#include <cstddef>
#include <cstdint>

namespace Aud {
namespace DynamicLevelControl {

class DynamicLevelApplyingIteratorBase;

class AUDATOMS_EXPORT Store {
public:
    enum eNodeType : std::int32_t {
        kNormal = 0,
        kStartGuard = 1,      // opens a section; its level mirrors the node after it
        kEndGuard = 2,        // closes a section; its level mirrors the node before it
        kMarkedForDelete = 3  // a node that a pending edit will remove
    };

    enum eRangeState : int {
        kRangeSilent = 1,    // constantly 0.0
        kRangeUnity = 2,     // constantly 1.0
        kRangeConstant = 3,  // constant at another value (or NaN)
        kRangeVarying = 4
    };

    // One automation point; ordered by raw time only (equal times are equivalent).
    struct Node {
        double time;  // raw time-line position
        float level;  // linear gain
        eNodeType type;
        bool inAudioBlack;

        Node() : time(-1.0), level(-1.0f), type(kNormal), inAudioBlack(false) {}
        explicit Node(double t) : time(t), level(-1.0f), type(kNormal), inAudioBlack(false) {}
        Node(double t, float l) : time(t), level(l), type(kNormal), inAudioBlack(false) {}
        Node(double t, float l, eNodeType ty, bool black) : time(t), level(l), type(ty), inAudioBlack(black) {}

        // Effective time: the raw time, or for an end guard the raw time plus a quarter
        // of the current project's frame duration.
        double getTime() const;
        bool operator<(const Node& other) const { return time < other.time; }
    };

    // One reader of the modification protocol: (client, cookie), ordered by client
    // then cookie, both as unsigned addresses.
    struct ModificationClientRec {
        void* client = nullptr;
        void* cookie = nullptr;
        ModificationClientRec() = default;
        ModificationClientRec(void* cl, void* co) : client(cl), cookie(co) {}
        bool operator<(const ModificationClientRec& o) const;
        bool operator==(const ModificationClientRec& o) const { return client == o.client && cookie == o.cookie; }
    };

    using NodeSet = NodeTree<Node>;
    using NodePos = NodeSet::Pos;

    class iterator {
    public:
        iterator() = default;  // not valid: getters give a default Node, setters do nothing

        iterator& operator++();
        iterator& operator--();
        iterator operator++(int);
        iterator operator--(int);
        bool operator==(const iterator& o) const;
        bool operator!=(const iterator& o) const { return !(*this == o); }

        const Node& getNode() const;
        const Node& operator*() const { return getNode(); }
        const Node* operator->() const { return &getNode(); }
        float getLevel() const { return getNode().level; }
        double getTime() const { return getNode().getTime(); }
        double getRawTime() const { return getNode().time; }
        eNodeType getNodeType() const { return getNode().type; }
        bool isInAudioBlack() const { return getNode().inAudioBlack; }
        bool isStartGuard() const { return getNodeType() == kStartGuard; }
        bool isEndGuard() const { return getNodeType() == kEndGuard; }
        bool isGuardNode() const { return isStartGuard() || isEndGuard(); }
        bool isMarkedForDelete() const { return getNodeType() == kMarkedForDelete; }

        // Locked; setLevel adjusts the neighbouring guards, the others do not.
        void setLevel(float level);
        void setTime(double t);
        void setNodeType(eNodeType type);
        void setInAudioBlackSection(bool black);

        bool isValid() const { return valid_ != 0 && store_ != nullptr; }
        bool isEnd() const;

    private:
        friend class Store;
        iterator(const Store* store, NodePos pos);
        NodePos pos() const;  // the current position (re-found after structural edits)
        Node* nodeForEdit(NodePos* where) const;
        void remember(NodePos pos) const;

        std::int32_t valid_ = 0;
        Store* store_ = nullptr;
        mutable NodePos pos_{};
        mutable std::uint64_t version_ = 0;
        mutable double time_ = 0.0;       // raw time of the node, for re-finding it
        mutable std::uint32_t rank_ = 0;  // nodes of the same raw time before it
    };
    using const_iterator = iterator;

    Store();
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // ---- lookup (locked) ----
    iterator begin() const;
    iterator end() const;
    std::size_t size() const;
    bool empty() const;
    iterator find(double t) const;  // first node whose raw time is not less than t
    float getLevelAtTime(double t) const;
    bool isInAudioBlackAtTime(double t) const;
    eRangeState getRangeState(double t1, double t2, float* level) const;
    // The iterator for a walk's position (DynamicLevelApplyingIteratorState::nodeIter_),
    // meaningful while the store has not changed since the walk last looked at it.
    iterator iteratorAt(NodePos pos) const;

    // ---- change with guard adjustment (locked) ----
    iterator insert(const Node& node);
    iterator insert(iterator hint, const Node& node);
    iterator erase(iterator it);
    iterator erase(double t1, double t2);
    iterator erase(iterator first, iterator last);
    void eraseNonGuard(double t1, double t2);
    void eraseNonGuard(iterator first, iterator last);
    void insertRange(iterator first, iterator last);

    // ---- change without adjustment (locked) ----
    iterator insert_noAdjust(const Node& node);
    iterator insert_noAdjust(iterator hint, const Node& node);
    iterator erase_noAdjust(iterator it);
    iterator erase_noAdjust(double t1, double t2);
    void clear();

    // ---- audio-black sections (each step locked, not the whole) ----
    void setRangeToBlackSection(double t1, double t2);
    void setRangeToNonBlackSection(double t1, double t2);

    // Raw level write: no lock, no modification notice, no adjustment. For use inside
    // an operation that already holds the lock.
    void setLevel(const_iterator it, float level);

    // ---- modification protocol (locked) ----
    void setModified() const;
    bool queryModification(void* client, void* cookie) const;
    void acknowledgeModification(void* client, void* cookie) const;

private:
    friend class iterator;
    friend class DynamicLevelApplyingIteratorBase;

    iterator makeIterator(NodePos pos) const { return iterator(this, pos); }
    bool owns(const iterator& it) const { return it.valid_ != 0 && it.store_ == this; }
    NodePos hintedInsert(NodePos hint, const Node& node);
    NodePos eraseAdjusted(NodePos p);
    NodePos eraseRangeAdjusted(NodePos first, std::size_t count);
    NodePos eraseTimes(double t1, double t2);
    void adjustAfterRangeErase(NodePos r);
    void adjustInserted(NodePos p);
    void adjustAroundCopy(NodePos p);
    void sweepGuards();
    std::size_t distance(NodePos first, NodePos last, bool* reached) const;
    void moveNode(const iterator& it, double t);
    NodePos locate(double time, std::uint32_t rank) const;
    std::uint32_t rankOf(NodePos p) const;

    NodeSet nodeStore_;
    mutable CriticalSection cs_;
    mutable FlatSet<ModificationClientRec> clients_;
};

}  // namespace DynamicLevelControl
}  // namespace Aud
