#include <gtest/gtest.h>

#include <string>

#include "ORQBasMap.h"
#include "ORQBasSet.h"
#include "ORQBasSharedPtr.h"
#include "ORQBasVector.h"
#include "ORQSimArray.h"
#include "ORQSimBtree.h"
#include "ORQString.h"
#include "omi_IntTable.h"

TEST(Map, InsertUniqueNeverOverwritesAndCopiesAreApart) {
    ORQBasMap<int, std::string> map;
    EXPECT_TRUE(map.InsertUnique(2, "two"));
    EXPECT_TRUE(map.InsertUnique(1, "one"));
    EXPECT_FALSE(map.InsertUnique(2, "other"));
    ORQBasMap<int, std::string> copy = map;
    map.Clear();
    EXPECT_EQ(map.Size(), 0);
    EXPECT_EQ(map.Find(2), nullptr);
    ASSERT_NE(copy.Find(2), nullptr);
    EXPECT_EQ(*copy.Find(2), "two");
    EXPECT_EQ(copy.begin()->first, 1);
}

TEST(Set, IsOrderedAndRefusesDuplicates) {
    ORQBasSet<ORQString> set;
    EXPECT_TRUE(set.InsertUnique("b"));
    EXPECT_TRUE(set.InsertUnique("a"));
    EXPECT_FALSE(set.InsertUnique("b"));
    EXPECT_TRUE(set.IsMember("a"));
    EXPECT_FALSE(set.IsMember("c"));
    EXPECT_EQ(*set.begin(), "a");
    EXPECT_EQ(set.Size(), 2);
}

TEST(Vector, InitReplacesResizeKeepsSwapExchanges) {
    ORQBasVector<int> vector{9};
    vector.Init(2, 4);
    vector.PushBack(5);
    vector.Resize(4);
    EXPECT_EQ(vector, (ORQBasVector<int>{4, 4, 5, 0}));
    ORQBasVector<int> other{1};
    vector.Swap(other);
    EXPECT_EQ(vector.Size(), 1);
    EXPECT_EQ(other.Size(), 4);
}

TEST(WeakPointer, SeesTheEndOfItsObject) {
    auto shared = std::make_shared<int>(5);
    const ORQBasWeakPtr<int> weak = shared;
    ORQBasSharedPtr<int> second = shared;
    shared.reset();
    EXPECT_EQ(*weak.lock(), 5);
    second.reset();
    EXPECT_EQ(weak.lock(), nullptr);
}

TEST(IntTable, TakesEveryKeyOnce) {
    omi_IntTable<std::string> table;
    EXPECT_TRUE(table.Insert(-7, "minus seven"));
    EXPECT_FALSE(table.Insert(-7, "again"));
    ASSERT_NE(table.Find(-7), nullptr);
    EXPECT_EQ(*table.Find(-7), "minus seven");
    EXPECT_EQ(table.Find(7), nullptr);
    omi_UintTable<int> unsignedTable;
    EXPECT_TRUE(unsignedTable.Insert(4294967295U, 1));
    EXPECT_NE(unsignedTable.Find(4294967295U), nullptr);
    EXPECT_EQ(unsignedTable.Size(), 1);
}

TEST(Array, ChecksEveryIndexAndNamesIt) {
    ORQSimArray<ORQString> array(2, 100);
    EXPECT_EQ(array.Size(), 2);
    array.Get(1) = "last";
    array.SetSize(3);
    EXPECT_EQ(array.ConstGet(1), "last");
    EXPECT_TRUE(array.ConstGet(2).IsEmpty());
    EXPECT_EQ(array.Ptr() + 1, &array.Get(1));
    EXPECT_THROW(array.Get(-1), ORQBasAssertException);
    try {
        array.ConstGet(3);
        FAIL() << "index 3 of 3 was accepted";
    } catch (ORQBasException& caught) {
        EXPECT_STREQ(caught.AsString(ORQBasStringMode::Unicode).c_str(),
                     "index 3 is outside [0, 3)");
    }
}

TEST(SimBtree, ReplacesOnlyWhenTold) {
    ORQSimBtree<ORQString, int> tree;
    EXPECT_TRUE(tree.Insert("S4", 4, false));
    EXPECT_FALSE(tree.Insert("S4", 5, false));
    EXPECT_EQ(tree.Get("S4"), 4);
    EXPECT_TRUE(tree.Insert("S4", 6, true));
    EXPECT_EQ(tree.Get("S4"), 6);
    EXPECT_TRUE(tree.Insert("S3", 3, true));
    EXPECT_EQ(tree.Size(), 2);
    EXPECT_EQ(tree.begin()->first, "S3");
    EXPECT_FALSE(tree.IsMember("S8"));
    EXPECT_THROW(tree.Get("S8"), ORQBasAssertException);
}
