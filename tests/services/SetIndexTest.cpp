// Which of many sets hold given members, against asking each of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "ORQSrvSetIndex.h"
#include "Vocabulary.h"

namespace {

using Numbers = std::set<int>;

class SetIndex : public testing::Test {
  protected:
    ORQSimCSet ToSet(const Numbers& members) const {
        const Ints ascending(members.begin(), members.end());
        return m_collection.CreateVolatileCSet(ascending.data(), static_cast<int>(ascending.size()),
                                               true);
    }
    void Compare(const std::vector<Numbers>& sets, const Numbers& members) const {
        std::vector<ORQSimCSet> indexed;
        ORQSrvSetIndex::Answer expected;
        Numbers covered;
        for (const Numbers& set : sets) {
            Numbers common;
            std::ranges::set_intersection(set, members, std::inserter(common, common.end()));
            if (!common.empty()) {
                expected.places.push_back(static_cast<int>(indexed.size()));
                covered.insert(common.begin(), common.end());
            }
            indexed.push_back(ToSet(set));
        }
        const ORQSrvSetIndex::Answer found = ORQSrvSetIndex(indexed).Find(ToSet(members));
        ASSERT_EQ(found.places, expected.places);
        ASSERT_EQ(found.nCovered, static_cast<int>(covered.size()));
    }

    ORQSimDatabase m_database = ORQSimDatabase::CreateInMemory();
    ORQSimTransaction m_transaction{m_database.ContextID()};
    ORQSimCollection m_collection{m_database.Focus()
                                      .CreateTypedCollection(ORQSimSchema::ElementCollection, 100)
                                      .GetCollection()};
};

Numbers RunOf(int first, int count) {
    Numbers members;
    for (int i = 0; i < count; ++i) {
        members.insert(first + i);
    }
    return members;
}

}  // namespace

TEST_F(SetIndex, AnswersAsEachSetWould) {
    std::mt19937 random(7);
    const auto upTo = [&](int n) { return std::uniform_int_distribution(0, n)(random); };
    for (int round = 0; round < 400; ++round) {
        std::vector<Numbers> sets;
        int next = 0;
        for (int n = upTo(8); n > 0; --n) {
            if (round % 4 == 0) {  // runs in any places
                sets.push_back(RunOf(upTo(90), upTo(9)));
            } else if (round % 4 == 1) {  // scattered, also over each other
                Numbers members;
                for (int i = upTo(12); i > 0; --i) {
                    members.insert(upTo(99));
                }
                sets.push_back(members);
            } else {  // runs that do not meet, in any order
                next += upTo(3);
                const int count = upTo(8);
                sets.push_back(RunOf(next, count));
                next += count;
            }
        }
        std::ranges::shuffle(sets, random);
        Compare(sets, RunOf(upTo(60), upTo(40)));
        Numbers scattered;
        for (int i = upTo(20); i > 0; --i) {
            scattered.insert(upTo(99));
        }
        Compare(sets, scattered);
    }
}
