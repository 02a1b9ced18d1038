// kelvo-pde check: test a choice against the constraints, explain and resolve conflicts.
#include <ostream>

#include "Commands.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"

namespace kelvo::tool {

using nlohmann::json;

namespace {

std::string WithStar(const std::string& key) { return !key.empty() && key[0] == '*' ? key : "*" + key; }

/// "KEY=CHOICE", both parts non-empty; the key gets its asterisk.
bool SplitPair(const std::string& text, std::string& key, std::string& choice) {
    const std::size_t eq = text.find('=');
    if (eq == std::string::npos || eq == 0 || eq + 1 == text.size())
        return false;
    key = WithStar(text.substr(0, eq));
    choice = text.substr(eq + 1);
    return true;
}

/// Ids back to text, for reports.
json PairsJSON(const KVCache& pairs, const CStringSoup& soup) {
    json out = json::array();
    for (const KVPair& p : pairs) {
        const std::string* key = soup.Text(p.first);
        const std::string* choice = soup.Text(p.second);
        out.push_back({key ? *key : std::string("?"), choice ? *choice : std::string("?")});
    }
    return out;
}

void PrintPairs(std::ostream& out, const char* label, const json& pairs) {
    out << label;
    if (pairs.empty())
        out << " none";
    for (const auto& p : pairs)
        out << " " << p[0].get<std::string>() << "=" << p[1].get<std::string>();
    out << "\n";
}

/// The choices a popup or Boolean offers; empty for other controls.
std::vector<std::string> ChoicesOf(PPDXControl* c) {
    std::vector<std::string> choices;
    if (auto* popup = dynamic_cast<PPDXPopupControl*>(c)) {
        for (std::size_t i = 0; i < popup->ItemCount(); ++i)
            if (const char* k = popup->ItemAt(i)->Keyword())
                choices.emplace_back(k);
    } else if (dynamic_cast<PPDXBooleanControl*>(c)) {
        choices = {"True", "False"};
    }
    return choices;
}

/// A misspelt key or choice would otherwise pass silently as "no constraint".
/// Returns the choice as the constraints spell it (a Boolean word as
/// True/False), or nullopt after a message on `err`. An empty choice names
/// the whole key (a lock) and is not checked.
std::optional<std::string> KnownChoice(QJVPPD& doc, const std::string& key, const std::string& choice,
                                       std::ostream& err) {
    PPDXControl* c = doc.GetPPDXControlForKey(key);
    if (!c) {
        err << "kelvo-pde: no control " << ForTerminal(key) << " in this PPD\n";
        return std::nullopt;
    }
    if (choice.empty())
        return choice;
    return AcceptedValue(*c, key, choice, err);
}

/// The choices the panel would grey out, per popup and Boolean.
json GreyList(QJVPPD& doc) {
    json grey = json::array();
    for (PPDXControl* c : doc.GetControls()->All()) {
        std::vector<std::string> choices = ChoicesOf(c);
        if (choices.empty())
            continue;
        json constrained = json::array();
        for (const std::string& choice : choices)
            if (doc.IsKVConstrained(c->Keyword(), choice.c_str()))
                constrained.push_back(choice);
        grey.push_back({{"keyword", c->Keyword()}, {"constrained", constrained}});
    }
    return grey;
}

} // namespace

int RunCheck(QJVPPD& doc, const CheckRequest& request, std::ostream& out, std::ostream& err) {
    for (const std::string& set : request.sets) {
        std::string key, choice;
        if (!SplitPair(set, key, choice)) {
            err << "kelvo-pde: -o/--set wants KEY=CHOICE, got \"" << ForTerminal(set) << "\"\n";
            return kExitUsage;
        }
        const std::optional<std::string> accepted = KnownChoice(doc, key, choice, err);
        if (!accepted)
            return kExitUsage;
        if (!doc.SetValueForKey(key, *accepted)) {
            err << "kelvo-pde: " << ForTerminal(key) << " cannot be set\n";
            return kExitUsage;
        }
    }

    json result = json::object();
    if (request.grey)
        result["grey"] = GreyList(doc);

    if (request.tryPair) {
        std::string key, choice;
        if (!SplitPair(*request.tryPair, key, choice)) {
            err << "kelvo-pde: --try wants KEY=CHOICE, got \"" << ForTerminal(*request.tryPair) << "\"\n";
            return kExitUsage;
        }
        const std::optional<std::string> accepted = KnownChoice(doc, key, choice, err);
        if (!accepted)
            return kExitUsage;
        choice = *accepted;
        UIConstraints& table = *doc.GetUIConstraints();
        const CStringSoup& soup = table.GetConstraintStrings();
        KVCache locked;
        for (const std::string& lock : request.locks) {
            std::string lockKey, lockChoice;
            const bool whole = !SplitPair(lock, lockKey, lockChoice);
            if (whole)
                lockKey = WithStar(lock);
            const std::optional<std::string> acceptedLock = KnownChoice(doc, lockKey, lockChoice, err);
            if (!acceptedLock)
                return kExitUsage;
            lockChoice = *acceptedLock;
            // A choice no constraint names can never be a candidate: it locks nothing
            // (its missing id would read as "every choice").
            const std::int64_t choiceId = whole ? -1 : soup.Find(lockChoice);
            if (!whole && choiceId == CStringSoup::kMissing)
                continue;
            locked.Insert(soup.Find(lockKey), choiceId);
        }

        result["constrained"] = doc.IsKVConstrained(key.c_str(), choice.c_str());
        // Answer the conflicts and the search in the same terms as "constrained":
        // a print size that follows the page size stands for that size.
        QJVPPD::PrintSizeStandIn standIn(doc);
        const KVPair followMarker{soup.Find("*QJPrintSize"), soup.Find("SameAsPageSize")};
        KVCache delta;
        delta.Insert(soup.Find(key), soup.Find(choice));
        ConstraintsEngine& engine = table.Engine();
        _KVErrorSet test = engine.Test(&delta);
        KVCache candidates;
        for (const KVPair& c : test.candidates)
            if (!standIn.Active() || c != followMarker)
                candidates.add(c);
        result["conflicts"] = PairsJSON(test.conflicts, soup);
        result["candidates"] = PairsJSON(candidates, soup);
        result["solution"] = nullptr;

        if (request.resolve) {
            KVCache proposal = delta;
            engine.SetLocked(locked.empty() ? nullptr : &locked);
            // The user's own choice stands; only other keys may give way.
            _KVErrorSet solved = engine.Solve(&proposal, true);
            engine.SetLocked(nullptr);
            if (solved.conflicts.empty() && standIn.Active() && proposal.Lookup(followMarker) >= 0) {
                // Going back to following the page size is only a way out if
                // the size it then follows is itself free of conflicts.
                KVCache followed;
                const std::int64_t pageKey = soup.Find("*PageSize");
                const std::int64_t page = proposal.HasKey(pageKey) ? proposal.GetItem(pageKey)
                                                                   : soup.Find(standIn.FollowedSize());
                for (const KVPair& p : proposal)
                    followed.Insert(p == followMarker ? KVPair{p.first, page} : p);
                solved = engine.Test(&followed);
            }
            if (solved.conflicts.empty()) {
                KVCache changes;
                for (const KVPair& p : proposal)
                    if (delta.Lookup(p) < 0)
                        changes.add(p);
                result["solution"] = PairsJSON(changes, soup);
            } else {
                result["unresolved"] = PairsJSON(solved.conflicts, soup);
            }
        }
    }

    if (request.json) {
        out << result.dump(2, ' ', false, json::error_handler_t::replace) << "\n";
        return kExitOK;
    }
    if (result.contains("grey")) {
        for (const auto& row : result["grey"]) {
            out << row["keyword"].get<std::string>() << ":";
            if (row["constrained"].empty())
                out << " (nothing constrained)";
            for (const auto& c : row["constrained"])
                out << " " << c.get<std::string>();
            out << "\n";
        }
    }
    if (request.tryPair) {
        out << *request.tryPair << ": " << (result["constrained"].get<bool>() ? "constrained" : "allowed") << "\n";
        PrintPairs(out, "conflicts:", result["conflicts"]);
        PrintPairs(out, "candidates:", result["candidates"]);
        if (request.resolve) {
            if (result["solution"].is_null())
                PrintPairs(out, "unresolved; conflicts left:", result["unresolved"]);
            else
                PrintPairs(out, "solution:", result["solution"]);
        }
    }
    return kExitOK;
}

} // namespace kelvo::tool
