// Shared fixtures for the constraint tests: a small printer built the way the
// parser and the controls fill the table, and id <-> text helpers.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "PPDX/Constraints/UIConstraints.h"

namespace ctest {

using Names = std::vector<std::pair<std::string, std::string>>;

/// The choice name that stands for -1 ("every choice") in a locked list.
inline const std::string kAnyChoice = "<any>";

inline std::int64_t Id(const UIConstraints& table, const std::string& text) {
    return text == kAnyChoice ? -1 : table.GetConstraintStrings().Find(text);
}

/// Builds a KVCache with Insert, keeping the order given.
inline KVCache Ids(const UIConstraints& table, const Names& pairs) {
    KVCache cache;
    for (const auto& [key, choice] : pairs)
        cache.Insert(Id(table, key), Id(table, choice));
    return cache;
}

inline Names Text(const UIConstraints& table, const KVCache& cache) {
    Names names;
    for (const KVPair& pair : cache) {
        const std::string* key = table.GetConstraintStrings().Text(pair.first);
        const std::string* choice = table.GetConstraintStrings().Text(pair.second);
        names.emplace_back(key ? *key : "?", choice ? *choice : "?");
    }
    return names;
}

inline Names Sorted(Names names) {
    std::sort(names.begin(), names.end());
    return names;
}

/// Duplex, input slot and media type interact the way a real PPD would have
/// them; Fold/OutputBin has a conflict without way out; A -> B -> C is a chain
/// that takes two levels of search. Declarations come first, as in a PPD
/// whose constraints precede the options they name.
inline std::unique_ptr<UIConstraints> MakeWorld(const Names& current) {
    auto table = std::make_unique<UIConstraints>();
    table->Add("*Duplex", nullptr, "*InputSlot", "Envelope", false);
    table->Add("*Duplex", "DuplexNoTumble", "*InputSlot", "Manual", false);
    table->Add("*Duplex", "DuplexNoTumble", "*MediaType", "Labels", false);
    table->Add("*Duplex", "DuplexNoTumble", "*MediaType", "Transparency", false);
    table->Add("*MediaType", "Transparency", "*InputSlot", "Tray2", false);
    table->Add("*Fold", "True", "*OutputBin", "", false);
    table->Add("*A", "a1", "*B", "b0", false);
    table->Add("*B", "b1", "*C", "c0", false);

    const std::vector<std::pair<const char*, std::vector<const char*>>> keys = {
        {"*Duplex", {"None", "DuplexNoTumble", "DuplexTumble"}},
        {"*InputSlot", {"Tray1", "Tray2", "Envelope", "Manual"}},
        {"*MediaType", {"Plain", "Labels", "Transparency"}},
        {"*Fold", {"True", "False"}},
        {"*OutputBin", {"Upper", "Lower"}},
        {"*A", {"a0", "a1"}},
        {"*B", {"b0", "b1"}},
        {"*C", {"c0", "c1", "c2"}},
    };
    for (const auto& [key, choices] : keys)
        for (const char* choice : choices)
            table->KVSInsert(key, choice);
    table->Resolve();
    for (const auto& [key, choice] : current)
        table->UpdateKVCache(key.c_str(), choice.c_str());
    return table;
}

} // namespace ctest
