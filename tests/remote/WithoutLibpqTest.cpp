// What a library that was built without libpq does with URLs: only this test runs in such a build.
#include "ORQSimModelStore.h"
#include "Vocabulary.h"

TEST(WithoutLibpq, UrlsAreRefusedAndSayWhatIsMissing) {
    const Folder folder;
    setenv("XDG_CACHE_HOME", (folder / "cache").c_str(), 1);
    const std::string url = "postgresql://u@host/db?model=wing";
    EXPECT_TRUE(ORQSimModelStore::IsUrl(url));
    EXPECT_EQ(ORQSimModelStore::NameOf(url), "wing");
    const std::function<void()> uses[] = {
        [&] { ORQSimDatabase::Open(url, Mode::ReadOnly); },
        [&] { ORQSimDatabase::Open(url, Mode::ReadWrite); },
        [&] { ORQSimDatabase::Create(url); },
        [&] { ORQSimModelStore::Prepare("postgresql://u@host/db"); },
        [&] { ORQSimModelStore::Has(url); },
        [&] { ORQSimModelStore::Log(url); },
        [&] { ORQSimModelStore::DropBefore(url, 2); },
    };
    for (const std::function<void()>& use : uses) {
        EXPECT_TRUE(Fails(Failure::Usage, {"postgresql://u@host/db", "built without libpq"}, use));
    }
    EXPECT_TRUE(Fails(Failure::Usage, {"password"}, [] {
        ORQSimDatabase::Open("postgresql://u:p@host/db?model=wing", Mode::ReadOnly);
    }));
    // Directories are what they were, and nothing is left of the URL.
    const ORQSimDatabase database = ORQSimDatabase::Create(folder / "local.orq");
    MakeModel(database, 10);
    EXPECT_EQ(database.Verify(), Texts());
    EXPECT_TRUE(Fails(Failure::Usage, {"built without libpq"}, [&] { database.CopyTo(url); }));
    EXPECT_FALSE(std::filesystem::exists(folder / "cache"));
}
