// Doubly linked pointer list: node bookkeeping only, targets are borrowed.
#include "util/PointerList.h"

#include <utility>

PointerListItr::PointerListItr(const PointerList& list) : mNodePtr(list.mHead) {}

void* PointerListItr::Next() {
    if (mNodePtr)
        mNodePtr = mNodePtr->mNext;
    return Current();
}

void* PointerListItr::Prev() {
    if (mNodePtr)
        mNodePtr = mNodePtr->mPrev;
    return Current();
}

void PointerListItr::Reset(const PointerList& list) { mNodePtr = list.mHead; }

PointerList::PointerList(const PointerList& other) {
    for (PNode* n = other.mHead; n; n = n->mNext)
        Append(n->mData);
}

PointerList& PointerList::operator=(const PointerList& other) {
    if (this != &other) {
        PointerList copy(other);
        *this = std::move(copy);
    }
    return *this;
}

PointerList::PointerList(PointerList&& other) noexcept
    : mSize(std::exchange(other.mSize, 0)),
      mHead(std::exchange(other.mHead, nullptr)),
      mTail(std::exchange(other.mTail, nullptr)) {}

PointerList& PointerList::operator=(PointerList&& other) noexcept {
    if (this != &other) {
        Clear();
        mSize = std::exchange(other.mSize, 0);
        mHead = std::exchange(other.mHead, nullptr);
        mTail = std::exchange(other.mTail, nullptr);
    }
    return *this;
}

PointerList::~PointerList() { Clear(); }

void PointerList::Append(void* data) {
    auto* node = new PNode{data, mTail, nullptr};
    (mTail ? mTail->mNext : mHead) = node;
    mTail = node;
    ++mSize;
}

void PointerList::Prepend(void* data) {
    auto* node = new PNode{data, nullptr, mHead};
    (mHead ? mHead->mPrev : mTail) = node;
    mHead = node;
    ++mSize;
}

void PointerList::Remove(PointerListItr& itr) {
    PNode* node = itr.mNodePtr;
    if (!node)
        return;
    itr.mNodePtr = node->mNext;
    (node->mPrev ? node->mPrev->mNext : mHead) = node->mNext;
    (node->mNext ? node->mNext->mPrev : mTail) = node->mPrev;
    delete node;
    --mSize;
}

bool PointerList::Remove(void* data) {
    PointerListItr itr(*this);
    for (; itr.Valid(); itr.Next()) {
        if (itr.Current() == data) {
            Remove(itr);
            return true;
        }
    }
    return false;
}

void PointerList::Clear() {
    PNode* node = mHead;
    while (node) {
        PNode* next = node->mNext;
        delete node;
        node = next;
    }
    mHead = mTail = nullptr;
    mSize = 0;
}

void* PointerList::At(std::size_t index) const {
    PNode* node = mHead;
    for (std::size_t i = 0; node && i < index; ++i)
        node = node->mNext;
    return node ? node->mData : nullptr;
}
