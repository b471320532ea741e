// The words in which the tests of the database floors speak.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "NewDatabase.h"
#include "ORQBasFailure.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"

using Ints = std::vector<int>;
using Doubles = std::vector<double>;
using Texts = std::vector<std::string>;
using Failure = ORQBasFailureKind;
using Mode = ORQSimDatabase::Mode;

// By how much to multiply what a test tries that could go on for ever: the environment variable
// ORQ_TEST_THOROUGHNESS, 1 when it is not set.
inline int Thoroughness() {
    const char* text = std::getenv("ORQ_TEST_THOROUGHNESS");
    return text == nullptr ? 1 : std::max(1, std::atoi(text));
}

// A folder of the test's own, removed with all that is in it.
class Folder {
  public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "orq-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no folder for the test");
        }
        m_path = name;
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

// Whether an action fails in the given way, with a text that says all of `parts`.
template <class Action>
testing::AssertionResult Fails(Failure kind, std::initializer_list<std::string> parts,
                               Action&& action) {
    try {
        action();
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != kind) {
            return testing::AssertionFailure()
                   << "kind " << failure.GetCode() << ": " << failure.Text();
        }
        for (const std::string& part : parts) {
            if (failure.Text().find(part) == std::string::npos) {
                return testing::AssertionFailure()
                       << "no \"" << part << "\" in: " << failure.Text();
            }
        }
        return testing::AssertionSuccess() << failure.Text();
    }
    return testing::AssertionFailure() << "nothing was thrown";
}

// Slots and types that the schema leaves free.
inline int Slot(int number) {
    return ads_CoreFragmentTypeIndex(900, number);
}

inline Ints Members(const ORQSimCSet& set) {
    Ints members(static_cast<std::size_t>(set.Size()));
    set.Members(members.data());
    return members;
}

inline Ints OrderedMembers(const ORQSimCSet& set) {
    Ints members(static_cast<std::size_t>(set.Size()));
    set.OrderedMembers(members.data());
    return members;
}

inline ORQSimCSet SetOf(const ORQSimCollection& collection, const Ints& members) {
    return collection.CreateVolatileOrderedCSet(members.data(), static_cast<int>(members.size()));
}

inline ORQSimCSet RunOf(const ORQSimCollection& collection, int first, int count) {
    return collection.CreateVolatileCSetStrided(first, count, 1, 1);
}

// What lies under a slot of the focus.
inline ORQSimPosition At(const ORQSimDatabase& database, int slot) {
    return database.Focus().GetPosition(Slot(slot));
}
inline ORQSimCollection CollectionAt(const ORQSimDatabase& database, int slot) {
    return ORQSimCollection(At(database, slot).GetCollection());
}

// The plain model of most tests: under the focus, nodes at slot 1, components (8) at slot 2, and a
// field of doubles over both at slot 3.
inline ORQSimCollection Nodes(const ORQSimDatabase& database) {
    return CollectionAt(database, 1);
}
inline ORQSimCollection Components(const ORQSimDatabase& database) {
    return CollectionAt(database, 2);
}
inline ORQSimDistribution Field(const ORQSimDatabase& database) {
    return At(database, 3).GetDistribution();
}

inline void MakeModel(const ORQSimDatabase& database, int nNodes, int scalar = ORQSimScalarDouble) {
    ORQSimTransaction transaction(database.ContextID());
    const ORQSimPosition focus = database.Focus();
    focus.SetPosition(Slot(1), focus.CreateTypedCollection(Slot(1), nNodes));
    focus.SetPosition(Slot(2), focus.CreateTypedCollection(Slot(2), 8));
    focus.SetPosition(Slot(3), focus.CreateTypedDistribution(
                                   ORQSimGrid({Nodes(database).ID(), Components(database).ID()}),
                                   Slot(3), ORQSimRangeType(scalar)));
    transaction.Commit();
}

inline ORQSimDrawerID MakeDrawer(const ORQSimDistribution& field, const ORQSimCSet& nodes,
                                 const ORQSimCSet& components, int chunk) {
    ORQSimArray<int> chunks(2);
    chunks.Get(0) = chunk;
    chunks.Get(1) = components.Size();
    ORQSimTransfer make(field);
    make.SetMakeNewDrawerChunked(chunks).SetExtendableDim(0).SetDim(0, nodes).SetDim(1, components);
    make.ExecMake();
    return make.DrawerID();
}

// Writes to the first drawer, made when there is none, and adds what it lacks.
inline void Append(const ORQSimDatabase& database, const ORQSimCSet& nodes,
                   const ORQSimCSet& components, const Doubles& values, int chunk = 1000) {
    const ORQSimDistribution field = Field(database);
    const ORQSimDrawerID drawer = field.NumDrawers() > 0
                                      ? field.DrawerIDArray().ConstGet(0)
                                      : MakeDrawer(field, nodes, components, chunk);
    ORQSimTransfer(field)
        .SetWrite()
        .SetAutoExtend()
        .SetDrawer(drawer)
        .SetDim(0, nodes)
        .SetDim(1, components)
        .SetBuffer(ORQSimbufMain, values.data(),
                   static_cast<std::int64_t>(values.size() * sizeof(double)))
        .ExecWrite();
}

inline constexpr double kUntouched = -77.0;

inline Doubles Read(const ORQSimDistribution& field, const ORQSimCSet& nodes,
                    const ORQSimCSet& components) {
    Doubles values(
        static_cast<std::size_t>(nodes.Size()) * static_cast<std::size_t>(components.Size()),
        kUntouched);
    ORQSimTransfer(field)
        .SetRead()
        .SetBufferType(ORQSimScalarDouble)
        .SetDim(0, nodes)
        .SetDim(1, components)
        .SetBuffer(ORQSimbufMain, values.data(),
                   static_cast<std::int64_t>(values.size() * sizeof(double)))
        .ExecRead();
    return values;
}

// All of the field over the first component.
inline Doubles FirstComponent(const ORQSimDatabase& database) {
    return Read(Field(database), ORQSimCSet(Nodes(database).ID()),
                RunOf(Components(database), 0, 1));
}

inline Doubles Filled(int count, double value) {
    return Doubles(static_cast<std::size_t>(count), value);
}

// Runs an action in a transaction of its own.
template <class Action>
void InTransaction(const ORQSimDatabase& database, Action&& action) {
    ORQSimTransaction transaction(database.ContextID());
    action();
    transaction.Commit();
}

inline std::string ReadBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A database in a folder of its own or in memory. Closing one in memory would lose it, so there
// Reopen does nothing.
class Store {
  public:
    explicit Store(bool onDisk)
        : m_onDisk(onDisk),
          m_url(onDisk ? NewModelInStore() : ""),
          m_database(onDisk ? ORQSimDatabase::Create(Path()) : ORQSimDatabase::CreateInMemory()) {}

    std::string Path() const { return m_url.empty() ? m_folder / "model.orq" : m_url; }
    const ORQSimDatabase& operator*() const { return m_database; }
    ORQSimDatabase* operator->() { return &m_database; }
    bool IsOnDisk() const { return m_onDisk; }
    bool IsInDirectory() const { return m_onDisk && m_url.empty(); }
    void Close() { m_database.Close(); }
    void Reopen(Mode mode = Mode::ReadWrite) {
        if (m_onDisk) {
            m_database.Close();
            m_database = ORQSimDatabase::Open(Path(), mode);
        }
    }

  private:
    Folder m_folder;
    bool m_onDisk;
    std::string m_url;
    ORQSimDatabase m_database;
};

// A suite whose cases run on a database on disk and on one in memory. Whatever a test did, what it
// committed verifies clean at the end.
class DatabaseTest : public testing::TestWithParam<bool> {
  protected:
    void TearDown() override {
        if (!Database().IsClosed()) {
            EXPECT_EQ(Database().Verify(), Texts());
        }
    }

    Store m_store{GetParam()};
    const ORQSimDatabase& Database() const { return *m_store; }
    ORQSimPosition Focus() const { return Database().Focus(); }
};
inline std::string MediumName(const testing::TestParamInfo<bool>& info) {
    return info.param ? "OnDisk" : "InMemory";
}
#define ON_BOTH_MEDIA(suite) INSTANTIATE_TEST_SUITE_P(Media, suite, testing::Bool(), MediumName)
