// What the tests of models in stores share: a model of the test's own, and machines, each of which
// is a cache.
#pragma once

#include <cstdlib>

#include "History.h"
#include "ORQSimModelStore.h"
#include "PostgresServer.h"
#include "Vocabulary.h"

// Enough that their values are a piece in the store, and none of the catalogue.
inline constexpr int kSharedNodes = 1000;

class RemoteFixture : public testing::Test {
  protected:
    void SetUp() override {
        m_server = PostgresServer::Get();
        if (m_server == nullptr) {
            GTEST_SKIP();
        }
        static const Texts left = ORQSimModelStore::Prepare(m_server->Url(""));
        ASSERT_EQ(left, Texts());
        static int number = 0;
        m_name = "test-" + std::to_string(++number);
        m_url = m_server->Url(m_name);
        UseMachine("first");
    }

    // From here on this process is on that machine.
    void UseMachine(const std::string& name) {
        setenv("XDG_CACHE_HOME", (m_folder / name).c_str(), 1);
    }
    ORQSimDatabase Open(Mode mode, const std::string& suffix = "") const {
        return ORQSimDatabase::Open(m_url + suffix, mode);
    }
    ORQSimDatabase Create() const {
        ORQSimDatabase database = ORQSimDatabase::Create(m_url);
        MakeModel(database, kSharedNodes);
        return database;
    }
    static void WriteAll(const ORQSimDatabase& database, double value) {
        InTransaction(database, [&] {
            Append(database, RunOf(Nodes(database), 0, kSharedNodes),
                   RunOf(Components(database), 0, 1), Filled(kSharedNodes, value));
        });
    }

    PostgresServer* m_server = nullptr;
    Folder m_folder;
    std::string m_name;
    std::string m_url;
};
