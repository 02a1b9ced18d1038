// kelvo-pde check: test a choice against the constraints, explain and resolve conflicts.
#include <ostream>

#include "Commands.h"
#include "PPDX/ChoiceQuestion.h"
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

json PairsJSON(const ChoiceAnswer::Pairs& pairs) {
    json out = json::array();
    for (const auto& [key, choice] : pairs)
        out.push_back({key, choice});
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
        std::vector<ChoiceLock> locks;
        for (const std::string& lock : request.locks) {
            std::string lockKey, lockChoice;
            const bool whole = !SplitPair(lock, lockKey, lockChoice);
            if (whole)
                lockKey = WithStar(lock);
            const std::optional<std::string> acceptedLock = KnownChoice(doc, lockKey, lockChoice, err);
            if (!acceptedLock)
                return kExitUsage;
            locks.push_back({lockKey, *acceptedLock});
        }

        const ChoiceAnswer answer = AskChoice(doc, key, choice, request.resolve, locks);
        result["constrained"] = answer.constrained;
        result["conflicts"] = PairsJSON(answer.conflicts);
        result["candidates"] = PairsJSON(answer.candidates);
        result["solution"] = nullptr;
        if (answer.searched) {
            if (answer.resolved)
                result["solution"] = PairsJSON(answer.changes);
            else
                result["unresolved"] = PairsJSON(answer.unresolved);
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
