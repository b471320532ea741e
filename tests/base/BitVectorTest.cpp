#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>
#include <vector>

#include "ORQBasAssertException.h"
#include "omi_BlkBitVect.h"

namespace {

constexpr int s_largest = std::numeric_limits<int>::max();

std::vector<int> Members(const omi_BlkBitVect& vector) {
    std::vector<int> members;
    omi_BlkBitVectTrav walk(vector);
    for (int member = walk.First(); member != -1; member = walk.Next()) {
        members.push_back(member);
    }
    EXPECT_EQ(walk.Next(), -1);
    return members;
}

omi_BlkBitVect Of(std::initializer_list<int> members) {
    omi_BlkBitVect vector;
    for (const int member : members) {
        vector.SetBit(member);
    }
    return vector;
}

}  // namespace

TEST(BitVector, AgreesWithASetUnderRandomUse) {
    std::mt19937 random(20240607);
    // Clusters at both sides of word and block borders and at the far end.
    const int bases[] = {0, 60, 32700, 1000000, s_largest - 200};
    for (int round = 0; round < 20; ++round) {
        omi_BlkBitVect vector;
        std::set<int> twin;
        for (int step = 0; step < 500; ++step) {
            const int member =
                bases[random() % std::size(bases)] + static_cast<int>(random() % 150);
            const int count = static_cast<int>(random() % 50);
            switch (random() % 4) {
                case 0:
                    vector.SetBit(member);
                    twin.insert(member);
                    break;
                case 1:
                    vector.SetRange(member, count);
                    for (int i = 0; i < count; ++i) {
                        twin.insert(member + i);
                    }
                    break;
                default:
                    vector.ClearBit(member);
                    twin.erase(member);
            }
            ASSERT_EQ(vector.IsSet(member), twin.contains(member));
        }
        EXPECT_EQ(vector.Count(), static_cast<std::int64_t>(twin.size()));
        EXPECT_EQ(Members(vector), std::vector<int>(twin.begin(), twin.end()));
    }
}

TEST(BitVector, RangeOverManyBlocksAndTheWholeUpperEnd) {
    omi_BlkBitVect vector;
    vector.SetRange(100, 10000000);
    EXPECT_EQ(vector.Count(), 10000000);
    EXPECT_FALSE(vector.IsSet(99));
    EXPECT_TRUE(vector.IsSet(100));
    EXPECT_TRUE(vector.IsSet(10000099));
    EXPECT_FALSE(vector.IsSet(10000100));
    vector.SetRange(s_largest, 1);
    EXPECT_TRUE(vector.IsSet(s_largest));
    vector.SetRange(5, 0);
    EXPECT_FALSE(vector.IsSet(5));
}

TEST(BitVector, RefusesWhatIsNoMember) {
    omi_BlkBitVect vector;
    EXPECT_THROW(vector.SetBit(-1), ORQBasAssertException);
    EXPECT_THROW(vector.SetRange(0, -1), ORQBasAssertException);
    EXPECT_THROW(vector.SetRange(s_largest, 2), ORQBasAssertException);
    EXPECT_TRUE(vector.IsEmpty());
    EXPECT_FALSE(vector.IsSet(-1));
    vector.ClearBit(-1);
    EXPECT_EQ(Members(vector), std::vector<int>());
}

TEST(BitVector, EqualityIsOfMembersNotOfHistory) {
    omi_BlkBitVect detour = Of({1, 70000});
    detour.ClearBit(70000);
    EXPECT_EQ(detour, Of({1}));
    EXPECT_NE(detour, Of({2}));
    detour.Clear();
    EXPECT_EQ(detour, omi_BlkBitVect());
}

TEST(BitVector, OrderServesAsAKey) {
    const std::set<omi_BlkBitVect> keys = {Of({}),      Of({0}),        Of({1}),   Of({0, 1}),
                                           Of({40000}), Of({0, 40000}), Of({1, 0})};
    EXPECT_EQ(keys.size(), 6U);
    for (auto lower = keys.begin(); lower != keys.end(); ++lower) {
        for (auto higher = std::next(lower); higher != keys.end(); ++higher) {
            EXPECT_TRUE(*lower < *higher);
            EXPECT_FALSE(*higher < *lower);
        }
    }
}
