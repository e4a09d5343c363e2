#include "mac/Tessel/State/StateStore.h"

#include "platform/testing/FakeHost.h"
#include "platform/testing/InMemoryPrivateFiles.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using std::filesystem::path;
using tessel::Credentials;
using tessel::StateStore;

class StateStoreTest : public testing::Test {
  protected:
    StateStore open(const platform::Environment& environment = {},
                    const std::optional<std::string>& key = std::nullopt) {
        return {{.fileSystem = files,
                 .privateFiles = privateFiles,
                 .host = host,
                 .clock = scheduler.clock()},
                "Zorvane",
                environment,
                key};
    }
    path baseWith(const std::string& value) {
        return open({{"ZORVANE_STATE_DIR", value}}).baseDir();
    }
    std::string stamp() {
        const auto time = host.localTime(scheduler.clock().wallNow());
        return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", time.year, time.month, time.day,
                           time.hour, time.minute, time.second);
    }

    platform::testing::ManualScheduler scheduler;
    platform::testing::InMemoryFiles files;
    platform::testing::InMemoryPrivateFiles privateFiles;
    platform::testing::FakeHost host;
};

TEST(StateStoreOverrideKey, isTheUpperCasedNameWithUnderscoresForWhatIsNoLetterOrNumber) {
    const std::map<std::string, std::string> expected{
        {"Zorvane", "ZORVANE_STATE_DIR"}, {"My App 2", "MY_APP_2_STATE_DIR"},
        {"a.b-c!", "A_B_C__STATE_DIR"},   {"", "_STATE_DIR"},
        {"  ", "___STATE_DIR"},           {"Müller", "MÜLLER_STATE_DIR"},
        {"straße", "STRASSE_STATE_DIR"},  {"арбуз", "АРБУЗ_STATE_DIR"},
        {"٣ apps", "٣_APPS_STATE_DIR"},   {"app👩‍👩‍👧", "APP__STATE_DIR"},
    };
    for (const auto& [name, key] : expected) {
        EXPECT_EQ(StateStore::defaultStateDirOverrideKey(name), key) << name;
    }
}

TEST_F(StateStoreTest, livesInApplicationSupportUnderTheApplicationsName) {
    const auto store = open();
    EXPECT_EQ(store.baseDir(), "/support/Zorvane");
    EXPECT_EQ(store.trashDir(), "/support/Zorvane/trash");
    EXPECT_EQ(store.credentialsURL(), "/support/Zorvane/credentials.json");
    EXPECT_EQ(store.cacheURL("covers.bin"), "/support/Zorvane/covers.bin");
}

TEST_F(StateStoreTest, fallsBackToTheLibraryFolderBelowHome) {
    files.supportFailure = platform::FileError{"cannot find", ENOENT};
    EXPECT_EQ(open().baseDir(), "/home/ann/Library/Application Support/Zorvane");
}

TEST_F(StateStoreTest, takesTheOverridingVariablesValueAsTheFolderItself) {
    EXPECT_EQ(baseWith("/data/state"), "/data/state");
    EXPECT_EQ(baseWith("/data/state//"), "/data/state");
    EXPECT_EQ(baseWith("/"), "/");
    EXPECT_EQ(baseWith(" "), "/home/ann/here/ ");
    EXPECT_EQ(baseWith("relative"), "/home/ann/here/relative");
}

TEST_F(StateStoreTest, expandsATildeInFrontOfTheOverride) {
    host.homes["bob"] = "/home/bob";
    EXPECT_EQ(baseWith("~/state"), "/home/ann/state");
    EXPECT_EQ(baseWith("~"), "/home/ann");
    EXPECT_EQ(baseWith("~/"), "/home/ann");
    EXPECT_EQ(baseWith("~bob/state"), "/home/bob/state");
    EXPECT_EQ(baseWith("~nobody-here/state"), "/home/ann/here/~nobody-here/state");
    EXPECT_EQ(baseWith("/a/~/b"), "/a/~/b");
}

TEST_F(StateStoreTest, ignoresAnOverrideThatIsEmpty) {
    EXPECT_EQ(baseWith(""), "/support/Zorvane");
}

TEST_F(StateStoreTest, asksForAnotherVariableWhenItIsTold) {
    const platform::Environment both{{"ZORVANE_STATE_DIR", "/default"}, {"OTHER", "/other"}};
    EXPECT_EQ(open(both, "OTHER").baseDir(), "/other");
    EXPECT_EQ(open(both, "ABSENT").baseDir(), "/support/Zorvane");
}

TEST_F(StateStoreTest, makesItsFoldersAndTightensOneThatWasThere) {
    files.mask = 022;
    files.modes["/support/Zorvane"] = 0755;
    const auto store = open();
    EXPECT_EQ(files.modes.at(store.baseDir()), 0700U);
    EXPECT_EQ(files.modes.at(store.trashDir()), 0755U) << "the process's default mode";
}

TEST_F(StateStoreTest, survivesFoldersThatCannotBeMade) {
    files.createFailure = platform::FileError{"cannot create", EROFS};
    files.permissionFailure = platform::FileError{"cannot change", EROFS};
    privateFiles.failure = EROFS;
    const auto store = open();
    store.saveCache("data", "name");
    store.saveCredentials({.token = "t", .serverOrigin = "o", .tokenName = "n"});
    store.removeCache("name");
    store.deleteCredentials();
    EXPECT_EQ(store.loadCache("name"), std::nullopt);
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
    EXPECT_EQ(store.moveToTrash("/anything"), std::nullopt);
}

TEST_F(StateStoreTest, triesEachStepWhateverBecameOfTheOneBefore) {
    files.createFailure = platform::FileError{"cannot create", EIO};
    files.modes["/support/Zorvane"] = 0755;
    const auto store = open();
    EXPECT_EQ(files.modes.at("/support/Zorvane"), 0700U);
}

TEST_F(StateStoreTest, usesCacheNamesAsTheyAre) {
    const auto store = open();
    EXPECT_EQ(store.cacheURL("a b.json").native(), "/support/Zorvane/a b.json");
    EXPECT_EQ(store.cacheURL("../other").native(), "/support/Zorvane/../other");
    EXPECT_EQ(store.cacheURL("/etc/passwd").native(), "/support/Zorvane//etc/passwd");
}

TEST_F(StateStoreTest, keepsCachesByName) {
    const auto store = open();
    EXPECT_EQ(store.loadCache("one"), std::nullopt);
    store.removeCache("one");
    store.saveCache(std::string("a\0b", 3), "one");
    store.saveCache("", "two");
    EXPECT_EQ(store.loadCache("one"), std::string("a\0b", 3));
    EXPECT_EQ(store.loadCache("two"), "");
    store.saveCache("new", "one");
    EXPECT_EQ(store.loadCache("one"), "new");
    store.removeCache("one");
    EXPECT_EQ(store.loadCache("one"), std::nullopt);
}

TEST_F(StateStoreTest, keepsCredentialsUntilTheyAreDeleted) {
    const Credentials credentials{.token = "secret",
                                  .serverOrigin = "https://account.example",
                                  .tokenName = "Zorvane on Studio",
                                  .linkedAt = *tessel::parseTimestamp("2025-01-31T09:12:44Z")};
    const auto store = open();
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
    store.deleteCredentials();
    store.saveCredentials(credentials);
    EXPECT_EQ(open().loadCredentials(), credentials);
    store.deleteCredentials();
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
}

TEST_F(StateStoreTest, leavesCredentialsInPlaceThatItCannotRead) {
    const auto store = open();
    privateFiles.contents[store.credentialsURL()] = R"({"token":"t","serverOrigin":"o"})";
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
    EXPECT_TRUE(privateFiles.exists(store.credentialsURL()));
}

TEST_F(StateStoreTest, movesNothingThatIsNotThere) {
    const auto store = open();
    EXPECT_EQ(store.moveToTrash("/absent"), std::nullopt);
    EXPECT_TRUE(privateFiles.contents.empty());
}

TEST_F(StateStoreTest, numbersWhatGoesIntoTheTrashUnderOneNameInOneSecond) {
    const auto store = open();
    for (const std::string& number : std::vector<std::string>{"", "-2", "-3", "-4"}) {
        privateFiles.contents["/x/cache.db"] = "content" + number;
        const auto moved = store.moveToTrash("/x/cache.db");
        EXPECT_EQ(moved, store.trashDir() / (stamp() + number + "-cache.db"));
        EXPECT_EQ(privateFiles.contents[*moved], "content" + number);
    }
    EXPECT_FALSE(privateFiles.exists("/x/cache.db"));
    scheduler.advance(std::chrono::seconds(1));
    privateFiles.contents["/x/cache.db"] = "later";
    EXPECT_EQ(store.moveToTrash("/x/cache.db"), store.trashDir() / (stamp() + "-cache.db"));
}

TEST_F(StateStoreTest, writesTheTimeOfTheTrashWithLeadingZeros) {
    struct Early final : platform::Clock {
        [[nodiscard]] platform::SteadyTime now() const override { return {}; }
        [[nodiscard]] platform::WallTime wallNow() const override {
            return *tessel::parseTimestamp("2025-01-02T03:04:05.678Z");
        }
    } clock;
    const StateStore store(
        {.fileSystem = files, .privateFiles = privateFiles, .host = host, .clock = clock}, "App",
        {});
    privateFiles.contents["/x/f"] = "";
    EXPECT_EQ(store.moveToTrash("/x/f"), "/support/App/trash/20250102-030405-f");
}

TEST_F(StateStoreTest, namesAFolderInTheTrashAfterItselfNotAfterItsTrailingSlash) {
    const auto store = open();
    privateFiles.contents["/x/folder"] = "";
    EXPECT_EQ(store.moveToTrash("/x/folder//"), store.trashDir() / (stamp() + "-folder"));
}

TEST_F(StateStoreTest, takesTheNextNameWhenSomebodyWasFaster) {
    const auto store = open();
    privateFiles.contents["/x/f"] = "mine";
    privateFiles.beforeMove = [this](const path& to) {
        privateFiles.contents[to] = "theirs";
        privateFiles.beforeMove = {};
    };
    EXPECT_EQ(store.moveToTrash("/x/f"), store.trashDir() / (stamp() + "-2-f"));
    EXPECT_EQ(privateFiles.contents[store.trashDir() / (stamp() + "-f")], "theirs");
}

TEST_F(StateStoreTest, leavesAnItemWhereItIsWhenTheMoveFails) {
    const auto store = open();
    privateFiles.contents["/x/f"] = "mine";
    privateFiles.failure = EXDEV;
    EXPECT_EQ(store.moveToTrash("/x/f"), std::nullopt);
    EXPECT_EQ(privateFiles.contents["/x/f"], "mine");
}

TEST_F(StateStoreTest, changesNothingForAProgramThatOnlyLooks) {
    files.modes["/support/Zorvane"] = 0755;
    const auto before = files.modes;
    const auto store = StateStore::existing({.fileSystem = files,
                                             .privateFiles = privateFiles,
                                             .host = host,
                                             .clock = scheduler.clock()},
                                            "Zorvane", {});
    EXPECT_EQ(store.baseDir(), "/support/Zorvane");
    EXPECT_EQ(files.modes, before);
    EXPECT_EQ(store.loadCredentials(), std::nullopt);
}

TEST_F(StateStoreTest, remembersWhatKeptItFromMakingItsFolder) {
    EXPECT_FALSE(open().setUpFailure());
    files.permissionFailure = platform::FileError{"cannot change", EPERM};
    ASSERT_TRUE(open().setUpFailure());
    EXPECT_EQ(open().setUpFailure()->errnoValue, EPERM);
    files.createFailure = platform::FileError{"cannot create", EROFS};
    EXPECT_EQ(open().setUpFailure()->errnoValue, EROFS) << "the first one";
}

TEST_F(StateStoreTest, saysWhyWhenItIsAsked) {
    const auto store = open();
    const Credentials credentials{.token = "t", .serverOrigin = "o", .tokenName = "n"};
    EXPECT_TRUE(store.trySaveCredentials(credentials));
    EXPECT_TRUE(store.trySaveCache("data", "name"));
    EXPECT_TRUE(store.tryRemoveCache("never there"));
    privateFiles.contents["/x/f"] = "mine";
    EXPECT_EQ(store.tryMoveToTrash("/x/none").error().errnoValue, ENOENT);
    privateFiles.failure = EROFS;
    EXPECT_EQ(store.trySaveCredentials(credentials).error().errnoValue, EROFS);
    EXPECT_EQ(store.tryDeleteCredentials().error().errnoValue, EROFS);
    EXPECT_EQ(store.trySaveCache("more", "name").error().errnoValue, EROFS);
    EXPECT_EQ(store.tryRemoveCache("name").error().errnoValue, EROFS);
    EXPECT_EQ(store.tryMoveToTrash("/x/f").error().errnoValue, EROFS);
    privateFiles.failure.reset();
    EXPECT_TRUE(store.tryDeleteCredentials());
    EXPECT_TRUE(store.tryDeleteCredentials());
    EXPECT_EQ(store.tryMoveToTrash("/x/f"), store.trashDir() / (stamp() + "-f"));
}

TEST_F(StateStoreTest, writesNothingThatItWouldNotRead) {
    const auto store = open();
    store.saveCache("old", "name");
    // The bytes are never looked at.
    const std::string_view tooLarge("x", StateStore::largestCache + 1);
    EXPECT_EQ(store.trySaveCache(tooLarge, "name").error().errnoValue, EFBIG);
    store.saveCache(tooLarge, "other");
    EXPECT_EQ(store.loadCache("name"), "old");
    EXPECT_EQ(privateFiles.contents.size(), 1U);
    const std::string token(StateStore::largestCredentials, 't');
    const Credentials large{.token = token, .serverOrigin = "o", .tokenName = "n"};
    EXPECT_EQ(store.trySaveCredentials(large).error().errnoValue, EFBIG);
    EXPECT_EQ(privateFiles.contents.size(), 1U);
}

} // namespace
