// The constraint question shared by the tool's check and the C interface.
#include "PPDX/ChoiceQuestion.h"

namespace {

ChoiceAnswer::Pairs Texts(const KVCache& pairs, const CStringSoup& soup) {
    ChoiceAnswer::Pairs out;
    out.reserve(pairs.size());
    for (const KVPair& p : pairs) {
        const std::string* key = soup.Text(p.first);
        const std::string* choice = soup.Text(p.second);
        out.emplace_back(key ? *key : std::string("?"), choice ? *choice : std::string("?"));
    }
    return out;
}

/// The locks as the solver takes them: (key, -1) bars every change of the
/// key, (key, choice) only the change to that choice.
KVCache LockPairs(const CStringSoup& soup, std::span<const ChoiceLock> locks) {
    KVCache locked;
    for (const ChoiceLock& lock : locks) {
        const bool whole = lock.choice.empty();
        // A choice no constraint names can never be a candidate: it locks
        // nothing (and its missing id would read as "every choice").
        const std::int64_t choiceId = whole ? -1 : soup.Find(lock.choice);
        if (!whole && choiceId == CStringSoup::kMissing)
            continue;
        locked.Insert(soup.Find(lock.keyword), choiceId);
    }
    return locked;
}

/// Lends the solver the locks for one search and takes them back however
/// the search ends, so it never keeps a pointer to them.
class LockScope {
public:
    LockScope(ConstraintsEngine& engine, const KVCache& locked) : mEngine(engine) {
        mEngine.SetLocked(locked.empty() ? nullptr : &locked);
    }
    ~LockScope() {
        mEngine.SetLocked(nullptr);
        mEngine.purge();
    }
    LockScope(const LockScope&) = delete;
    LockScope& operator=(const LockScope&) = delete;

private:
    ConstraintsEngine& mEngine;
};

} // namespace

ChoiceAnswer AskChoice(QJVPPD& doc, const std::string& keyword, const std::string& choice, bool resolve,
                       std::span<const ChoiceLock> locks) {
    ChoiceAnswer answer;
    UIConstraints* table = doc.GetUIConstraints();
    if (!table)
        return answer;
    const CStringSoup& soup = table->GetConstraintStrings();
    answer.constrained = doc.IsKVConstrained(keyword.c_str(), choice.c_str());

    // Conflicts and the search see a print size that follows the page size
    // as that size, like the constrained answer above.
    QJVPPD::PrintSizeStandIn standIn(doc);
    const KVPair followMarker{soup.Find("*QJPrintSize"), soup.Find("SameAsPageSize")};
    KVCache delta;
    delta.Insert(soup.Find(keyword), soup.Find(choice));
    ConstraintsEngine& engine = table->Engine();
    const _KVErrorSet test = engine.Test(&delta);
    KVCache candidates;
    for (const KVPair& c : test.candidates)
        if (!standIn.Active() || c != followMarker)
            candidates.add(c);
    answer.conflicts = Texts(test.conflicts, soup);
    answer.candidates = Texts(candidates, soup);
    if (!resolve)
        return answer;

    answer.searched = true;
    const KVCache locked = LockPairs(soup, locks);
    KVCache proposal = delta;
    _KVErrorSet solved;
    {
        LockScope scope(engine, locked);
        // The asked-for choice stands; only other keys may give way.
        solved = engine.Solve(&proposal, true);
    }
    if (solved.conflicts.empty() && standIn.Active() && proposal.Lookup(followMarker) >= 0) {
        // Going back to following the page size is only a way out if the
        // size it then follows is itself free of conflicts.
        KVCache followed;
        const std::int64_t pageKey = soup.Find("*PageSize");
        const std::int64_t page =
            proposal.HasKey(pageKey) ? proposal.GetItem(pageKey) : soup.Find(standIn.FollowedSize());
        for (const KVPair& p : proposal)
            followed.Insert(p == followMarker ? KVPair{p.first, page} : p);
        solved = engine.Test(&followed);
    }
    if (solved.conflicts.empty()) {
        KVCache changes;
        for (const KVPair& p : proposal)
            if (delta.Lookup(p) < 0)
                changes.add(p);
        answer.resolved = true;
        answer.changes = Texts(changes, soup);
    } else {
        answer.unresolved = Texts(solved.conflicts, soup);
    }
    return answer;
}
