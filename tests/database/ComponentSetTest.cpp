#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <random>
#include <set>
#include <tuple>

#include "ComponentSet.h"
#include "ORQBasFailure.h"

using orq::database::ComponentSet;
using orq::database::ComponentSetPtr;
using Form = ComponentSet::Form;
using Ints = std::vector<int>;

namespace {

Ints InOrder(const ComponentSetPtr& set) {
    Ints members(static_cast<std::size_t>(set->Size()));
    set->CopyMembers(members.data());
    return members;
}

// A set, and the same members written out.
struct Twins {
    ComponentSetPtr set;
    Ints members;

    std::set<int> Plain() const { return {members.begin(), members.end()}; }
};

// A set of one of the four forms, within a window that moves so that two sets often meet.
Twins Random(std::mt19937& random, Form form, int low) {
    const auto upTo = [&](int n) { return std::uniform_int_distribution(0, n)(random); };
    const int first = low + upTo(30);
    Twins twins;
    if (form == Form::Contiguous) {
        const int count = upTo(40);
        twins.set = ComponentSet::Contiguous(first, count);
        for (int i = 0; i < count; ++i) {
            twins.members.push_back(first + i);
        }
        return twins;
    }
    if (form == Form::Strided) {
        const int block = 1 + upTo(3);
        const int stride = block + upTo(5);
        const int count = upTo(12);
        twins.set = ComponentSet::Strided(first, count, stride, block);
        for (int i = 0; i < count * block; ++i) {
            twins.members.push_back(first + i / block * stride + i % block);
        }
        return twins;
    }
    std::set<int> members;
    for (int n = upTo(6); n > 0; --n) {
        const int runFirst = low + upTo(60);
        for (int i = upTo(8); i >= 0; --i) {
            members.insert(runFirst + i);
        }
    }
    twins.members.assign(members.begin(), members.end());
    if (form == Form::Sorted) {
        twins.set = ComponentSet::FromAscending(twins.members);
    } else {
        std::ranges::shuffle(twins.members, random);
        twins.set = ComponentSet::FromOrdered(twins.members);
    }
    return twins;
}

void ExpectIs(const ComponentSetPtr& set, const std::set<int>& plain) {
    ASSERT_TRUE(set->IsAscending());
    ASSERT_EQ(InOrder(set), Ints(plain.begin(), plain.end()));
    // However it came about, it is the set that is made from its members.
    const ComponentSetPtr made = ComponentSet::FromMembers({plain.begin(), plain.end()});
    ASSERT_TRUE(set->SameSequence(*made));
    ASSERT_EQ(set->Hash(), made->Hash());
}

void ExpectAnswersAsItsTwin(const Twins& twins) {
    ASSERT_EQ(InOrder(twins.set), twins.members);
    for (int location = 0; location < twins.set->Size(); ++location) {
        ASSERT_EQ(twins.set->At(location), twins.members[static_cast<std::size_t>(location)]);
    }
    for (int member = -60; member < 140; ++member) {
        const auto found = std::ranges::find(twins.members, member);
        ASSERT_EQ(twins.set->Seek(member), found == twins.members.end()
                                               ? -1
                                               : static_cast<int>(found - twins.members.begin()))
            << "member " << member;
    }
    if (!twins.members.empty()) {
        ASSERT_EQ(twins.set->Lowest(), *twins.Plain().begin());
        ASSERT_EQ(twins.set->Highest(), *twins.Plain().rbegin());
    }
    int next = 0;
    twins.set->ForEachRun([&](int location, int first, int count) {
        ASSERT_EQ(location, next);
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(twins.set->At(location + i), first + i);
        }
        next += count;
    });
    ASSERT_EQ(next, twins.set->Size());
}

void ExpectCommonRuns(const Twins& a, const Twins& b) {
    std::vector<std::pair<int, int>> expected;
    for (int location = 0; location < a.set->Size(); ++location) {
        if (const int other = b.set->Seek(a.set->At(location)); other >= 0) {
            expected.emplace_back(location, other);
        }
    }
    std::vector<std::pair<int, int>> found;
    ComponentSet::ForEachCommonRun(*a.set, *b.set, [&](int inA, int inB, int count) {
        ASSERT_GT(count, 0);
        for (int i = 0; i < count; ++i) {
            found.emplace_back(inA + i, inB + i);
        }
    });
    ASSERT_EQ(found, expected);
}

class Forms : public testing::TestWithParam<std::tuple<Form, Form>> {};

}  // namespace

TEST_P(Forms, CombineLikePlainSets) {
    const auto [formA, formB] = GetParam();
    std::mt19937 random(4711);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const Twins a = Random(random, formA, round % 3 == 0 ? -40 : 0);
        const Twins b = round % 17 == 0 ? a : Random(random, formB, round % 5 == 0 ? 30 : 0);
        const std::set<int> x = a.Plain();
        const std::set<int> y = b.Plain();
        std::set<int> both;
        std::set<int> either = x;
        std::set<int> onlyX;
        either.insert(y.begin(), y.end());
        std::ranges::set_intersection(x, y, std::inserter(both, both.end()));
        std::ranges::set_difference(x, y, std::inserter(onlyX, onlyX.end()));
        ASSERT_NO_FATAL_FAILURE(ExpectAnswersAsItsTwin(a));
        ASSERT_NO_FATAL_FAILURE(ExpectIs(ComponentSet::Ascending(a.set), x));
        ASSERT_NO_FATAL_FAILURE(ExpectIs(ComponentSet::Union(a.set, b.set), either));
        ASSERT_NO_FATAL_FAILURE(ExpectIs(ComponentSet::Intersection(a.set, b.set), both));
        ASSERT_NO_FATAL_FAILURE(ExpectIs(ComponentSet::Difference(a.set, b.set), onlyX));
        ASSERT_NO_FATAL_FAILURE(ExpectCommonRuns(a, b));
    }
}

INSTANTIATE_TEST_SUITE_P(AllPairs, Forms,
                         testing::Combine(testing::Values(Form::Contiguous, Form::Strided,
                                                          Form::Sorted, Form::Ordered),
                                          testing::Values(Form::Contiguous, Form::Strided,
                                                          Form::Sorted, Form::Ordered)));

TEST(ComponentSet, HoldsTheOutermostInts) {
    const std::set<int> plain = {INT_MIN, INT_MIN + 1, -1, 0, 5, INT_MAX - 1, INT_MAX};
    for (const bool reversed : {false, true}) {
        const Ints members =
            reversed ? Ints(plain.rbegin(), plain.rend()) : Ints(plain.begin(), plain.end());
        const ComponentSetPtr set = ComponentSet::FromOrdered(members);
        EXPECT_EQ(InOrder(set), members);
        EXPECT_EQ(set->Lowest(), INT_MIN);
        EXPECT_EQ(set->Highest(), INT_MAX);
        for (int location = 0; location < set->Size(); ++location) {
            EXPECT_EQ(set->Seek(set->At(location)), location);
        }
        EXPECT_EQ(set->Seek(1), -1);
        ExpectIs(ComponentSet::Ascending(set), plain);
    }
    const ComponentSetPtr top = ComponentSet::Contiguous(INT_MAX - 3, 4);
    const ComponentSetPtr two = ComponentSet::FromMembers({INT_MAX - 9, INT_MAX - 1, INT_MAX});
    EXPECT_EQ(InOrder(top), (Ints{INT_MAX - 3, INT_MAX - 2, INT_MAX - 1, INT_MAX}));
    ExpectIs(ComponentSet::Union(top, two),
             {INT_MAX - 9, INT_MAX - 3, INT_MAX - 2, INT_MAX - 1, INT_MAX});
    ExpectIs(ComponentSet::Intersection(two, top), {INT_MAX - 1, INT_MAX});
    ExpectIs(ComponentSet::Difference(two, top), {INT_MAX - 9});
    ExpectIs(ComponentSet::Difference(two, ComponentSet::Contiguous(0, 3)),
             {INT_MAX - 9, INT_MAX - 1, INT_MAX});
    ExpectCommonRuns({two, {}}, {top, {}});
    ExpectCommonRuns({top, {}}, {two, {}});
    const ComponentSetPtr wide = ComponentSet::Strided(1, 3, INT_MAX / 2, 1);
    EXPECT_EQ(InOrder(wide), (Ints{1, 1 + INT_MAX / 2, 1 + INT_MAX / 2 * 2}));
    ExpectIs(ComponentSet::Difference(wide, ComponentSet::Contiguous(0, 5)),
             {1 + INT_MAX / 2, INT_MAX});
}

TEST(ComponentSet, StridedEdgesFallIntoSimplerForms) {
    EXPECT_TRUE(ComponentSet::Strided(5, 0, 3, 2)->IsEmpty());
    EXPECT_TRUE(ComponentSet::Strided(5, 3, 3, 0)->IsEmpty());
    EXPECT_EQ(ComponentSet::Strided(5, 1, 0, 4)->GetForm(), Form::Contiguous);
    EXPECT_EQ(ComponentSet::Strided(5, 3, 4, 4)->GetForm(), Form::Contiguous);
    EXPECT_EQ(ComponentSet::FromMembers({9, 3, 6, 3})->GetForm(), Form::Strided);
    // Blocks of two are the same set however they were given.
    EXPECT_TRUE(ComponentSet::Strided(0, 3, 5, 2)
                    ->SameSequence(*ComponentSet::FromMembers({0, 1, 5, 6, 10, 11})));
    for (const auto& [count, stride, block] :
         {std::tuple(-1, 1, 1), {2, 1, 2}, {2, -4, 1}, {3, INT_MAX, 1}, {1, 1, -1}}) {
        EXPECT_THROW(ComponentSet::Strided(1, count, stride, block), ORQBasFailure)
            << count << ' ' << stride << ' ' << block;
    }
    EXPECT_THROW(ComponentSet::Strided(INT_MAX, 1, 1, 2), ORQBasFailure);
}

TEST(ComponentSet, OrderedMembersMayNotRepeat) {
    EXPECT_THROW(ComponentSet::FromOrdered({4, -1, 4}), ORQBasFailure);
    EXPECT_EQ(ComponentSet::FromOrdered({1, 2, 3})->GetForm(), Form::Contiguous);
    EXPECT_FALSE(
        ComponentSet::FromOrdered({3, 2})->SameSequence(*ComponentSet::FromOrdered({2, 3})));
}

// Members close together and far apart, in any order and repeated.
TEST(ComponentSet, UnsortedMembersCountOnce) {
    std::mt19937 random(11);
    for (const int spread : {0, 70, 5000, 1'000'000, INT_MAX}) {
        Ints members(1000);
        for (int& member : members) {
            member = std::uniform_int_distribution(-spread / 3, spread)(random);
        }
        members.push_back(members.front());
        const std::set<int> plain(members.begin(), members.end());
        ExpectIs(ComponentSet::FromMembers(members), plain);
        EXPECT_THROW(ComponentSet::FromOrdered(members), ORQBasFailure);
        Ints once(plain.begin(), plain.end());
        std::ranges::shuffle(once, random);
        const ComponentSetPtr ordered = ComponentSet::FromOrdered(once);
        EXPECT_EQ(InOrder(ordered), once);
        ExpectIs(ComponentSet::Ascending(ordered), plain);
        ExpectIs(ComponentSet::Intersection(ordered, ComponentSet::FromMembers(members)), plain);
    }
}

// Two hundred thousand operations on ten million members: impossible if any were walked.
TEST(ComponentSet, RunsCombineInConstantTime) {
    const auto begin = std::chrono::steady_clock::now();
    std::int64_t sum = 0;
    for (int i = 0; i < 50000; ++i) {
        const ComponentSetPtr a = ComponentSet::Contiguous(i, 10'000'000);
        const ComponentSetPtr b = ComponentSet::Contiguous(5'000'000 + i, 10'000'000);
        const ComponentSetPtr few = ComponentSet::Strided(i, 3, 4'000'000, 1);
        sum += ComponentSet::Intersection(a, b)->Size() + ComponentSet::Union(a, b)->Size() +
               ComponentSet::Difference(a, b)->Size() + ComponentSet::Intersection(a, few)->Size();
        int common = 0;
        ComponentSet::ForEachCommonRun(*a, *few, [&](int, int, int count) { common += count; });
        EXPECT_EQ(common, 3);
    }
    EXPECT_EQ(sum, 50000 * (5'000'000LL + 15'000'000 + 5'000'000 + 3));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}
