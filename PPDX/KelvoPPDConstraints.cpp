// The C interface's constraint questions: is a choice constrained, what does
// it conflict with and what would make room for it, and a resolution that
// respects locks. The answers are those kelvo-pde check gives.
#include "PPDX/KelvoPPD.h"

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "PPDX/ChoiceQuestion.h"
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

/// The locks as the question takes them: "KEY" bars every change of the
/// key, "KEY=CHOICE" only the change to that choice. Each must name a
/// control (and a choice it offers).
int ReadLocks(QJVPPD& doc, const char* const* locks, std::size_t count, std::vector<ChoiceLock>& out) {
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
        out.push_back({keyword, choice});
    }
    return KELVO_STATUS_OK;
}

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
    std::vector<ChoiceLock> locked;
    if (resolve && (status = ReadLocks(doc, locks, lockCount, locked)) != KELVO_STATUS_OK)
        return nullptr;

    ChoiceAnswer answer = AskChoice(doc, key, choice, resolve, locked);
    auto report = std::make_unique<KelvoChoiceReport>();
    report->keyword = key;
    report->choice = choice;
    report->constrained = answer.constrained;
    report->resolved = answer.resolved;
    report->lists[KELVO_PAIRS_CONFLICTS] = std::move(answer.conflicts);
    report->lists[KELVO_PAIRS_CANDIDATES] = std::move(answer.candidates);
    report->lists[KELVO_PAIRS_CHANGES] = std::move(answer.changes);
    report->lists[KELVO_PAIRS_UNRESOLVED] = std::move(answer.unresolved);
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
