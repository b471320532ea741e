// Fields of records: whatever is set in transactions of any depth reads as in a plain twin, also
// where there is more than is kept in memory.
#include <functional>
#include <map>
#include <string>
#include <variant>

#include "ORQSimLinks.h"
#include "ORQSimReferences.h"
#include "Vocabulary.h"

namespace {

// Behind an int: a symbol and a type are ints too.
struct Symbol {
    int value;
    bool operator==(const Symbol&) const = default;
};
struct Type {
    int value;
    bool operator==(const Type&) const = default;
};
using Value = std::variant<int, Symbol, Type, Doubles, std::string>;
using Fields = std::map<int, Value>;

struct SettingField {
    const ORQSimDataRecord& record;
    int field;
    void operator()(int value) const { record.SetInt(field, value); }
    void operator()(const Symbol& value) const { record.SetSymb(field, value.value); }
    void operator()(const Type& value) const { record.SetTypeID(field, ORQSimTypeID(value.value)); }
    void operator()(const Doubles& values) const {
        record.SetDouble(field, static_cast<int>(values.size()), values.data());
    }
    void operator()(const std::string& value) const { record.SetString(field, ORQString(value)); }
};

struct IsHeldBy {
    const ORQSimDataRecord& record;
    int field;
    bool operator()(int value) const { return record.GetInt(field) == value; }
    bool operator()(const Symbol& value) const { return record.GetSymb(field) == value.value; }
    bool operator()(const Type& value) const {
        return record.GetTypeID(field) == ORQSimTypeID(value.value);
    }
    bool operator()(const Doubles& values) const {
        Doubles held(values.size() + 1, kUntouched);
        record.GetDouble(field, static_cast<int>(held.size()), held.data());
        Doubles wanted = values;
        wanted.push_back(0.0);
        return held == wanted;
    }
    bool operator()(const std::string& value) const {
        return record.ReturnString(field) == ORQString(value);
    }
};

class RecordTest : public DatabaseTest {
  protected:
    using Twin = std::vector<Fields>;  // by place in the vector of records

    ORQSimVector Records() const { return Focus().GetVector(Slot(1)); }
    void Add() {
        Records().PushBack(Focus().CreateDataRecord(Slot(2)).Pos());
        m_twin.emplace_back();
    }
    int Any(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }
    // Texts are long now and then: several of them are more than is kept in memory.
    Value AnyValue() {
        switch (Any(5)) {
            case 0:
                return Any(1000) - 500;
            case 1:
                return Symbol{Any(1000)};
            case 2:
                return Type{Any(1000)};
            case 3:
                return Doubles(static_cast<std::size_t>(Any(20)), Any(100) * 0.25);
            default:
                return std::string(static_cast<std::size_t>(Any(40) == 0 ? 600'000 : Any(300)),
                                   static_cast<char>('a' + Any(26)));
        }
    }
    void SetAny() {
        const int place = Any(static_cast<int>(m_twin.size()));
        // Numbers of one byte, of two and of five.
        constexpr std::array kNumbers = {0, 1, 2, 3, 15, 16, 17, 300, 2147483647};
        const int field = kNumbers[static_cast<std::size_t>(Any(kNumbers.size()))];
        const Value value = AnyValue();
        std::visit(SettingField{Records()[place].DataRecord(), field}, value);
        m_twin[static_cast<std::size_t>(place)][field] = value;
    }
    void CheckRecord(int place) const {
        const ORQSimDataRecord record = Records()[place].DataRecord();
        for (const auto& [field, value] : m_twin[static_cast<std::size_t>(place)]) {
            ASSERT_TRUE(std::visit(IsHeldBy{record, field}, value)) << place << ", " << field;
        }
        ASSERT_EQ(record.GetInt(5), 0) << "a field that was never set";
        ASSERT_EQ(record.GetInt(-1), 0) << "a field that there cannot be";
    }
    void CheckAll() const {
        ASSERT_EQ(Records().Size(), static_cast<int>(m_twin.size()));
        for (int place = 0; place < static_cast<int>(m_twin.size()); ++place) {
            CheckRecord(place);
        }
    }
    // Changes records, in levels below levels, some of which are undone.
    void Live(int depth) {
        const Twin before = m_twin;
        ORQSimTransaction transaction(Focus());
        for (int step = 0; step < 30; ++step) {
            const int what = Any(20);
            if (what == 0 && depth < 3) {
                Live(depth + 1);
            } else if (what < 4 || m_twin.empty()) {
                Add();
            } else if (what < 7) {
                CheckRecord(Any(static_cast<int>(m_twin.size())));
            } else {
                SetAny();
            }
        }
        if (Any(3) == 0) {
            CheckAll();
            m_twin = before;  // the destructor undoes it
        } else {
            transaction.Commit();
        }
    }

    Twin m_twin;
    std::mt19937 m_random{20261122};
};

}  // namespace

ON_BOTH_MEDIA(RecordTest);

TEST_P(RecordTest, WhateverIsSetReadsAsInAPlainTwin) {
    for (int round = 0; round < 12 * Thoroughness(); ++round) {
        Live(0);
        CheckAll();
        if (Any(3) == 0) {
            m_store.Reopen();
            CheckAll();
        }
    }
    EXPECT_GT(m_twin.size(), 20U);
}

// A row that is changed is given to the catalogue late, also where nothing else of it changes.
TEST_P(RecordTest, OneChangedFieldIsACommit) {
    InTransaction(Database(), [&] { Add(); });
    const std::int64_t generation = Database().Generation();
    InTransaction(Database(), [&] { (void)Records()[0].DataRecord().GetInt(0); });
    EXPECT_EQ(Database().Generation(), generation);
    InTransaction(Database(), [&] { Records()[0].DataRecord().SetInt(0, 0); });
    EXPECT_EQ(Database().Generation(), generation + 1);
}

TEST_P(RecordTest, WhatIsDeletedIsNotWrittenAgain) {
    InTransaction(Database(), [&] {
        Add();
        Add();
    });
    const ORQSimPosition first = Records()[0];
    InTransaction(Database(), [&] {
        first.DataRecord().SetInt(0, 7);
        ORQSimReferences(Database().ContextID()).Delete(first.ID());
        EXPECT_EQ(first.DataRecord().GetInt(0), 0);
        EXPECT_TRUE(Fails(Failure::Usage, {"object", "does not exist"},
                          [&] { first.DataRecord().SetInt(0, 8); }));
    });
    m_store.Reopen();
    EXPECT_EQ(Records().Size(), 1);
}

// Names of maps wait in memory as well: added in order and out of order, taken ones refused.
TEST_P(RecordTest, NamesThatAreAddedReadAsInAPlainTwin) {
    using Names = std::map<std::pair<int, std::string>, ORQSimPosition>;  // by map and name
    Names twin;
    std::vector<ORQSimPosition> targets;
    InTransaction(Database(), [&] {
        for (int i = 0; i < 5; ++i) {
            targets.push_back(Focus().CreateDataRecord(Slot(2)).Pos());
        }
    });
    const auto mapAt = [&](int which) { return Focus().GetMap(Slot(10 + which)); };
    const auto anyName = [&](int step) {
        // Mostly new ones in order, some that were added a moment ago, some out of order.
        return Any(3) > 0 ? "n" + std::to_string(100000 + step - Any(3) * Any(4))
                          : "m" + std::to_string(Any(60));
    };
    const auto check = [&] {
        Names found;
        for (int which = 0; which < 2; ++which) {
            for (auto link = mapAt(which).Begin(); link.NotDone(); ++link) {
                found.emplace(std::pair(which, link.Key().UTF8()), link.Value());
            }
        }
        ASSERT_EQ(found, twin);
    };
    int step = 0;
    const std::function<void(int)> live = [&](int depth) {
        const Names before = twin;
        ORQSimTransaction transaction(Focus());
        int which = 0;
        for (int end = step + 60; step < end; ++step) {
            which = Any(8) == 0 ? Any(2) : which;
            const std::string name = anyName(step);
            const auto key = std::pair(which, name);
            const ORQSimPosition& target = targets[static_cast<std::size_t>(Any(5))];
            const int what = Any(40);
            if (what == 0 && depth < 3) {
                live(depth + 1);
            } else if (what < 3) {
                ASSERT_EQ(mapAt(which).Remove(ORQString(name)), twin.erase(key) > 0);
            } else if (what < 6) {
                const auto held = twin.find(key);
                ASSERT_EQ(mapAt(which).Find(ORQString(name)),
                          held == twin.end() ? ORQSimPosition() : held->second);
            } else if (what == 6) {
                check();
            } else if (what == 7) {
                const bool isNamed = std::ranges::any_of(twin, [&](const auto& entry) {
                    return entry.first.first == which && entry.second == target;
                });
                ASSERT_EQ(!target.GetReferenceKey(Slot(10 + which)).IsEmpty(), isNamed);
            } else {
                ASSERT_EQ(mapAt(which).Insert(ORQString(name), target),
                          twin.emplace(key, target).second)
                    << name;
            }
        }
        if (Any(3) == 0) {
            twin = before;  // the destructor undoes it
        } else {
            transaction.Commit();
        }
    };
    for (int round = 0; round < 20 * Thoroughness(); ++round) {
        live(0);
        check();
    }
    EXPECT_GT(twin.size(), 100U);
}
