// A database that is put into the place of another one while somebody opens that.
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <thread>

#include "DiskCalls.h"
#include "ORQBasStaged.h"
#include "Vocabulary.h"

namespace {

class ExchangeTest : public testing::Test {
  protected:
    ExchangeTest() {
        for (const std::string& path : {m_path, m_other}) {
            const ORQSimDatabase database = ORQSimDatabase::Create(path);
            MakeModel(database, 500);
            InTransaction(database, [&] {
                database.Focus().SetName(Slot(20), path.c_str());
                Append(database, RunOf(Nodes(database), 0, 500), RunOf(Components(database), 0, 1),
                       Filled(500, path == m_path ? 1 : 2));
            });
        }
    }
    void Exchange() const {
        ASSERT_EQ(syscall(SYS_renameat2, AT_FDCWD, m_path.c_str(), AT_FDCWD, m_other.c_str(),
                          2 /* RENAME_EXCHANGE */),
                  0);
    }
    static std::string NameOf(const ORQSimDatabase& database) {
        return database.Focus().Name(Slot(20)).UTF8();
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    const std::string m_other = m_folder / "other.orq";
};

}  // namespace

TEST_F(ExchangeTest, WhoOpensItMeanwhileGetsAllOfTheOneThatIsInPlaceThen) {
    for (const Mode mode : {Mode::ReadWrite, Mode::ReadOnly}) {
        std::size_t nExchanges = 0;
        for (bool isExchanged = true; isExchanged; ++nExchanges) {
            SCOPED_TRACE("before question " + std::to_string(nExchanges));
            isExchanged = false;
            const std::string comment = "commit " + std::to_string(nExchanges);
            {
                DiskWatch watch(m_folder / ".");
                watch.AtQuestion(nExchanges, [&] {
                    Exchange();
                    isExchanged = true;
                });
                const ORQSimDatabase database = ORQSimDatabase::Open(m_path, mode);
                watch.AtQuestion(0, nullptr);
                ASSERT_EQ(NameOf(database), NameOf(ORQSimDatabase::Open(m_path, Mode::ReadOnly)));
                if (mode == Mode::ReadWrite) {
                    InTransaction(database,
                                  [&] { database.Focus().SetName(Slot(21), comment.c_str()); });
                }
            }
            const ORQSimDatabase found = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
            ASSERT_EQ(found.Verify(), Texts());
            ASSERT_EQ(ORQSimDatabase::Open(m_other, Mode::ReadOnly).Verify(), Texts());
            ASSERT_EQ(FirstComponent(found), Filled(500, NameOf(found) == m_path ? 1 : 2));
            if (mode == Mode::ReadWrite) {
                ASSERT_EQ(found.Focus().Name(Slot(21)).UTF8(), comment) << "a commit is lost";
            }
        }
        EXPECT_GT(nExchanges, 12U);
    }
}

TEST_F(ExchangeTest, WhoOpensItBetweenTwoStepsWaitsForTheSecond) {
    const auto aside = ORQBasAsideOf(m_path);
    std::filesystem::rename(m_path, aside);
    const auto second = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        std::filesystem::rename(m_other, m_path);
    });
    EXPECT_EQ(NameOf(ORQSimDatabase::Open(m_path, Mode::ReadOnly)), m_other);
    // What a crash in between left lies aside for good.
    EXPECT_TRUE(Fails(Failure::Io, {m_other, "does not exist"},
                      [&] { ORQSimDatabase::Open(m_other, Mode::ReadOnly); }));
    std::filesystem::rename(m_path, m_other);
    EXPECT_TRUE(Fails(Failure::Io, {m_path, "does not exist"},
                      [&] { ORQSimDatabase::Open(m_path, Mode::ReadOnly); }));
}

TEST_F(ExchangeTest, AReaderIsToldOfItWhenItRefreshes) {
    ORQSimDatabase reader = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
    Exchange();
    const auto expectRefused = [&] {
        try {
            reader.Refresh();
            FAIL() << "it shows another database";
        } catch (const ORQBasFailure& failure) {
            EXPECT_EQ(failure.Kind(), Failure::Refused) << failure.Text();
        }
        EXPECT_EQ(NameOf(reader), m_path);
        EXPECT_EQ(FirstComponent(reader), Filled(500, 1));
    };
    expectRefused();
    const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
    InTransaction(writer, [&] { writer.Focus().SetName(Slot(21), "newer"); });
    expectRefused();
}

TEST_F(ExchangeTest, AReaderFollowsItsDatabaseFromAnotherFolder) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder / ".");
    ORQSimDatabase reader = ORQSimDatabase::Open("model.orq", Mode::ReadOnly);
    std::filesystem::current_path(before);
    const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
    for (const char* name : {"newer", "newest"}) {
        InTransaction(writer, [&] { writer.Focus().SetName(Slot(21), name); });
        EXPECT_TRUE(reader.Refresh());
        EXPECT_EQ(reader.Focus().Name(Slot(21)).UTF8(), name);
    }
}
