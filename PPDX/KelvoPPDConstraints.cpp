// The C interface's constraint questions: is a choice constrained, what does
// it conflict with and what would make room for it, and a resolution that
// respects locks. The answers are those kelvo-pde check gives.
#include "PPDX/KelvoPPD.h"

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "PPDX/KelvoPPDHandles.h"

using namespace kelvo::capi;

/// The caller-owned answer: texts copied out of the table's string ids, so
/// it outlives any change of the document.
struct KelvoChoiceReport {
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    std::string keyword; // the tried choice, with its asterisk
    std::string choice;
    bool constrained = false;
    bool resolved = false;
    std::array<Pairs, 4> lists; // indexed by KELVO_PAIRS_*
};

namespace {

constexpr std::size_t kListCount = std::tuple_size_v<decltype(KelvoChoiceReport::lists)>;

/// The status of asking about (keyword, choice): the key must name a control
/// and the choice be one it offers, or a misspelling would read as "free".
int CheckChoice(QJVPPD& doc, const std::string& keyword, const char* choice) {
    PPDXControl* control = doc.GetPPDXControlForKey(keyword);
    if (!control)
        return KELVO_STATUS_UNKNOWN_KEY;
    return OffersChoice(*control, choice) ? KELVO_STATUS_OK : KELVO_STATUS_BAD_VALUE;
}

KelvoChoiceReport::Pairs Texts(const KVCache& pairs, const CStringSoup& soup) {
    KelvoChoiceReport::Pairs out;
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
int ReadLocks(QJVPPD& doc, const CStringSoup& soup, const char* const* locks, std::size_t count, KVCache& out) {
    if (count > 0 && !locks)
        return KELVO_STATUS_INVALID_ARGUMENT;
    for (std::size_t i = 0; i < count; ++i) {
        if (!locks[i])
            return KELVO_STATUS_INVALID_ARGUMENT;
        const std::string text = locks[i];
        const std::size_t eq = text.find('=');
        const bool whole = eq == std::string::npos;
        const std::string key = text.substr(0, whole ? text.size() : eq);
        if (key.empty() || key == "*")
            return KELVO_STATUS_INVALID_ARGUMENT;
        const std::string keyword = WithStar(key.c_str());
        const std::string choice = whole ? std::string() : text.substr(eq + 1);
        const int status = !whole                               ? CheckChoice(doc, keyword, choice.c_str())
                           : doc.GetPPDXControlForKey(keyword) ? KELVO_STATUS_OK
                                                               : KELVO_STATUS_UNKNOWN_KEY;
        if (status != KELVO_STATUS_OK)
            return status;
        // A choice no constraint names can never be a candidate: it locks
        // nothing (and its missing id would read as "every choice").
        const std::int64_t choiceId = whole ? -1 : soup.Find(choice);
        if (!whole && choiceId == CStringSoup::kMissing)
            continue;
        out.Insert(soup.Find(keyword), choiceId);
    }
    return KELVO_STATUS_OK;
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

/// Answers for (keyword, choice); with `resolve`, searches for a resolution
/// under `locks` as well. Null with *status set on failure.
std::unique_ptr<KelvoChoiceReport> Answer(KelvoDocument* handle, const char* keyword, const char* choice,
                                          bool resolve, const char* const* locks, std::size_t lockCount,
                                          int& status) {
    if (!handle || !keyword || !choice) {
        status = KELVO_STATUS_INVALID_ARGUMENT;
        return nullptr;
    }
    QJVPPD& doc = *Doc(handle);
    UIConstraints* table = doc.GetUIConstraints();
    const std::string key = WithStar(keyword);
    status = CheckChoice(doc, key, choice);
    if (status != KELVO_STATUS_OK)
        return nullptr;
    if (!table) {
        status = KELVO_STATUS_INTERNAL;
        return nullptr;
    }
    const CStringSoup& soup = table->GetConstraintStrings();
    KVCache locked;
    if (resolve && (status = ReadLocks(doc, soup, locks, lockCount, locked)) != KELVO_STATUS_OK)
        return nullptr;

    auto report = std::make_unique<KelvoChoiceReport>();
    report->keyword = key;
    report->choice = choice;
    report->constrained = doc.IsKVConstrained(key.c_str(), choice);

    // Conflicts and the search see a print size that follows the page size
    // as that size, like the constrained answer above.
    QJVPPD::PrintSizeStandIn standIn(doc);
    const KVPair followMarker{soup.Find("*QJPrintSize"), soup.Find("SameAsPageSize")};
    KVCache delta;
    delta.Insert(soup.Find(key), soup.Find(choice));
    ConstraintsEngine& engine = table->Engine();
    const _KVErrorSet test = engine.Test(&delta);
    KVCache candidates;
    for (const KVPair& c : test.candidates)
        if (!standIn.Active() || c != followMarker)
            candidates.add(c);
    report->lists[KELVO_PAIRS_CONFLICTS] = Texts(test.conflicts, soup);
    report->lists[KELVO_PAIRS_CANDIDATES] = Texts(candidates, soup);
    if (!resolve)
        return report;

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
        report->resolved = true;
        report->lists[KELVO_PAIRS_CHANGES] = Texts(changes, soup);
    } else {
        report->lists[KELVO_PAIRS_UNRESOLVED] = Texts(solved.conflicts, soup);
    }
    return report;
}

KelvoChoiceReport* Hand(std::unique_ptr<KelvoChoiceReport> report, int status, int* out) {
    if (out)
        *out = status;
    return report.release();
}

} // namespace

extern "C" {

int KelvoIsChoiceConstrained(KelvoDocument* doc, const char* keyword, const char* choice) try {
    if (!doc || !keyword || !choice)
        return KELVO_STATUS_INVALID_ARGUMENT;
    const std::string key = WithStar(keyword);
    const int status = CheckChoice(*Doc(doc), key, choice);
    if (status != KELVO_STATUS_OK)
        return status;
    return B(Doc(doc)->IsKVConstrained(key.c_str(), choice));
} catch (...) { return RecordFailure(); }

KelvoChoiceReport* KelvoTestChoice(KelvoDocument* doc, const char* keyword, const char* choice, int* status) try {
    int result = KELVO_STATUS_OK;
    std::unique_ptr<KelvoChoiceReport> report = Answer(doc, keyword, choice, false, nullptr, 0, result);
    return Hand(std::move(report), result, status);
} catch (...) { return Hand(nullptr, RecordFailure(), status); }

KelvoChoiceReport* KelvoResolveChoice(KelvoDocument* doc, const char* keyword, const char* choice,
                                      const char* const* locks, size_t lockCount, int* status) try {
    int result = KELVO_STATUS_OK;
    std::unique_ptr<KelvoChoiceReport> report = Answer(doc, keyword, choice, true, locks, lockCount, result);
    return Hand(std::move(report), result, status);
} catch (...) { return Hand(nullptr, RecordFailure(), status); }

int KelvoChoiceReportIsConstrained(const KelvoChoiceReport* report) { return report ? B(report->constrained) : 0; }
int KelvoChoiceReportIsResolved(const KelvoChoiceReport* report) { return report ? B(report->resolved) : 0; }

size_t KelvoChoiceReportCount(const KelvoChoiceReport* report, int list) {
    if (!report || list < 0 || static_cast<std::size_t>(list) >= kListCount)
        return 0;
    return report->lists[static_cast<std::size_t>(list)].size();
}

int KelvoChoiceReportPair(const KelvoChoiceReport* report, int list, size_t index, const char** keyword,
                          const char** choice) {
    const std::pair<std::string, std::string>* pair = nullptr;
    if (report && list >= 0 && static_cast<std::size_t>(list) < kListCount &&
        index < report->lists[static_cast<std::size_t>(list)].size())
        pair = &report->lists[static_cast<std::size_t>(list)][index];
    if (keyword)
        *keyword = pair ? pair->first.c_str() : nullptr;
    if (choice)
        *choice = pair ? pair->second.c_str() : nullptr;
    return B(pair != nullptr);
}

int KelvoApplyChoiceReport(KelvoDocument* doc, const KelvoChoiceReport* report) try {
    if (!doc || !report || !report->resolved)
        return KELVO_STATUS_INVALID_ARGUMENT;
    int status = SetValue(*Doc(doc), report->keyword.c_str(), report->choice.c_str());
    for (const auto& [keyword, choice] : report->lists[KELVO_PAIRS_CHANGES]) {
        if (status != KELVO_STATUS_OK)
            break;
        status = SetValue(*Doc(doc), keyword.c_str(), choice.c_str());
    }
    return status;
} catch (...) { return RecordFailure(); }

void KelvoFreeChoiceReport(KelvoChoiceReport* report) { delete report; }

} // extern "C"
