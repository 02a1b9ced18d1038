// Whole-key declarations are kept as rules: every answer must be the one the
// table gives with the same declarations written out pair by pair.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "PPDX/Constraints/ConstraintsTestWorld.h"
#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/QJVPPD.h"
#include "bench/HostilePPD.h"

using namespace ctest;

namespace {

/// A small deterministic generator, so a failing seed can be replayed.
class Lcg {
public:
    explicit Lcg(std::uint64_t seed) : mState(seed * 2862933555777941757ull + 3037000493ull) {}
    std::size_t Below(std::size_t n) {
        mState = mState * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<std::size_t>((mState >> 33) % n);
    }
    template <class T>
    const T& Pick(const std::vector<T>& v) {
        return v[Below(v.size())];
    }

private:
    std::uint64_t mState;
};

std::string PairText(const UIConstraints& table, const KVPair& pair) {
    const std::string* key = table.GetConstraintStrings().Text(pair.first);
    const std::string* choice = table.GetConstraintStrings().Text(pair.second);
    return (key ? *key : "?") + "=" + (choice ? *choice : "?");
}

/// A forest's entries as text, row by row, switches included.
std::map<std::string, std::vector<std::string>> Dump(const UIConstraints& table, const ConstraintForest& forest) {
    std::map<std::string, std::vector<std::string>> rows;
    for (const KVPair& row : forest.Rows()) {
        std::vector<std::string>& entries = rows[PairText(table, row)];
        EXPECT_TRUE(entries.empty()) << "row listed twice: " << PairText(table, row);
        for (const ConstraintEntry& e : forest.Entries(row.first, row.second))
            entries.push_back(PairText(table, e.pair) + (e.enabled ? "" : " (off)"));
        auto list = forest.GetConstraintList(row.first, row.second);
        EXPECT_TRUE(list != nullptr);
        KVCache on, listed;
        for (const ConstraintEntry& e : forest.Entries(row.first, row.second))
            if (e.enabled)
                on.add(e.pair);
        if (list)
            for (const KVPair& p : *list)
                listed.add(p);
        EXPECT_EQ(Text(table, listed), Text(table, on));
    }
    return rows;
}

/// One table under comparison: its own copy of the constraint forest (so
/// entries can be switched) and a solver over it.
struct Side {
    explicit Side(UIConstraints& t)
        : table(t), excludes(t.GetConstraintForest()), engine(&t.CurrentSelections(), &excludes, &t.GetKeyForest()) {}
    std::int64_t Id(const std::string& text) const { return table.GetConstraintStrings().Find(text); }
    KVCache Pair(const std::string& key, const std::string& choice) const {
        KVCache c;
        c.Insert(Id(key), Id(choice));
        return c;
    }
    bool Switch(const std::string& k1, const std::string& c1, const std::string& k2, const std::string& c2, bool on) {
        return on ? excludes.EnableConstraints(Id(k1), Id(c1), Id(k2), Id(c2))
                  : excludes.DisableConstraints(Id(k1), Id(c1), Id(k2), Id(c2));
    }

    UIConstraints& table;
    ConstraintForest excludes;
    ConstraintsEngine engine;
};

/// Compares every answer of two tables over the same keys and choices
/// (given as text, so the tables may have interned them differently).
void ExpectSameAnswers(Side& a, Side& b, const std::vector<std::string>& keys,
                       const std::vector<std::string>& choices) {
    EXPECT_EQ(a.excludes.Count(), b.excludes.Count());
    EXPECT_EQ(Dump(a.table, a.excludes), Dump(b.table, b.excludes));
    EXPECT_EQ(a.table.GetRequiresForest().Count(), b.table.GetRequiresForest().Count());
    EXPECT_EQ(Dump(a.table, a.table.GetRequiresForest()), Dump(b.table, b.table.GetRequiresForest()));
    for (const std::string& key : keys) {
        SCOPED_TRACE(key);
        EXPECT_EQ(Text(a.table, a.engine.ListCurrentConstraints(a.Id(key))),
                  Text(b.table, b.engine.ListCurrentConstraints(b.Id(key))));
        for (const std::string& choice : choices) {
            SCOPED_TRACE(choice);
            const KVCache da = a.Pair(key, choice), db = b.Pair(key, choice);
            const _KVErrorSet ta = a.engine.Test(&da), tb = b.engine.Test(&db);
            EXPECT_EQ(Text(a.table, ta.conflicts), Text(b.table, tb.conflicts));
            EXPECT_EQ(Text(a.table, ta.candidates), Text(b.table, tb.candidates));
            EXPECT_EQ(a.engine.HasConflict(da), !ta.Empty());
            for (bool keep : {false, true}) {
                KVCache pa = da, pb = db;
                const _KVErrorSet sa = a.engine.Solve(&pa, keep), sb = b.engine.Solve(&pb, keep);
                EXPECT_EQ(Text(a.table, pa), Text(b.table, pb)) << keep;
                EXPECT_EQ(Text(a.table, sa.conflicts), Text(b.table, sb.conflicts)) << keep;
            }
            EXPECT_EQ(Text(a.table, a.engine.ListBlockingConstraints(a.Id(key), a.Id(choice), 0)),
                      Text(b.table, b.engine.ListBlockingConstraints(b.Id(key), b.Id(choice), 0)));
        }
    }
    for (bool enabledOnly : {true, false}) {
        const KVCache sa = a.engine.ListScreenedConstraints(a.table.CurrentSelections(), enabledOnly, -1);
        const KVCache sb = b.engine.ListScreenedConstraints(b.table.CurrentSelections(), enabledOnly, -1);
        EXPECT_EQ(Sorted(Text(a.table, sa)), Sorted(Text(b.table, sb)));
    }
}

/// The table's own question, for every key and choice.
void ExpectSameConstrained(UIConstraints& a, UIConstraints& b, const std::vector<std::string>& keys,
                           const std::vector<std::string>& choices) {
    for (const std::string& key : keys)
        for (const std::string& choice : choices)
            EXPECT_EQ(a.IsKVConstrained(key.c_str(), choice.c_str()), b.IsKVConstrained(key.c_str(), choice.c_str()))
                << key << " " << choice;
}

/// Switches the same entries off in both (every third of b's, in text
/// order), compares, and switches them on again.
void ExpectSameWithSwitches(Side& a, Side& b, const std::vector<std::string>& keys,
                            const std::vector<std::string>& choices) {
    std::vector<std::vector<std::string>> off;
    std::size_t n = 0;
    for (const KVPair& row : b.excludes.Rows())
        for (const ConstraintEntry& e : b.excludes.Entries(row.first, row.second))
            if (n++ % 3 == 0)
                off.push_back({*b.table.GetConstraintStrings().Text(row.first),
                               *b.table.GetConstraintStrings().Text(row.second),
                               *b.table.GetConstraintStrings().Text(e.pair.first),
                               *b.table.GetConstraintStrings().Text(e.pair.second)});
    for (bool on : {false, true}) {
        for (const std::vector<std::string>& e : off) {
            EXPECT_TRUE(b.Switch(e[0], e[1], e[2], e[3], on));
            EXPECT_TRUE(a.Switch(e[0], e[1], e[2], e[3], on));
        }
        ExpectSameAnswers(a, b, keys, choices);
    }
}

} // namespace

// Declarations, choices and selections in a random order, Resolve() run now
// and then: the table keeps whole-key declarations as rules, the reference
// gets them written out by the test at each Resolve() over the choices
// registered by then, "False" and "None" left out.
TEST(WholeKeyRules, AnswerAsIfWrittenOut) {
    const std::vector<std::string> keys = {"*K0", "*K1", "*K2", "*K3", "*Ghost"};
    const std::vector<std::string> pool = {"None", "False", "True", "x0", "x1", "x2", "x3", "x4", "x5"};
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Lcg rng(seed);
        UIConstraints rules, written;
        // Odd seeds intern everything up front; even ones meet "False" and
        // "None" only when a control registers them, possibly after a
        // Resolve(), and never name them in a declaration.
        const bool late = seed % 2 == 0;
        std::vector<std::string> declarable;
        for (const std::string& c : pool)
            if (!late || (c != "False" && c != "None"))
                declarable.push_back(c);
        for (UIConstraints* t : {&rules, &written}) {
            t->GetConstraintStrings().Insert("");
            for (const std::string& k : keys)
                t->GetConstraintStrings().Insert(k);
            for (const std::string& c : declarable)
                t->GetConstraintStrings().Insert(c);
        }

        struct Pending {
            std::string k1, c1, k2, c2;
            bool isRequires;
        };
        std::vector<Pending> pending;
        std::map<std::string, std::vector<std::string>> known;
        auto resolve = [&] {
            for (const Pending& d : pending) {
                auto sides = [&](const std::string& key, const std::string& choice) {
                    if (!choice.empty())
                        return std::vector<std::string>{choice};
                    std::vector<std::string> out;
                    for (const std::string& c : known[key])
                        if (c != "False" && c != "None")
                            out.push_back(c);
                    return out;
                };
                for (const std::string& a : sides(d.k1, d.c1))
                    for (const std::string& b : sides(d.k2, d.c2))
                        written.Add(d.k1.c_str(), a.c_str(), d.k2.c_str(), b.c_str(), d.isRequires);
            }
            pending.clear();
            rules.Resolve();
            written.Resolve();
        };

        const std::size_t steps = 20 + rng.Below(40);
        for (std::size_t step = 0; step < steps; ++step) {
            const std::size_t what = rng.Below(10);
            if (what < 4) {
                const std::string& key = rng.Pick(keys);
                if (key == "*Ghost")
                    continue; // a key no control declares
                const std::string& choice = rng.Pick(pool);
                rules.KVSInsert(key.c_str(), choice.c_str());
                written.KVSInsert(key.c_str(), choice.c_str());
                std::vector<std::string>& list = known[key];
                if (std::find(list.begin(), list.end(), choice) == list.end())
                    list.push_back(choice);
            } else if (what < 8) {
                Pending d{rng.Pick(keys), rng.Below(2) ? "" : rng.Pick(declarable), rng.Pick(keys),
                          rng.Below(2) ? "" : rng.Pick(declarable), rng.Below(4) == 0};
                rules.Add(d.k1.c_str(), d.c1.c_str(), d.k2.c_str(), d.c2.c_str(), d.isRequires);
                if (d.c1.empty() || d.c2.empty())
                    pending.push_back(d);
                else
                    written.Add(d.k1.c_str(), d.c1.c_str(), d.k2.c_str(), d.c2.c_str(), d.isRequires);
            } else if (what < 9) {
                resolve();
            } else {
                const std::string& key = rng.Pick(keys);
                const std::string& choice = rng.Pick(declarable);
                rules.UpdateKVCache(key.c_str(), choice.c_str());
                written.UpdateKVCache(key.c_str(), choice.c_str());
            }
        }
        resolve();
        std::vector<std::string> choices = pool;
        choices.push_back("Unheard");
        ExpectSameConstrained(rules, written, keys, choices);
        Side a(rules), b(written);
        ExpectSameAnswers(a, b, keys, choices);
        ExpectSameWithSwitches(a, b, keys, choices);
        if (HasFailure())
            break;
    }
}

// The same through the reader: a document with whole-key statements, and the
// document with them written out pair by pair after the others (the order
// in which the table takes them: the others while reading, whole-key ones
// once every control is known).
TEST(WholeKeyRules, DocumentAnswersAsIfWrittenOut) {
    const std::map<std::string, std::vector<std::string>> options = {
        {"*QJA", {"None", "a0", "a1", "a2", "a3"}},
        {"*QJB", {"b0", "None", "b1", "b2"}},
        {"*QJC", {"c0", "c1", "c2"}},
        {"*QJD", {"True", "False"}},
    };
    std::vector<std::string> keys, choices{"None", "True", "False", "Unheard"};
    for (const auto& [key, list] : options) {
        keys.push_back(key);
        for (const std::string& c : list)
            if (std::find(choices.begin(), choices.end(), c) == choices.end())
                choices.push_back(c);
    }
    std::string controls;
    for (const auto& [key, list] : options) {
        const std::string bare = key.substr(1);
        const bool boolean = list.front() == "True";
        controls += "*%QJVFlags " + key + ": \"Dynamic\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key + "/" +
                    bare + ": " + (boolean ? "Boolean" : "PickOne") + "\n*Default" + bare + ": " + list.front() + "\n";
        for (const std::string& c : list)
            controls += key + " " + c + ": \"\"\n";
        controls += "*CloseUI: " + key + "\n";
    }

    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Lcg rng(seed);
        std::string whole, plain, expanded;
        const char* statements[] = {"*UIConstraints: ", "*%QJVUIConstraints: ", "*%QJVUIRequires: "};
        for (std::size_t i = 0, n = 6 + rng.Below(10); i < n; ++i) {
            const std::string& k1 = rng.Pick(keys);
            const std::string& k2 = rng.Pick(keys);
            const std::vector<std::string>& l1 = options.at(k1);
            const std::vector<std::string>& l2 = options.at(k2);
            const std::string c1 = rng.Below(2) ? "" : rng.Pick(l1);
            const std::string c2 = rng.Below(2) ? "" : rng.Pick(l2);
            const std::string statement = statements[rng.Below(3)];
            const std::string line = statement + k1 + (c1.empty() ? "" : " " + c1) + " " + k2 +
                                     (c2.empty() ? "" : " " + c2) + "\n";
            whole += line;
            if (!c1.empty() && !c2.empty()) {
                plain += line;
                continue;
            }
            for (const std::string& a : c1.empty() ? l1 : std::vector<std::string>{c1})
                for (const std::string& b : c2.empty() ? l2 : std::vector<std::string>{c2})
                    if ((!c1.empty() || (a != "None" && a != "False")) &&
                        (!c2.empty() || (b != "None" && b != "False")))
                        expanded += statement + k1 + " " + a + " " + k2 + " " + b + "\n";
        }
        // Statements before the controls, as in many files.
        const std::string header = kelvohostile::kHeader;
        QJVPPDRef a = QJVPPD::FromBytes(header + whole + controls, kParseAll);
        QJVPPDRef b = QJVPPD::FromBytes(header + plain + expanded + controls, kParseAll);
        ASSERT_TRUE(a && b);
        ASSERT_EQ(a->GetErrors()->Count(), b->GetErrors()->Count());

        for (int round = 0; round < 3; ++round) {
            // Change some selections the same way in both.
            for (const std::string& key : keys) {
                const std::string& c = rng.Pick(options.at(key));
                EXPECT_EQ(a->SetValueForKey(key, c), b->SetValueForKey(key, c));
            }
            for (const std::string& key : keys)
                for (const std::string& c : choices)
                    EXPECT_EQ(a->IsKVConstrained(key.c_str(), c.c_str()), b->IsKVConstrained(key.c_str(), c.c_str()))
                        << key << " " << c;
            Side sa(*a->GetUIConstraints()), sb(*b->GetUIConstraints());
            ExpectSameAnswers(sa, sb, keys, choices);
            if (round == 0)
                ExpectSameWithSwitches(sa, sb, keys, choices);
        }
        if (HasFailure())
            break;
    }
}

TEST(WholeKeyRules, PairsAfterARuleAndSwitchesOfRulePairs) {
    UIConstraints table;
    for (const char* c : {"None", "d0", "d1"})
        table.KVSInsert("*D", c);
    for (const char* c : {"s0", "s1", "s2"})
        table.KVSInsert("*S", c);
    auto id = [&](const char* s) { return Id(table, s); };
    table.Add("*D", "d1", "*S", "s2", false); // before the rule: keeps its place
    table.Add("*D", nullptr, "*S", nullptr, false);
    table.Resolve();
    table.Add("*D", "d0", "*S", "s1", false); // the rule's pair already
    table.Add("*D", "d0", "*X", "x", false);  // a new one, after the rule's
    ConstraintForest forest = table.GetConstraintForest();

    struct Row {
        const char* choice;
        Names list;
    };
    const Row rows[] = {
        {"d0", {{"*S", "s0"}, {"*S", "s1"}, {"*S", "s2"}, {"*X", "x"}}},
        {"d1", {{"*S", "s2"}, {"*S", "s0"}, {"*S", "s1"}}},
        {"None", {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.choice);
        auto list = forest.GetConstraintList(id("*D"), id(row.choice));
        Names got;
        if (list)
            for (const KVPair& p : *list)
                got.emplace_back(*table.GetConstraintStrings().Text(p.first),
                                 *table.GetConstraintStrings().Text(p.second));
        EXPECT_EQ(got, row.list);
        EXPECT_EQ(list != nullptr, !row.list.empty());
    }
    EXPECT_EQ(forest.Count(), 7u);
    EXPECT_EQ(forest.Rows(), (std::vector<KVPair>{{id("*D"), std::min(id("d0"), id("d1"))},
                                                  {id("*D"), std::max(id("d0"), id("d1"))}}));

    // A pair only the rule makes switches like any other, and stays counted.
    struct Switch {
        const char *c1, *k2, *c2;
        bool exists;
    };
    const Switch switches[] = {
        {"d0", "*S", "s1", true}, {"d1", "*S", "s2", true}, {"None", "*S", "s1", false}, {"d0", "*S", "None", false},
        {"d0", "*X", "x", true},  {"d0", "*X", "y", false},
    };
    for (const Switch& s : switches) {
        SCOPED_TRACE(std::string(s.c1) + " " + s.k2 + " " + s.c2);
        EXPECT_EQ(forest.DisableConstraints(id("*D"), id(s.c1), id(s.k2), id(s.c2)), s.exists);
        EXPECT_FALSE(forest.Holds(id("*D"), id(s.c1), KVPair{id(s.k2), id(s.c2)}, true));
        EXPECT_EQ(forest.Holds(id("*D"), id(s.c1), KVPair{id(s.k2), id(s.c2)}, false), s.exists);
    }
    EXPECT_EQ(forest.Count(), 7u);
    EXPECT_EQ(forest.GetConstraintList(id("*D"), id("d0"))->size(), 2u);
    // Switched off in the written-out table too.
    const ConstraintForest written = forest.Expanded();
    EXPECT_EQ(written.StoredItems(), 7u);
    EXPECT_EQ(*written.GetConstraintList(id("*D"), id("d0")), *forest.GetConstraintList(id("*D"), id("d0")));
    for (const Switch& s : switches)
        EXPECT_EQ(forest.EnableConstraints(id("*D"), id(s.c1), id(s.k2), id(s.c2)), s.exists);
    EXPECT_EQ(forest.GetConstraintList(id("*D"), id("d0"))->size(), 4u);
}

TEST(KeyForest, ChoicesOnceInInsertionOrder) {
    struct Row {
        std::vector<std::int64_t> inserted;
        std::vector<std::int64_t> kept;
    };
    std::vector<std::int64_t> many, manyKept;
    // Crosses the length at which duplicates are found by look-up rather
    // than by a scan, with repeats on both sides of it.
    for (std::int64_t i = 0; i < 40; ++i) {
        many.push_back(i % 25);
        if (i < 25)
            manyKept.push_back(i);
    }
    many.push_back(3);
    const Row rows[] = {
        {{}, {}},
        {{5, 3, 5, 9, 3}, {5, 3, 9}},
        {{-1, 4, -7, 4}, {4}},
        {many, manyKept},
    };
    for (const Row& row : rows) {
        KeyForest keys;
        for (std::int64_t c : row.inserted) {
            keys.Insert(1, c);
            keys.Insert(-1, c); // a negative key is never recorded
        }
        EXPECT_EQ(keys.GetItems(1), row.kept);
        EXPECT_EQ(keys.HasKey(1), !row.kept.empty());
        EXPECT_FALSE(keys.HasKey(-1));
        EXPECT_TRUE(keys.GetItems(2).empty());
    }
}

TEST(CStringSoup, DenseIdsThatMapBackAcrossGrowth) {
    CStringSoup soup;
    EXPECT_EQ(soup.Find(""), CStringSoup::kMissing);
    // Enough texts to grow the index several times; prefixes, the empty
    // text, embedded NULs and texts the recent-text memo maps to one slot.
    std::vector<std::string> texts = {"", "a", "ab", "abc", std::string("a\0b", 3), std::string("a\0c", 3)};
    for (int i = 0; i < 3000; ++i)
        texts.push_back("*K" + std::to_string(i * 7919 % 3001));
    std::vector<std::int64_t> ids;
    for (const std::string& t : texts)
        ids.push_back(soup.Insert(t));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(ids[i], static_cast<std::int64_t>(i)) << i; // all distinct, numbered in order
        EXPECT_EQ(soup.Insert(texts[i]), ids[i]);            // a repeat gets its id back
        EXPECT_EQ(soup.Find(texts[i]), ids[i]);
        ASSERT_NE(soup.Text(ids[i]), nullptr);
        EXPECT_EQ(*soup.Text(ids[i]), texts[i]);
    }
    EXPECT_EQ(soup.Size(), texts.size());
    EXPECT_EQ(soup.Find("*K3001"), CStringSoup::kMissing);
    EXPECT_EQ(soup.Find("abcd"), CStringSoup::kMissing);
    EXPECT_EQ(soup.Text(-1), nullptr);
    EXPECT_EQ(soup.Text(static_cast<std::int64_t>(texts.size())), nullptr);
}
