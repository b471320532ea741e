// Chunks of few bytes, which stand in the catalogue until they grow.
#include <sqlite3.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "Vocabulary.h"

namespace {

constexpr int kMostSmallRows = 256;  // of 8 bytes: 2048

class SmallChunkTest : public DatabaseTest {
  protected:
    static constexpr int kNodes = 3000;
    static constexpr int kChunk = 1000;

    void SetUp() override {
        MakeModel(Database(), kNodes);
        m_values.assign(kNodes, kUntouched);
    }

    ORQSimCSet Run(int first, int count) const { return RunOf(Nodes(Database()), first, count); }
    ORQSimCSet OneComponent() const { return RunOf(Components(Database()), 0, 1); }

    // Adds or replaces values, and notes what all have then.
    void Put(int first, int count) {
        Doubles values;
        for (int i = 0; i < count; ++i) {
            m_values[static_cast<std::size_t>(first + i)] = ++m_last;
            values.push_back(m_last);
        }
        Append(Database(), Run(first, count), OneComponent(), values, kChunk);
    }
    void ExpectAll() const { EXPECT_EQ(FirstComponent(Database()), m_values); }

    // Where the committed chunks lie, in their order: 'a' alone in a row of small_chunk, 's' in
    // their row of extent, 'f' in the file.
    std::string Places() const {
        std::string places;
        sqlite3* catalogue = nullptr;
        EXPECT_EQ(sqlite3_open_v2((m_store.Path() + "/catalogue.sqlite").c_str(), &catalogue,
                                  SQLITE_OPEN_READONLY, nullptr),
                  SQLITE_OK);
        const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closed(catalogue, sqlite3_close);
        const auto add = [](void* to, int, char** texts, char**) {
            *static_cast<std::string*>(to) += texts[0];
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(catalogue,
                               "SELECT iif(offset = 0 AND length(small) = length, 's', 'f'), "
                               "store, part, chunk FROM extent "
                               "UNION ALL SELECT 'a', store, 0, 0 FROM small_chunk "
                               "ORDER BY store, part, chunk",
                               add, &places, nullptr),
                  SQLITE_OK);
        return places;
    }

    Doubles m_values;
    double m_last = 0;
};

TEST_P(SmallChunkTest, StandInTheCatalogueUntilTheyGrow) {
    const auto expect = [&](int first, int count, const std::string& places) {
        InTransaction(Database(), [&] { Put(first, count); });
        ExpectAll();
        if (m_store.IsInDirectory()) {
            EXPECT_EQ(Places(), places) << first << ", " << count;
        }
        if (m_store.IsOnDisk()) {
            m_store.Reopen();
            ExpectAll();
        }
        EXPECT_EQ(Database().Verify(), Texts());
    };
    expect(0, 1, "a");
    expect(1, kMostSmallRows - 1, "a");
    expect(100, 20, "a");
    expect(kMostSmallRows, 1, "f");
    expect(0, 10, "f");
    // Behind the first one two more chunks, of which one is only begun.
    expect(kMostSmallRows + 1, kChunk - kMostSmallRows, "fs");
    expect(kChunk + 1, kChunk + 9, "ffs");
}

// The first chunk leaves the row of its own when there is a second one, whichever is written first.
TEST_P(SmallChunkTest, AreAloneUntilThereIsAnother) {
    constexpr int kRows = 10;
    for (const bool isSecondFirst : {false, true}) {
        const ORQSimDistribution field = Field(Database());
        const ORQSimDrawerID drawer = [&] {
            ORQSimTransaction transaction(Database().ContextID());
            const ORQSimDrawerID made = MakeDrawer(field, Run(0, 2 * kRows), OneComponent(), kRows);
            transaction.Commit();
            return made;
        }();
        // Read before it is written: nothing of that is kept.
        Doubles values(static_cast<std::size_t>(2 * kRows), 0.0);
        const auto expect = [&](const std::string& places) {
            EXPECT_EQ(Read(field, Run(0, 2 * kRows), OneComponent()), values);
            if (m_store.IsInDirectory()) {
                EXPECT_EQ(Places(), places);
            }
            EXPECT_EQ(Database().Verify(), Texts());
        };
        const auto write = [&](int first) {
            const Doubles written = Filled(kRows, first + 1.0);
            std::ranges::copy(written, values.begin() + first);
            InTransaction(Database(),
                          [&] { Append(Database(), Run(first, kRows), OneComponent(), written); });
        };
        expect("");
        write(isSecondFirst ? kRows : 0);
        expect(isSecondFirst ? "s" : "a");
        write(isSecondFirst ? 0 : kRows);
        expect("ss");
        InTransaction(Database(), [&] { field.DeleteDrawer(drawer); });
        EXPECT_EQ(m_store.IsInDirectory() ? Places() : "", "");
    }
}

// What a level changed is as it was before when it is undone, also where the chunk went to the file
// meanwhile.
TEST_P(SmallChunkTest, AreUndoneWithTheirLevel) {
    std::mt19937 random(77);
    int nRows = 0;
    const auto change = [&] {
        const int first = static_cast<int>(random() % static_cast<unsigned>(nRows + 1));
        const int count = static_cast<int>(random() % 150) + 1;
        Put(first, count);
        nRows = std::max(nRows, first + count);
    };
    // Does it within a level, and undoes that one half of the time.
    const auto within = [&](auto&& action) {
        const Doubles before = m_values;
        const int nBefore = nRows;
        {
            ORQSimTransaction level(Database().ContextID());
            action();
            ExpectAll();
            if (random() % 2 == 0) {
                level.Commit();
                return;
            }
        }
        m_values = before;
        nRows = nBefore;
        ExpectAll();
    };
    int nMoved = 0;
    for (int round = 0; round < 100 * Thoroughness(); ++round) {
        within([&] {
            if (nRows > 3 * kMostSmallRows / 2) {
                ++nMoved;
                const ORQSimDistribution field = Field(Database());
                field.DeleteDrawer(field.DrawerIDArray().ConstGet(0));
                m_values.assign(kNodes, kUntouched);
                nRows = 0;
            }
            change();
            within(change);
            within(change);
        });
        if (round % 10 == 0) {
            m_store.Reopen();
            ASSERT_EQ(Database().Verify(), Texts());
            ExpectAll();
        }
    }
    EXPECT_GT(nMoved, 3);
}

TEST_P(SmallChunkTest, ReadersSeeThemAsTheyWereCommitted) {
    if (!m_store.IsOnDisk()) {
        return;
    }
    InTransaction(Database(), [&] { Put(0, 20); });
    ORQSimDatabase reader = ORQSimDatabase::Open(m_store.Path(), Mode::ReadOnly);
    for (const int count : {5, 100, 2 * kMostSmallRows}) {
        const Doubles before = m_values;
        EXPECT_EQ(FirstComponent(reader), before);
        InTransaction(Database(), [&] { Put(10, count); });
        EXPECT_EQ(FirstComponent(reader), before);
        EXPECT_TRUE(reader.Refresh());
        EXPECT_EQ(FirstComponent(reader), m_values);
    }
}

ON_BOTH_MEDIA(SmallChunkTest);

}  // namespace
