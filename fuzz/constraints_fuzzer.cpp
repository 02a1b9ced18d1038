// Fuzz target: constraint declarations, questions and the solver.
//
// The input is text, one instruction a line:
//   "=KEY CHOICE"          select CHOICE for KEY before any question
//   "?KEY CHOICE ..."      a proposal, tested and then solved
//   "?!KEY CHOICE ..."     the same, solved without changing the proposed keys
//   "#KEY [CHOICE]"        lock a choice (or, without one, the whole key)
//   anything else          a constraint line of the document; one that does
//                          not start with a constraint statement gets
//                          "*UIConstraints:" in front
// The document is a fixed header and fixed popups plus those lines, so every
// choice count is small and known: with the caps below one input stays well
// under a second even where every choice excludes every other.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "PPDX/Constraints/ConstraintsEngine.h"
#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/QJVPPD.h"

namespace {

constexpr std::size_t kMaxLines = 64;
constexpr std::size_t kMaxLineLength = 200;
constexpr std::size_t kMaxSolves = 4;

constexpr std::string_view kHeader =
    "*PPD-Adobe: \"4.3\"\n"
    "*FormatVersion: \"4.3\"\n"
    "*LanguageVersion: English\n"
    "*LanguageEncoding: ISOLatin1\n"
    "*%QJVPropPage QJPage/Page: \"True\"\n"
    "*%QJVGroupName QJGroup/Options: \"True\"\n";

struct Option {
    const char* key;
    const char* type;
    const char* defaultChoice;
    std::vector<const char*> choices;
};

// "None" and "False" are the choices whole-key declarations leave out;
// *PageSize and *QJPrintSize are the pair that questions treat specially.
const std::vector<Option>& Options() {
    static const std::vector<Option> kOptions = {
        {"*PageSize", "PickOne", "Letter", {"Letter", "Legal", "A4", "A3"}},
        {"*QJPrintSize", "PickOne", "SameAsPageSize", {"SameAsPageSize", "Letter", "A4", "CustomPrintSize"}},
        {"*QJStaple", "PickOne", "None", {"None", "TopLeft", "DualLeft", "Saddle"}},
        {"*QJDuplex", "PickOne", "None", {"None", "DuplexNoTumble", "DuplexTumble"}},
        {"*QJInsert", "PickMany", "Front", {"Front", "Back", "None"}},
        {"*QJBooklet", "Boolean", "False", {"True", "False"}},
        {"*QJPunch", "Boolean", "True", {"True", "False"}},
    };
    return kOptions;
}

std::string Declarations() {
    std::string text;
    for (const Option& o : Options()) {
        const std::string key = o.key;
        const std::string bare = key.substr(1);
        text += "*%QJVFlags " + key + ": \"Dynamic\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key + "/" + bare +
                ": " + o.type + "\n*Default" + bare + ": " + o.defaultChoice + "\n";
        for (const char* choice : o.choices)
            text += key + " " + choice + "/" + choice + ": \"/" + bare + " (" + choice + ") def\"\n";
        text += "*CloseUI: " + key + "\n";
    }
    return text;
}

bool StartsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

std::vector<std::string> Words(std::string_view text) {
    std::vector<std::string> words;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t start = text.find_first_not_of(" \t", pos);
        if (start == std::string_view::npos)
            break;
        const std::size_t end = std::min(text.find_first_of(" \t", start), text.size());
        words.emplace_back(text.substr(start, end - start));
        pos = end;
    }
    return words;
}

struct Script {
    std::string body;
    std::vector<std::pair<std::string, std::string>> selections;
    std::vector<std::pair<std::vector<std::string>, bool>> proposals;
    std::vector<std::vector<std::string>> locks;
};

Script Read(std::string_view input) {
    Script script;
    std::size_t lines = 0;
    while (!input.empty() && lines++ < kMaxLines) {
        const std::size_t end = std::min(input.find('\n'), input.size());
        std::string line(input.substr(0, std::min(end, kMaxLineLength)));
        input.remove_prefix(std::min(end + 1, input.size()));
        // A CR would start a line of its own, outside the caps.
        for (char& c : line)
            if (c == '\r')
                c = ' ';
        if (StartsWith(line, "=")) {
            std::vector<std::string> w = Words(std::string_view(line).substr(1));
            if (w.size() >= 2)
                script.selections.emplace_back(w[0], w[1]);
        } else if (StartsWith(line, "?")) {
            const bool keep = StartsWith(line, "?!");
            script.proposals.emplace_back(Words(std::string_view(line).substr(keep ? 2 : 1)), keep);
        } else if (StartsWith(line, "#")) {
            script.locks.push_back(Words(std::string_view(line).substr(1)));
        } else {
            const bool statement = StartsWith(line, "*UIConstraints") || StartsWith(line, "*NonUIConstraints") ||
                                   StartsWith(line, "*%QJVUIConstraints") || StartsWith(line, "*%QJVUIRequires");
            script.body += (statement ? "" : "*UIConstraints: ") + line + "\n";
        }
    }
    return script;
}

void Require(bool condition) {
    if (!condition)
        std::abort();
}

// Interned ids for key/choice words; a word nobody interned gives -1, which
// a KVCache drops for a key and keeps for a choice.
KVCache Pairs(const CStringSoup& soup, const std::vector<std::string>& words) {
    KVCache pairs;
    for (std::size_t i = 0; i + 1 < words.size(); i += 2)
        pairs.Insert(soup.Find(words[i]), soup.Find(words[i + 1]));
    return pairs;
}

// The solver's promise: solved means the proposal now tests clean, and with
// `keep` every pair it was asked about is still in it.
void SolveAndCheck(ConstraintsEngine& engine, const KVCache& request, bool keep) {
    engine.Test(&request);
    KVCache proposal = request;
    const _KVErrorSet result = engine.Solve(&proposal, keep);
    if (!result.conflicts.empty())
        return;
    Require(engine.Test(&proposal).Empty());
    if (keep)
        for (const KVPair& pair : request)
            Require(proposal.Lookup(pair) >= 0);
}

bool SameOrder(const KVCache& a, const KVCache& b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

// The solver over the stored table and over the same table written out pair
// by pair must agree on everything, order included.
void CompareWithWrittenOut(const UIConstraints& table, const std::vector<KVCache>& requests) {
    const ConstraintForest& stored = table.GetConstraintForest();
    ConstraintForest written = stored.Expanded();
    ConstraintForest switched = stored;
    ConstraintsEngine a(&table.CurrentSelections(), &switched, &table.GetKeyForest());
    ConstraintsEngine b(&table.CurrentSelections(), &written, &table.GetKeyForest());
    // Switch every third entry off, in both.
    std::size_t n = 0;
    for (const KVPair& row : stored.Rows())
        for (const ConstraintEntry& e : stored.Entries(row.first, row.second))
            if (n++ % 3 == 0)
                Require(switched.DisableConstraints(row.first, row.second, e.pair.first, e.pair.second) ==
                        written.DisableConstraints(row.first, row.second, e.pair.first, e.pair.second));
    for (std::size_t i = 0; i < requests.size() && i < kMaxSolves; ++i) {
        for (int round = 0; round < 2; ++round) {
            const _KVErrorSet ta = a.Test(&requests[i]), tb = b.Test(&requests[i]);
            Require(SameOrder(ta.conflicts, tb.conflicts) && SameOrder(ta.candidates, tb.candidates));
            KVCache pa = requests[i], pb = requests[i];
            const _KVErrorSet sa = a.Solve(&pa, false), sb = b.Solve(&pb, false);
            Require(SameOrder(pa, pb) && SameOrder(sa.conflicts, sb.conflicts));
            Require(SameOrder(a.ListScreenedConstraints(requests[i], true, -1),
                              b.ListScreenedConstraints(requests[i], true, -1)));
            Require(SameOrder(a.ListScreenedConstraints(requests[i], false, -1),
                              b.ListScreenedConstraints(requests[i], false, -1)));
            // Then everything on again.
            for (const KVPair& row : stored.Rows())
                for (const ConstraintEntry& e : stored.Entries(row.first, row.second))
                    Require(switched.EnableConstraints(row.first, row.second, e.pair.first, e.pair.second) &&
                            written.EnableConstraints(row.first, row.second, e.pair.first, e.pair.second));
        }
    }
}

// The table's own promises: an interned text maps back to itself, and a
// declaration made twice is stored once.
void CheckTable(const UIConstraints& table, const Script& script) {
    const CStringSoup& soup = table.GetConstraintStrings();
    auto roundTrip = [&soup](std::string_view text) {
        const std::int64_t id = soup.Find(text);
        Require(id == CStringSoup::kMissing || (soup.Text(id) && *soup.Text(id) == text));
    };
    for (const Option& o : Options()) {
        roundTrip(o.key);
        for (const char* choice : o.choices)
            roundTrip(choice);
    }
    for (const auto& [words, keep] : script.proposals)
        for (const std::string& word : words)
            roundTrip(word);
    for (const ConstraintForest* forest : {&table.GetConstraintForest(), &table.GetRequiresForest()}) {
        // Whole-key declarations are kept as rules; every answer must be
        // that of the table written out pair by pair.
        const ConstraintForest expanded = forest->Expanded();
        Require(expanded.Count() == forest->Count());
        Require(expanded.Rows() == forest->Rows());
        std::size_t entries = 0;
        for (const KVPair& row : forest->Rows()) {
            const std::vector<ConstraintEntry> list = forest->Entries(row.first, row.second);
            const std::vector<ConstraintEntry> written = expanded.Entries(row.first, row.second);
            Require(!list.empty() && list.size() == written.size());
            for (std::size_t i = 0; i < list.size(); ++i) {
                Require(list[i].pair == written[i].pair && list[i].enabled == written[i].enabled);
                Require(forest->Holds(row.first, row.second, list[i].pair, false));
                for (std::size_t j = i + 1; j < list.size(); ++j)
                    Require(list[i].pair != list[j].pair);
            }
            const auto a = forest->GetConstraintList(row.first, row.second);
            const auto b = expanded.GetConstraintList(row.first, row.second);
            Require(a && b && *a == *b);
            entries += list.size();
        }
        Require(entries == forest->Count());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string kDocumentStart = std::string(kHeader) + Declarations();
    const Script script = Read(std::string_view(reinterpret_cast<const char*>(data), size));
    QJVPPDRef doc = QJVPPD::FromBytes(kDocumentStart + script.body, kParseAll);

    for (const auto& [key, choice] : script.selections)
        doc->SetValueForKey(key, choice);

    UIConstraints& table = *doc->GetUIConstraints();
    CheckTable(table, script);
    const CStringSoup& soup = table.GetConstraintStrings();
    std::vector<KVCache> requests;
    for (const auto& [words, keep] : script.proposals)
        requests.push_back(Pairs(soup, words));

    // Every choice of every option, as the panel asks when it greys items.
    for (const Option& o : Options()) {
        for (const char* choice : o.choices)
            if (doc->IsKVConstrained(o.key, choice) && script.proposals.empty() && requests.size() < kMaxSolves)
                requests.push_back(Pairs(soup, {o.key, choice}));
        doc->IsKVConstrained(o.key, "NoSuchChoice");
        const std::int64_t keyId = soup.Find(o.key);
        table.Engine().ListCurrentConstraints(keyId);
        table.Engine().ListScreenedConstraints(table.CurrentSelections(), true, keyId);
    }
    table.Engine().ListScreenedConstraints(table.CurrentSelections(), false, -1);

    CompareWithWrittenOut(table, requests);

    KVCache locked;
    for (const std::vector<std::string>& lock : script.locks)
        if (!lock.empty())
            locked.add(KVPair{soup.Find(lock[0]), lock.size() > 1 ? soup.Find(lock[1]) : -1});
    ConstraintsEngine lockedEngine(&table.CurrentSelections(), &table.GetConstraintForest(), &table.GetKeyForest(),
                                   &locked);

    for (std::size_t i = 0; i < requests.size() && i < kMaxSolves; ++i) {
        const bool keep = i < script.proposals.size() && script.proposals[i].second;
        SolveAndCheck(table.Engine(), requests[i], keep);
        SolveAndCheck(lockedEngine, requests[i], keep);
        if (!requests[i].empty())
            table.Engine().ListBlockingConstraints(requests[i].front().first, requests[i].front().second,
                                                   static_cast<std::int64_t>(i));
    }
    return 0;
}
