// The state store on a real disk.
#include "mac/Tessel/State/StateStore.h"

#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixPrivateFiles.h"
#include "platform/testing/FakeHost.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace {

using std::filesystem::path;
using tessel::Credentials;
using tessel::StateStore;
using testing::ElementsAre;

class StateStoreOnDisk : public testing::Test {
  protected:
    StateStore open(const platform::Environment& environment = {}) {
        return {{.fileSystem = files, .privateFiles = privateFiles, .host = host, .clock = clock},
                "Zorvane",
                environment};
    }
    static mode_t modeOf(const path& item) {
        struct stat status{};
        return ::lstat(item.c_str(), &status) == 0 ? status.st_mode & 07777 : mode_t{0};
    }
    static std::set<std::string> namesIn(const path& where) {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(where)) {
            names.insert(entry.path().filename());
        }
        return names;
    }
    static void write(const path& file, const std::string& text) { std::ofstream(file) << text; }

    test_support::TemporaryFolder folder;
    platform::PosixFileSystem files{folder / "home/.local/share"};
    platform::PosixPrivateFiles privateFiles;
    platform::testing::FakeHost host;
    platform::SystemClock clock;
    const Credentials credentials{.token = "secret",
                                  .serverOrigin = "https://account.example",
                                  .tokenName = "Zorvane on Studio",
                                  .linkedAt = *tessel::parseTimestamp("2025-01-31T09:12:44Z")};
};

TEST_F(StateStoreOnDisk, makesAPrivateFolderEvenWhereNoHomeExists) {
    const auto store = open();
    EXPECT_EQ(store.baseDir(), folder / "home/.local/share/Zorvane");
    EXPECT_EQ(modeOf(store.baseDir()), 0700U);
    EXPECT_TRUE(std::filesystem::is_directory(store.trashDir()));
}

TEST_F(StateStoreOnDisk, tightensAFolderThatOthersCouldRead) {
    std::filesystem::create_directories(folder / "state");
    ASSERT_EQ(::chmod((folder / "state").c_str(), 0755), 0);
    const auto store = open({{"ZORVANE_STATE_DIR", folder / "state"}});
    EXPECT_EQ(store.baseDir(), folder / "state");
    EXPECT_EQ(modeOf(store.baseDir()), 0700U);
}

TEST_F(StateStoreOnDisk, keepsCredentialsForTheOwnerOnly) {
    const mode_t before = ::umask(0);
    const auto store = open();
    store.saveCredentials(credentials);
    ::umask(before);
    EXPECT_EQ(modeOf(store.credentialsURL()), 0600U);
    EXPECT_EQ(store.loadCredentials(), credentials);
    EXPECT_THAT(namesIn(store.baseDir()), ElementsAre("credentials.json", "trash"));
    store.deleteCredentials();
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
    EXPECT_THAT(namesIn(store.baseDir()), ElementsAre("trash"));
}

TEST_F(StateStoreOnDisk, doesNotFollowALinkThatWaitsForTheCredentials) {
    const auto store = open();
    write(folder / "victim", "precious");
    std::filesystem::create_symlink(folder / "victim", store.credentialsURL());
    store.saveCredentials(credentials);
    std::string text;
    std::ifstream(folder / "victim") >> text;
    EXPECT_EQ(text, "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(store.credentialsURL()));
    EXPECT_EQ(store.loadCredentials(), credentials);
}

TEST_F(StateStoreOnDisk, takesACredentialsFileOfTheWrongKindForNone) {
    const auto store = open();
    ASSERT_EQ(::mkfifo(store.credentialsURL().c_str(), 0600), 0);
    EXPECT_EQ(store.loadCredentials(), std::nullopt) << "without waiting for a writer";
    store.saveCredentials(credentials);
    EXPECT_EQ(store.loadCredentials(), credentials);
    store.deleteCredentials();
    std::filesystem::create_directory(store.credentialsURL());
    store.saveCredentials(credentials);
    store.deleteCredentials();
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
    EXPECT_TRUE(std::filesystem::is_directory(store.credentialsURL()));
}

TEST_F(StateStoreOnDisk, ignoresCredentialsThatAreTooLarge) {
    const auto store = open();
    write(store.credentialsURL(), "{}");
    std::filesystem::resize_file(store.credentialsURL(), StateStore::largestCredentials + 1);
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
}

TEST_F(StateStoreOnDisk, existsWithoutAFolderWhenAFileIsInTheWay) {
    std::filesystem::create_directories(folder / "home/.local/share");
    write(folder / "home/.local/share/Zorvane", "in the way");
    const auto store = open();
    store.saveCache("data", "cache");
    store.saveCredentials(credentials);
    store.removeCache("cache");
    EXPECT_EQ(store.loadCache("cache"), std::nullopt);
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
    write(folder / "item", "");
    EXPECT_EQ(store.moveToTrash(folder / "item"), std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(folder / "item"));
}

TEST_F(StateStoreOnDisk, losesItsFolderWithoutFailing) {
    const auto store = open();
    std::filesystem::remove_all(store.baseDir());
    write(store.baseDir(), "a file instead");
    store.saveCache("data", "cache");
    EXPECT_EQ(store.loadCache("cache"), std::nullopt);
}

TEST_F(StateStoreOnDisk, neverReachesAFileByPartOfACacheName) {
    const auto store = open();
    store.saveCache("data", std::string("cache\0.json", 11));
    EXPECT_THAT(namesIn(store.baseDir()), ElementsAre("trash"));
    store.saveCache("data", "");
    store.removeCache("");
    store.removeCache("trash");
    EXPECT_THAT(namesIn(store.baseDir()), ElementsAre("trash"));
}

TEST_F(StateStoreOnDisk, setsFilesFoldersAndLinksAside) {
    const auto store = open();
    std::filesystem::create_directories(folder / "item/below");
    const auto moved = store.moveToTrash((folder / "item").native() + "/");
    ASSERT_TRUE(moved);
    EXPECT_TRUE(std::filesystem::exists(*moved / "below"));
    EXPECT_EQ(moved->parent_path(), store.trashDir());
    EXPECT_THAT(moved->filename().native(), testing::MatchesRegex("[0-9]{8}-[0-9]{6}-item"));
    std::filesystem::create_symlink("nowhere", folder / "link");
    const auto link = store.moveToTrash(folder / "link");
    ASSERT_TRUE(link);
    EXPECT_EQ(std::filesystem::read_symlink(*link), "nowhere");
    EXPECT_EQ(store.moveToTrash(folder / "absent"), std::nullopt);
    EXPECT_EQ(store.moveToTrash(store.trashDir()), std::nullopt) << "not into itself";
    EXPECT_EQ(namesIn(store.trashDir()).size(), 2U);
}

} // namespace
