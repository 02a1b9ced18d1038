// Pointer list bookkeeping, Boyer-Moore search and replace.
#include <gtest/gtest.h>

#include <string>

#include "util/BoyerMoore.h"
#include "util/PointerList.h"

TEST(PointerList, AppendPrependRemoveKeepLinksConsistent) {
    int a = 1, b = 2, c = 3, d = 4;
    PointerList list;
    list.Append(&b);
    list.Append(&c);
    list.Prepend(&a);
    list.Append(&d);
    ASSERT_EQ(list.Size(), 4u);

    EXPECT_TRUE(list.Remove(&c));  // middle
    EXPECT_TRUE(list.Remove(&a));  // head
    EXPECT_TRUE(list.Remove(&d));  // tail
    EXPECT_FALSE(list.Remove(&a)); // already gone
    ASSERT_EQ(list.Size(), 1u);
    EXPECT_EQ(list.Head(), &b);
    EXPECT_EQ(list.Tail(), &b);

    // Walk both ways after the removals.
    list.Append(&c);
    PointerListItr itr(list);
    EXPECT_EQ(itr.Current(), &b);
    EXPECT_EQ(itr.Next(), &c);
    EXPECT_EQ(itr.Next(), nullptr);
    EXPECT_EQ(list.At(1), &c);
    EXPECT_EQ(list.At(2), nullptr);
}

TEST(PointerList, CopyIsIndependentAndRemoveAdvancesIterator) {
    int x = 0, y = 0, z = 0;
    PointerList list;
    for (int* p : {&x, &y, &z})
        list.Append(p);
    PointerList copy(list);
    PointerListItr itr(copy);
    itr.Next();
    copy.Remove(itr); // removes y, cursor moves to z
    EXPECT_EQ(itr.Current(), &z);
    EXPECT_EQ(copy.Size(), 2u);
    EXPECT_EQ(list.Size(), 3u);
    EXPECT_EQ(list.At(1), &y);

    PointerList moved(std::move(list));
    EXPECT_EQ(moved.Size(), 3u);
    EXPECT_TRUE(list.Empty());
}

TEST(BoyerMoore, FindsAcrossNulBytesAndAtEdges) {
    const std::string text("ab\0*PCFileName: \"K.PPD\"", 24);
    BoyerMoore search("*PCFileName");
    EXPECT_EQ(search.Find(text), 3u);
    EXPECT_EQ(search.Find(text, 4), std::string::npos);
    EXPECT_EQ(BoyerMoore("PPD\"").Find(text), 19u);
    EXPECT_EQ(BoyerMoore("longer than the text itself, surely").Find("short"), std::string::npos);
    EXPECT_EQ(search.Search(nullptr, nullptr), nullptr);
}

TEST(BoyerMoore, ReplaceAllTable) {
    struct Row {
        const char *text, *from, *to, *expected;
    } rows[] = {
        {"<*K> x <*K>", "<*K>", "5", "5 x 5"},
        {"aaa", "aa", "b", "ba"},       // non-overlapping, left to right
        {"a\\b", "\\", "\\\\", "a\\\\b"}, // growth does not rescan the output
        {"none here", "zz", "y", "none here"},
        {"keep", "", "y", "keep"},
    };
    for (const Row& r : rows)
        EXPECT_EQ(ReplaceAll(r.text, r.from, r.to), r.expected) << r.text;
}
