// The document's constraint table.
#include "PPDX/Constraints/UIConstraints.h"

namespace {

std::string_view OrEmpty(const char* text) {
    return text ? std::string_view(text) : std::string_view();
}

} // namespace

UIConstraints::UIConstraints() = default;
UIConstraints::~UIConstraints() = default;

void UIConstraints::Add(const char* key1, const char* choice1, const char* key2, const char* choice2,
                        bool isRequires) {
    Add(OrEmpty(key1), OrEmpty(choice1), OrEmpty(key2), OrEmpty(choice2), isRequires);
}

void UIConstraints::Add(std::string_view key1, std::string_view choice1, std::string_view key2,
                        std::string_view choice2, bool isRequires) {
    ++(isRequires ? mRequiresDeclared : mExcludesDeclared);
    const std::int64_t k1 = mStrings.Insert(key1);
    const std::int64_t c1 = mStrings.Insert(choice1);
    const std::int64_t k2 = mStrings.Insert(key2);
    const std::int64_t c2 = mStrings.Insert(choice2);
    if (choice1.empty() || choice2.empty()) {
        // A whole-key declaration may come before the controls that list the
        // key's choices; it is expanded once they are all known.
        mDeferred.push_back(Deferred{k1, c1, k2, c2, isRequires});
        return;
    }
    if (isRequires)
        mRequires.insert(k1, c1, k2, c2, kConstraintRequires);
    else
        mConstraints.insert(k1, c1, k2, c2, kConstraintExcludes);
}

void UIConstraints::KVSInsert(const char* key, const char* choice) {
    KVSInsert(mStrings.Insert(OrEmpty(key)), mStrings.Insert(OrEmpty(choice)));
}

void UIConstraints::KVSInsert(std::int64_t keyId, std::int64_t choiceId) {
    mKeys.Insert(keyId, choiceId);
}

void UIConstraints::UpdateKVCache(const char* key, const char* choice) {
    UpdateKVCache(mStrings.Insert(OrEmpty(key)), mStrings.Insert(OrEmpty(choice)));
}

void UIConstraints::UpdateKVCache(std::int64_t keyId, std::int64_t choiceId) {
    // KVCache::Insert with the search done by the index: a negative key is
    // ignored, a known key keeps its place, a new one goes to the back.
    if (keyId < 0)
        return;
    const auto [it, added] = mCurrentIndex.try_emplace(keyId, mCurrent.size());
    if (added)
        mCurrent.add(KVPair{keyId, choiceId});
    else
        mCurrent.SetChoiceAt(it->second, choiceId);
}

void UIConstraints::Resolve() {
    // Every deferred declaration interned the empty string for its missing
    // choice, so without it there is nothing to expand.
    const std::int64_t empty = mStrings.Find("");
    if (empty == CStringSoup::kMissing)
        return;
    // Found, not inserted: a string nobody interned cannot be a choice. Its
    // id can only go from missing to known, which the forests rely on.
    const std::int64_t skipped[] = {mStrings.Find("False"), mStrings.Find("None")};
    auto given = [empty](std::int64_t choice) {
        return choice == empty ? std::nullopt : std::optional<std::int64_t>(choice);
    };
    // The forests keep each declaration as one rule over the choices known
    // now: written out, two popups of a few thousand choices each would be
    // millions of pairs.
    for (const Deferred& d : mDeferred) {
        ConstraintForest& forest = d.isRequires ? mRequires : mConstraints;
        if (d.choice1 != empty)
            forest.insertWholeKey(mKeys, d.key1, d.choice1, d.key2, std::nullopt, skipped);
        else
            forest.insertWholeKey(mKeys, d.key1, std::nullopt, d.key2, given(d.choice2), skipped);
    }
    mDeferred.clear();
    mDeferred.shrink_to_fit();
}

bool UIConstraints::IsKVConstrained(const char* key, const char* choice) {
    if (!key || !choice)
        return false;
    return IsKVConstrained(mStrings.Find(key), mStrings.Find(choice));
}

bool UIConstraints::IsKVConstrained(std::int64_t keyId, std::int64_t choiceId) {
    if (keyId < 0)
        return false; // never interned: nothing can be declared against it
    KVCache delta;
    delta.Insert(keyId, choiceId);
    return !ValidateDelta(delta);
}

bool UIConstraints::ValidateDelta(const KVCache& delta) {
    return !Engine().HasConflict(delta);
}

ConstraintsEngine& UIConstraints::Engine() {
    if (!mSolver)
        mSolver = std::make_unique<ConstraintsEngine>(&mCurrent, &mConstraints, &mKeys);
    return *mSolver;
}
