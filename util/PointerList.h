// Doubly linked list of borrowed pointers, with a separate cursor type.
#pragma once

#include <cstddef>

class PointerList;

/// One link of a PointerList. The list owns its nodes, never their targets.
struct PNode {
    void* mData = nullptr;
    PNode* mPrev = nullptr;
    PNode* mNext = nullptr;
};

/// A position in a PointerList. Stays valid until its node is removed.
class PointerListItr {
public:
    PointerListItr() = default;
    explicit PointerListItr(const PointerList& list);

    /// The target at the cursor, or null past either end.
    void* Current() const { return mNodePtr ? mNodePtr->mData : nullptr; }
    bool Valid() const { return mNodePtr != nullptr; }
    /// Moves forward and returns the new target (null past the end).
    void* Next();
    void* Prev();
    void Reset(const PointerList& list);
    void Clear() { mNodePtr = nullptr; }
    PNode* Node() const { return mNodePtr; }

private:
    friend class PointerList;
    PNode* mNodePtr = nullptr;
};

/// Insertion-ordered list of untyped pointers. Copying copies the pointers,
/// not what they point to; destroying the list leaves the targets alone.
class PointerList {
public:
    PointerList() = default;
    PointerList(const PointerList& other);
    PointerList& operator=(const PointerList& other);
    PointerList(PointerList&& other) noexcept;
    PointerList& operator=(PointerList&& other) noexcept;
    ~PointerList();

    void Append(void* data);
    void Prepend(void* data);
    /// Unlinks the node at `itr` and moves `itr` to the following node.
    void Remove(PointerListItr& itr);
    /// Removes the first node holding `data`; returns whether one was found.
    bool Remove(void* data);
    void Clear();

    std::size_t Size() const { return mSize; }
    bool Empty() const { return mSize == 0; }
    void* Head() const { return mHead ? mHead->mData : nullptr; }
    void* Tail() const { return mTail ? mTail->mData : nullptr; }
    /// The target at a 0-based position, or null when out of range.
    void* At(std::size_t index) const;

private:
    friend class PointerListItr;
    std::size_t mSize = 0;
    PNode* mHead = nullptr;
    PNode* mTail = nullptr;
};

/// Typed view over a PointerList for callers that know what it holds.
template <class T>
class TypedPointerList {
public:
    void Append(T* item) { mList.Append(item); }
    void Clear() { mList.Clear(); }
    bool Remove(T* item) { return mList.Remove(item); }
    std::size_t Size() const { return mList.Size(); }
    bool Empty() const { return mList.Empty(); }
    T* At(std::size_t index) const { return static_cast<T*>(mList.At(index)); }
    /// Cursor walk: First restarts, Next advances; both return null at the end.
    T* First() {
        mCursor.Reset(mList);
        return static_cast<T*>(mCursor.Current());
    }
    T* Next() { return static_cast<T*>(mCursor.Next()); }
    const PointerList& List() const { return mList; }

    template <class Fn>
    void ForEach(Fn&& fn) const {
        PointerListItr itr(mList);
        for (void* p = itr.Current(); p; p = itr.Next())
            fn(static_cast<T*>(p));
    }

private:
    PointerList mList;
    PointerListItr mCursor;
};
