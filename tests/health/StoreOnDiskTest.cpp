// The health store on the real file system: links, foreign files, permissions.
#include "mac/Tessel/Health/AppHealthStoreError.h"
#include "tests/health/StoreFixture.h"

#include <cerrno>
#include <thread>

namespace {

using tessel::AppHealthFileError;
using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

class StoreOnDiskTest : public StoreFixture {};

TEST_F(StoreOnDiskTest, keepsEverythingPrivate) {
    const auto mask = ::umask(0);
    std::filesystem::create_directory(root);
    std::filesystem::permissions(root, std::filesystem::perms(0755));
    const auto store = open();
    store->record(health_worker::report(1));
    store->saveState(health_worker::oldState());
    ::umask(mask);
    for (const auto* path : {"", "history", "pending"}) {
        EXPECT_EQ(modeOf(root / path), 0700U) << path;
    }
    for (const auto& path : {"history/" + nameOf(1), "pending/" + nameOf(1),
                             std::string("latest.json"), std::string("state.json")}) {
        EXPECT_EQ(modeOf(root / path), 0600U) << path;
    }
}

TEST_F(StoreOnDiskTest, isNotOpenedThroughALink) {
    const auto real = folder / "real";
    std::filesystem::create_directory(real);
    std::filesystem::create_directory_symlink(real, root);
    for (const auto& path : {root, root / "", root / "."}) {
        try {
            const tessel::AppHealthStore store(path, files, *random);
            FAIL() << path;
        } catch (const AppHealthFileError& error) {
            EXPECT_EQ(error.error().errnoValue, ENOTDIR) << path;
        }
    }
    EXPECT_TRUE(std::filesystem::is_empty(real));
}

TEST_F(StoreOnDiskTest, neverFollowsALinkNamedLikeAReport) {
    const auto store = open();
    write(folder / "elsewhere.json", stored(9));
    const auto link = root / "history" / nameOf(0);
    std::filesystem::create_symlink(folder / "elsewhere.json", link);
    std::filesystem::create_symlink(folder / "elsewhere.json", root / "latest.json");
    std::filesystem::create_symlink(folder / "elsewhere.json", root / "state.json");
    EXPECT_EQ(store->latestReport(), std::nullopt);
    EXPECT_EQ(store->loadState(), tessel::AppHealthState());

    for (int number = 1; number <= 5; ++number) {
        store->record(health_worker::report(number));
    }
    store->saveState(health_worker::newState());

    EXPECT_THAT(store->historyReports(), SizeIs(3));
    EXPECT_THAT(namesIn("history"), Contains(nameOf(0))) << "never trimmed";
    EXPECT_EQ(read(folder / "elsewhere.json"), stored(9)) << "never written through";
    EXPECT_FALSE(std::filesystem::is_symlink(root / "latest.json"));
    EXPECT_EQ(store->loadState(), health_worker::newState());
}

TEST_F(StoreOnDiskTest, waitsForNoPipeNamedLikeAReport) {
    const auto store = open();
    ASSERT_EQ(::mkfifo((root / "history" / nameOf(0)).c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((root / "latest.json").c_str(), 0600), 0);
    EXPECT_EQ(store->latestReport(), std::nullopt);
    EXPECT_THAT(store->historyReports(), SizeIs(0));
    EXPECT_EQ(store->findReport("zorvane", "1.0", "9"), std::nullopt);
}

TEST_F(StoreOnDiskTest, servesSeveralThreadsAtATime) {
    const auto store = open();
    const auto recordSome = [&](int first) {
        for (int number = first; number < first + 10; ++number) {
            store->record(health_worker::report(number));
            EXPECT_TRUE(store->latestReport());
        }
    };
    std::thread other(recordSome, 100);
    recordSome(200);
    other.join();
    EXPECT_THAT(store->historyReports(),
                ElementsAre(health_worker::report(207), health_worker::report(208),
                            health_worker::report(209)));
    EXPECT_THAT(temporaries(), SizeIs(0));
}

TEST_F(StoreOnDiskTest, dropsTheTemporaryFileWhenTheNameIsTaken) {
    const auto store = open();
    std::filesystem::create_directory(root / "latest.json");
    try {
        store->record(health_worker::report(1));
        FAIL() << "a folder was replaced";
    } catch (const tessel::AppHealthStoreError& error) {
        EXPECT_EQ(error.operation(), "rename");
        EXPECT_EQ(error.errnoValue(), EISDIR);
    }
    EXPECT_THAT(temporaries(), SizeIs(0));
}

} // namespace
