// The cache of models in stores: what it has, what it loses, and what a store may not do to it.
#include <sys/wait.h>
#include <unistd.h>

#include "Proxy.h"
#include "RemoteFixture.h"

namespace {

namespace fs = std::filesystem;

class CacheTest : public RemoteFixture {
  protected:
    // The slots of the machine that this process is on.
    static std::vector<fs::path> Slots() {
        std::vector<fs::path> slots;
        for (const auto& entry : fs::recursive_directory_iterator(std::getenv("XDG_CACHE_HOME"))) {
            if (entry.path().filename().string().starts_with("slot-")) {
                slots.push_back(entry.path());
            }
        }
        return slots;
    }
    void CreateWith(double value) {
        const ORQSimDatabase database = Create();
        WriteAll(database, value);
    }
    // Reads on a machine that has nothing yet.
    Doubles ReadAnew(const std::string& suffix = "") {
        static int number = 0;
        UseMachine("anew-" + std::to_string(++number));
        return FirstComponent(Open(Mode::ReadOnly, suffix));
    }
};

}  // namespace

TEST_F(CacheTest, WithoutTheStoreAStateThatIsThereIsRead) {
    Proxy proxy(m_server->Folder());
    CreateWith(1);
    UseMachine("second");
    const std::string url = m_server->Url(m_name, proxy.Folder());
    EXPECT_EQ(FirstComponent(ORQSimDatabase::Open(url, Mode::ReadOnly)), Filled(kSharedNodes, 1));
    proxy.Block(true);
    proxy.CutBeforeAnswer(0);  // the connection that is there, too
    const auto open = [&](const std::string& suffix) {
        return ORQSimDatabase::Open(url + suffix, Mode::ReadOnly);
    };
    EXPECT_EQ(FirstComponent(open("@3")), Filled(kSharedNodes, 1));
    // Which state is the newest, only the store knows.
    EXPECT_TRUE(
        Fails(Failure::Io, {m_name, "cannot be reached", "has state 3", "@3"}, [&] { open(""); }));
    EXPECT_TRUE(Fails(Failure::Io, {m_name, "has not state 2"}, [&] { open("@2"); }));
    UseMachine("third");
    EXPECT_TRUE(Fails(Failure::Io, {m_name, "cannot be reached"}, [&] { open("@3"); }));
}

TEST_F(CacheTest, BulkDataThatIsMissingOrDamagedIsFetchedAgain) {
    CreateWith(1);
    UseMachine("second");
    EXPECT_EQ(FirstComponent(Open(Mode::ReadOnly)), Filled(kSharedNodes, 1));
    ASSERT_EQ(Slots().size(), 1);
    const std::string bulk = Slots().front() / "bulk.bin";
    const std::string whole = ReadBytes(bulk);
    for (const char byte : {'\0', 'x'}) {
        WriteBytes(bulk, whole.substr(0, 4096) + std::string(whole.size() - 4096, byte));
        EXPECT_EQ(FirstComponent(Open(Mode::ReadOnly)), Filled(kSharedNodes, 1));
    }
    // What is noted as written may be more or less than what was.
    const fs::path written = Slots().front() / "written";
    const std::string noted = ReadBytes(written);
    EXPECT_NE(noted.find('\1'), std::string::npos);
    for (const std::string& note : {std::string(), std::string(noted.size(), '\1'), noted}) {
        for (const std::string& bytes : {whole, whole.substr(0, 4096)}) {
            WriteBytes(written, note);
            WriteBytes(bulk, bytes);
            std::filesystem::resize_file(bulk, whole.size());
            EXPECT_EQ(FirstComponent(Open(Mode::ReadOnly)), Filled(kSharedNodes, 1));
        }
    }
    // A slot whose catalogue is damaged is made anew.
    const std::string catalogue = Slots().front() / "catalogue.sqlite";
    WriteBytes(catalogue, std::string(5000, 'x'));
    EXPECT_EQ(FirstComponent(Open(Mode::ReadOnly)), Filled(kSharedNodes, 1));
}

TEST_F(CacheTest, TheOldestGoWhereThereIsNoRoomAndNotWhatIsInUse) {
    CreateWith(1);
    UseMachine("second");
    setenv("ORQ_CACHE_BYTES", "1", 1);
    {
        const ORQSimDatabase held = Open(Mode::ReadOnly);
        { Open(Mode::ReadOnly, "@2"); }
        EXPECT_EQ(Slots().size(), 1);
        EXPECT_EQ(FirstComponent(held), Filled(kSharedNodes, 1));
    }
    EXPECT_EQ(Slots().size(), 0);
    unsetenv("ORQ_CACHE_BYTES");
    EXPECT_EQ(ReadAnew(), Filled(kSharedNodes, 1));
}

TEST_F(CacheTest, WhatAStoreCannotHaveBeenGivenIsRefused) {
    CreateWith(1);
    UseMachine("first");
    {
        const ORQSimDatabase database = Open(Mode::ReadWrite);
        WriteAll(database, 2);
    }
    const std::string of =
        " WHERE identity = (SELECT identity FROM orq_model WHERE name = '" + m_name + "')";
    struct Harm {
        const char* what;
        std::string harm;
        const char* text;
    };
    const Harm harms[] = {
        {"another byte in each piece",
         "UPDATE orq_piece SET bytes = set_byte(bytes, 0, 1 + get_byte(bytes, 0) % 250)" + of,
         "damaged"},
        {"shorter pieces", "UPDATE orq_piece SET bytes = substring(bytes, 1, 10)" + of, "damaged"},
        {"no pieces", "DELETE FROM orq_piece" + of, "damaged"},
        {"a piece of 2 MiB",
         "UPDATE orq_piece SET bytes = decode(repeat('00', 2097152), 'hex')" + of, "wrong size"},
        {"another changeset",
         "UPDATE orq_changeset SET bytes = set_byte(bytes, 5, 99)" + of + " AND generation = 3",
         "checksum"},
        {"no changeset", "DELETE FROM orq_changeset" + of + " AND generation = 3", "checksum"},
        {"no commit", "DELETE FROM orq_commit" + of + " AND generation = 3", "state"},
        {"another base", "UPDATE orq_base SET bytes = set_byte(bytes, 3000, 77)" + of, "damaged"},
        {"half a base", "UPDATE orq_base SET bytes = substring(bytes, 1, 8192)" + of, ""},
        {"a head ahead", "UPDATE orq_model SET generation = 9 WHERE name = '" + m_name + "'",
         "not all there"},
        {"another model's identity",
         "UPDATE orq_model SET identity = decode(repeat('ab', 16), 'hex') WHERE name = '" + m_name +
             "'",
         "no base"},
    };
    const char* const tables[] = {"orq_model", "orq_commit", "orq_changeset", "orq_base",
                                  "orq_piece"};
    for (const Harm& harm : harms) {
        SCOPED_TRACE(harm.what);
        for (const std::string table : tables) {
            m_server->Ask("CREATE TABLE kept_" + table + " AS TABLE " + table);
        }
        m_server->Ask(harm.harm);
        EXPECT_TRUE(Fails(Failure::Damaged, {harm.text}, [&] { ReadAnew(); }));
        for (const std::string table : tables) {
            m_server->Ask("DELETE FROM " + table + "; INSERT INTO " + table +
                          " SELECT * FROM kept_" + table + "; DROP TABLE kept_" + table);
        }
        EXPECT_EQ(ReadAnew(), Filled(kSharedNodes, 2));
    }
    // Whoever has seen a later head does not follow an earlier one.
    UseMachine("first");
    m_server->Ask("UPDATE orq_model SET generation = 3 WHERE name = '" + m_name + "'");
    EXPECT_TRUE(Fails(Failure::Damaged, {m_name, "state 3", "seen state 4"},
                      [&] { Open(Mode::ReadOnly); }));
}

TEST_F(CacheTest, ACopyOfAnotherHistoryIsMadeAnew) {
    CreateWith(1);
    UseMachine("second");
    EXPECT_EQ(FirstComponent(Open(Mode::ReadOnly)), Filled(kSharedNodes, 1));
    // The store is put back to an earlier state, and goes on otherwise.
    const std::string of =
        " WHERE identity = (SELECT identity FROM orq_model WHERE name = '" + m_name + "')";
    for (const std::string table : {"orq_commit", "orq_changeset", "orq_piece"}) {
        m_server->Ask("DELETE FROM " + table + of + " AND generation = 3");
    }
    m_server->Ask("UPDATE orq_model SET generation = 2 WHERE name = '" + m_name + "'");
    UseMachine("third");
    {
        const ORQSimDatabase database = Open(Mode::ReadWrite);
        WriteAll(database, 5);
        WriteAll(database, 6);
    }
    for (const Mode mode : {Mode::ReadOnly, Mode::ReadWrite}) {
        UseMachine(mode == Mode::ReadOnly ? "second" : "first");
        const ORQSimDatabase database = Open(mode);
        EXPECT_EQ(FirstComponent(database), Filled(kSharedNodes, 6));
        EXPECT_EQ(database.Verify(), Texts());
        EXPECT_EQ(Slots().size(), 1);
    }
}

TEST_F(CacheTest, WhatKilledProcessesWereRemovingGoes) {
    CreateWith(1);
    const fs::path dead = Slots().front().parent_path() / "dead-slot-9-0123";
    fs::create_directories(dead);
    WriteBytes(dead / "bulk.bin", "half");
    { Open(Mode::ReadOnly); }
    EXPECT_FALSE(fs::exists(dead));
    EXPECT_EQ(Slots().size(), 1);
}

TEST_F(CacheTest, WhatWasSeenLastIsNotForgottenForWhatWasAskedEarlier) {
    Proxy proxy(m_server->Folder());
    CreateWith(1);
    const std::string url = m_server->Url(m_name, proxy.Folder());
    const fs::path notes = fs::path(std::getenv("XDG_CACHE_HOME")) / "orq-models" / "names";
    const auto onlyNote = [&] { return fs::directory_iterator(notes)->path(); };
    fs::remove_all(notes);
    { ORQSimDatabase::Open(url, Mode::ReadOnly); }
    const fs::path note = onlyNote();
    fs::remove_all(notes);
    const pid_t late = fork();
    if (late == 0) {
        // Asks at state 3, and is told when others have seen state 4.
        proxy.HoldBeforeAnswer(1);
        ORQSimDatabase::Open(url, Mode::ReadOnly);
        _exit(0);
    }
    while (!proxy.HasCut()) {
        usleep(1000);
    }
    // Through no proxy, so under another name.
    WriteAll(Open(Mode::ReadWrite), 2);
    fs::copy_file(onlyNote(), note);
    proxy.Release();
    int status = -1;
    waitpid(late, &status, 0);
    EXPECT_EQ(status, 0);
    m_server->Ask("UPDATE orq_model SET generation = 3 WHERE name = '" + m_name + "'");
    EXPECT_TRUE(Fails(Failure::Damaged, {"seen state 4"},
                      [&] { ORQSimDatabase::Open(url, Mode::ReadOnly); }));
}

TEST_F(CacheTest, WhoNeedsAStateThatIsPrunedIsToldSo) {
    Proxy proxy(m_server->Folder());
    CreateWith(1);
    UseMachine("second");
    { Open(Mode::ReadOnly); }
    UseMachine("first");
    for (const double value : {2.0, 3.0}) {
        WriteAll(Open(Mode::ReadWrite), value);
    }
    const pid_t late = fork();
    if (late == 0) {
        // Has state 3, is told that the newest is state 5, and asks for what is between.
        UseMachine("second");
        proxy.HoldBeforeAnswer(1);
        _exit(Fails(Failure::Busy, {m_name, "state 3 was pruned", "has states 5 to 5"},
                    [&] {
                        ORQSimDatabase::Open(m_server->Url(m_name, proxy.Folder()), Mode::ReadOnly);
                    })
                  ? 0
                  : 1);
    }
    while (!proxy.HasCut()) {
        usleep(1000);
    }
    UseMachine("third");
    const ORQSimDatabase reader = Open(Mode::ReadOnly, "@4");
    ORQSimModelStore::DropBefore(m_url, 5);
    proxy.Release();
    int status = -1;
    waitpid(late, &status, 0);
    EXPECT_EQ(status, 0);
    // Whoever has opened it already is told when bytes are missing.
    EXPECT_TRUE(
        Fails(Failure::Busy, {m_name, "state 4 was pruned"}, [&] { FirstComponent(reader); }));
    EXPECT_TRUE(Fails(Failure::Busy, {m_name, "state 4 was pruned"}, [&] { reader.Verify(); }));
    EXPECT_EQ(ReadAnew(), Filled(kSharedNodes, 3));
}

TEST_F(CacheTest, TablesThatAreNotThoseOfModelsAreRefusedByName) {
    m_server->Ask(
        "CREATE SCHEMA other; CREATE TABLE other.orq_model(name text PRIMARY KEY, identity bytea, "
        "generation integer NOT NULL, oldest bigint NOT NULL, lease bytea, writer text, "
        "lease_until timestamp with time zone); CREATE TABLE other.orq_commit(identity bytea, "
        "generation bigint PRIMARY KEY)");
    EXPECT_TRUE(Fails(
        Failure::Foreign,
        {"column generation of table orq_model is integer, and has to be bigint",
         "table orq_commit has no column token",
         "the key of table orq_commit is (generation), and has to be (identity, "
         "generation)"},
        [&] { ORQSimModelStore::Prepare(m_server->Url("") + "&options=-csearch_path%3Dother"); }));
    EXPECT_EQ(m_server->Ask("SELECT count(*) FROM pg_tables WHERE schemaname = 'other'"), "2");
    m_server->Ask("DROP SCHEMA other CASCADE");
}
