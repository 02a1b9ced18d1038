// Ordered collections of groups and of property pages.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
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

    /// Appends an element the collection takes over. Room is made before
    /// ownership moves: when memory runs out the element is still the
    /// caller's unique_ptr's, and nothing leaks.
    void Add(std::unique_ptr<T> item) {
        if (!item)
            return;
        mItems.push_back(nullptr);
        mItems.back() = item.release();
        Index(mItems.back());
    }
    /// Appends an element owned elsewhere (a scroll pane's listing of the
    /// document's roll-downs).
    void Add(T* item) {
        if (!item)
            return;
        mItems.push_back(item);
        Index(item);
    }
    std::size_t Count() const { return mItems.size(); }
    bool Empty() const { return mItems.empty(); }
    T* First() {
        mCursor = 0;
        return Next();
    }
    T* Next() { return mCursor < mItems.size() ? mItems[mCursor++] : nullptr; }
    /// With `exact` true the name must match; otherwise it may be a part of
    /// it. Either way the first element in collection order is reported; an
    /// exact match is a hash look-up, a partial one a walk.
    T* Find(const char* name, bool exact = true) const {
        if (!name)
            return nullptr;
        if (exact) {
            auto it = mByKeyword.find(std::string_view(name));
            return it == mByKeyword.end() ? nullptr : it->second;
        }
        for (T* item : mItems) {
            if (KeywordMatches(item->Keyword(), name, exact))
                return item;
        }
        return nullptr;
    }
    const std::vector<T*>& All() const { return mItems; }

private:
    void Index(T* item) {
        // The first element added under a keyword is the one Find reports.
        if (const char* keyword = item->Keyword())
            mByKeyword.try_emplace(keyword, item);
    }

    struct KeywordHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };

    bool mOwns;
    std::vector<T*> mItems;
    // Keyword -> the first element added with it. The reader looks a group
    // up for every group line and every control: with a walk, a file of
    // tens of thousands of groups would take seconds.
    std::unordered_map<std::string, T*, KeywordHash, std::equal_to<>> mByKeyword;
    std::size_t mCursor = 0;
};

class PPDXGroups : public PPDXElementCollection<PPDXGroup> {
public:
    using PPDXElementCollection::PPDXElementCollection;
    /// Rebuilds an owning collection from a snapshot: each member becomes a
    /// roll-down, a scroll pane or a plain group by its marker.
    explicit PPDXGroups(Settings& settings);
    /// The count, then every member with the next id from 4001.
    SettingsStatus Save(Settings& settings) const;
};

class PPDXProperties : public PPDXElementCollection<PPDXProperty> {
public:
    using PPDXElementCollection::PPDXElementCollection;
    /// Rebuilds an owning collection of pages from a snapshot.
    explicit PPDXProperties(Settings& settings);
    /// The count, then every member with the next id from 3001.
    SettingsStatus Save(Settings& settings) const;
};
