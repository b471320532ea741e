// Reading objects one after the other, in their order and near it, while they change in between:
// what was read before, or lies beside it, never shows through.
#include <map>
#include <set>
#include <tuple>

#include "ORQSimLinks.h"
#include "Peer.h"
#include "Vocabulary.h"

namespace {

constexpr int kRecords = 60;
constexpr int kSlots = 4;

// What is to be read; links are named by (record, slot), targets by number.
struct Contents {
    std::map<std::pair<int, int>, std::string> names;
    std::map<std::pair<int, int>, int> children;
    std::map<int, std::set<int>> sets;  // under one slot of each record
};

class RereadTest : public DatabaseTest {
  protected:
    void SetUp() override {
        InTransaction(Database(), [&] {
            const ORQSimPosition list = Focus().CreateTypedCollection(Slot(1), 0);
            Focus().SetPosition(Slot(1), list);
            ORQSimCollection members(list.GetCollection());
            for (int i = 0; i < kRecords; ++i) {
                m_records.push_back(Focus().CreateDataRecord(Slot(2)).Pos());
                members.AddMember(m_records.back());
            }
        });
    }

    int Random(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }
    ORQSimPosition Record(int i) const { return m_records[static_cast<std::size_t>(i)]; }

    void ExpectAsWritten(int i) const {
        for (int slot = 0; slot < kSlots; ++slot) {
            const auto name = m_now.names.find({i, slot});
            ASSERT_EQ(Record(i).Name(Slot(10 + slot)).UTF8(),
                      name == m_now.names.end() ? "" : name->second);
            const auto child = m_now.children.find({i, slot});
            ASSERT_EQ(Record(i).GetPosition(Slot(20 + slot)),
                      child == m_now.children.end() ? ORQSimPosition() : Record(child->second));
        }
        std::set<ORQSimPosition> wanted;
        if (const auto set = m_now.sets.find(i); set != m_now.sets.end()) {
            for (const int target : set->second) {
                wanted.insert(Record(target));
            }
        }
        std::set<ORQSimPosition> found;
        const ORQSimSet set = Record(i).GetSet(Slot(30));
        for (auto entry = set.Begin(); entry.NotDone(); ++entry) {
            found.insert(*entry);
        }
        ASSERT_EQ(found, wanted);
        ASSERT_EQ(set.Empty(), wanted.empty());
        ASSERT_EQ(CollectionAt(Database(), 1).GetMember(i), Record(i));
    }

    // Changes something of a record: adds it, replaces it, takes it away.
    void Change(int i) {
        const int slot = Random(kSlots);
        const int other = Random(kRecords);
        switch (Random(5)) {
            case 0:
                m_now.names[{i, slot}] = "name " + std::to_string(m_random());
                Record(i).SetName(Slot(10 + slot), m_now.names[{i, slot}]);
                break;
            case 1:
                m_now.children[{i, slot}] = other;
                Record(i).SetPosition(Slot(20 + slot), Record(other));
                break;
            case 2:
                m_now.children.erase({i, slot});
                Record(i).SetPosition(Slot(20 + slot), {});
                break;
            case 3:
                m_now.sets[i].insert(other);
                Record(i).GetSet(Slot(30)).Insert(Record(other));
                break;
            default:
                m_now.sets[i].erase(other);
                Record(i).GetSet(Slot(30)).Remove(Record(other));
        }
    }

    // Goes through some records in order, with a step back or a change here and there.
    void GoThrough(bool changes) {
        int i = Random(kRecords);
        for (const int end = std::min(kRecords, i + 12); i < end; ++i) {
            SCOPED_TRACE("record " + std::to_string(i));
            ASSERT_NO_FATAL_FAILURE(ExpectAsWritten(i));
            if (changes && Random(4) == 0) {
                Change(std::min(kRecords - 1, i + Random(3)));
                i -= i > 0 ? Random(2) : 0;
            }
        }
    }

    std::mt19937 m_random{20241121};
    std::vector<ORQSimPosition> m_records;
    Contents m_now;
};

}  // namespace

ON_BOTH_MEDIA(RereadTest);

TEST_P(RereadTest, WritesAndUndoneTransactionsShowAtOnce) {
    for (int round = 0; round < 150 * Thoroughness(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::vector<Contents> before;
        std::vector<std::unique_ptr<ORQSimTransaction>> levels;
        const auto begin = [&] {
            before.push_back(m_now);
            levels.push_back(std::make_unique<ORQSimTransaction>(Database().ContextID()));
        };
        const auto end = [&] {
            if (Random(2) == 0) {
                levels.back()->Commit();
            } else {
                m_now = before.back();
            }
            levels.pop_back();
            before.pop_back();
        };
        begin();
        for (int step = 0; step < 6; ++step) {
            ASSERT_NO_FATAL_FAILURE(GoThrough(true));
            if (Random(2) == 0) {
                begin();
            } else if (levels.size() > 1) {
                end();
            }
        }
        while (!levels.empty()) {
            end();
            ASSERT_NO_FATAL_FAILURE(GoThrough(!levels.empty()));
        }
    }
}

// Records are read in order up to the middle; there another process changes all of them.
TEST(RereadProcessTest, AReaderInTheMiddleSeesOneState) {
    Folder folder;
    const std::string path = folder / "model.orq";
    const auto record = [](const ORQSimDatabase& database, int i) {
        return CollectionAt(database, 1).GetMember(i);
    };
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        InTransaction(database, [&] {
            const ORQSimPosition list = database.Focus().CreateTypedCollection(Slot(1), 0);
            database.Focus().SetPosition(Slot(1), list);
            for (int i = 0; i < kRecords; ++i) {
                const ORQSimPosition made = database.Focus().CreateDataRecord(Slot(2)).Pos();
                CollectionAt(database, 1).AddMember(made);
                made.SetName(Slot(10), "old");
                made.SetPosition(Slot(20), database.Focus());
            }
        });
    }
    Peer writer({[&] {
        const ORQSimDatabase database = ORQSimDatabase::Open(path, Mode::ReadWrite);
        InTransaction(database, [&] {
            for (int i = 0; i < kRecords; ++i) {
                record(database, i).SetName(Slot(10), "new");
                record(database, i).SetPosition(Slot(20), {});
            }
        });
        return "changed";
    }});
    ORQSimDatabase reader = ORQSimDatabase::Open(path, Mode::ReadOnly);
    const auto expect = [&](int first, int last, const std::string& name, bool hasLink) {
        for (int i = first; i < last; ++i) {
            ASSERT_EQ(record(reader, i).Name(Slot(10)).UTF8(), name) << "record " << i;
            ASSERT_EQ(!record(reader, i).GetPosition(Slot(20)).IsNull(), hasLink) << "record " << i;
        }
    };
    expect(0, kRecords / 2, "old", true);
    EXPECT_EQ(writer.Run(), "changed");
    expect(kRecords / 2, kRecords - 10, "old", true);
    EXPECT_TRUE(reader.Refresh());
    expect(kRecords - 10, kRecords, "new", false);
    expect(0, kRecords, "new", false);
}
