// Ordered collections of groups and of property pages.
#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "PPDX/PPDObjects/PPDXElement.h"
#include "PPDX/PPDObjects/PPDXGroup.h"
#include "PPDX/PPDObjects/PPDXProperty.h"

/// Insertion-ordered elements with a First/Next cursor. An owning collection
/// deletes its elements; a listing one (a scroll pane's roll-downs) does not.
template <class T>
class PPDXElementCollection {
public:
    explicit PPDXElementCollection(bool owns = true) : mOwns(owns) {}
    ~PPDXElementCollection() {
        if (mOwns)
            for (T* item : mItems)
                delete item;
    }
    PPDXElementCollection(const PPDXElementCollection&) = delete;
    PPDXElementCollection& operator=(const PPDXElementCollection&) = delete;

    void Add(T* item) {
        if (item)
            mItems.push_back(item);
    }
    std::size_t Count() const { return mItems.size(); }
    bool Empty() const { return mItems.empty(); }
    T* First() {
        mCursor = 0;
        return Next();
    }
    T* Next() { return mCursor < mItems.size() ? mItems[mCursor++] : nullptr; }
    /// With `exact` true the name must match; otherwise it may be a part of it.
    T* Find(const char* name, bool exact = true) const {
        if (!name)
            return nullptr;
        for (T* item : mItems) {
            if (KeywordMatches(item->Keyword(), name, exact))
                return item;
        }
        return nullptr;
    }
    const std::vector<T*>& All() const { return mItems; }

private:
    bool mOwns;
    std::vector<T*> mItems;
    std::size_t mCursor = 0;
};

class PPDXGroups : public PPDXElementCollection<PPDXGroup> {
public:
    using PPDXElementCollection::PPDXElementCollection;
};

class PPDXProperties : public PPDXElementCollection<PPDXProperty> {
public:
    using PPDXElementCollection::PPDXElementCollection;
};
