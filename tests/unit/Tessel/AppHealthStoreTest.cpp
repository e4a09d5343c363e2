#include "mac/Tessel/Health/AppHealthStore.h"

#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthReportFile.h"
#include "mac/Tessel/Health/AppHealthStoreError.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "platform/testing/InMemoryDurableFiles.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/unit/Tessel/HealthFixtures.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <limits>
#include <map>

namespace {

using health_fixtures::reportAt;
using platform::testing::FakeRandomSource;
using platform::testing::InMemoryDurableFiles;
using tessel::AppHealthFileError;
using tessel::AppHealthJSON;
using tessel::AppHealthReport;
using tessel::AppHealthReportFile;
using tessel::AppHealthStore;
using tessel::AppHealthStoreError;
using tessel::AppHealthTrigger;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using Kind = InMemoryDurableFiles::Kind;

class AppHealthStoreTest : public testing::Test {
  protected:
    static constexpr auto* root = "/data/health";

    [[nodiscard]] std::unique_ptr<AppHealthStore> open(int history = 30, int pending = 10) {
        return std::make_unique<AppHealthStore>(root, files, random, history, pending);
    }
    [[nodiscard]] std::vector<std::string> namesIn(const std::string& folder) const {
        std::vector<std::string> names;
        for (const auto& [path, node] : files.nodes) {
            if (path.parent_path() == std::filesystem::path(root) / folder) {
                names.push_back(path.filename());
            }
        }
        return names;
    }
    void put(const std::string& path, const std::string& content, Kind kind = Kind::file) {
        files.nodes[std::filesystem::path(root) / path] = {.kind = kind, .content = content};
    }
    // From now on the operation fails where its path holds the text.
    void fail(const std::string& operation, const std::string& where, int errnoValue) {
        files.fault = [=](std::string_view asked, const std::filesystem::path& path) {
            return asked == operation && path.native().contains(where) ? errnoValue : 0;
        };
    }
    template <class Action>
    [[nodiscard]] static std::string failureOf(Action action) {
        try {
            action();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "none";
    }

    InMemoryDurableFiles files;
    FakeRandomSource random;
};

std::string nameOf(const AppHealthReport& report) {
    return AppHealthReportFile::nameOf(
        AppHealthReportFile::keyOf(report, AppHealthJSON::storedData(report)));
}

TEST_F(AppHealthStoreTest, hasPositiveLimits) {
    for (const auto& [history, pending] :
         {std::pair(0, 1), std::pair(1, 0), std::pair(-1, 5), std::pair(5, -1),
          std::pair(std::numeric_limits<int>::min(), 1)}) {
        try {
            static_cast<void>(open(history, pending));
            FAIL() << history << " and " << pending;
        } catch (const AppHealthStoreError& error) {
            EXPECT_EQ(error.kind(), AppHealthStoreError::Kind::invalidLimit);
            EXPECT_STREQ(error.what(), "health store limits must be positive integers");
        }
    }
    EXPECT_THAT(files.operations, IsEmpty()) << "nothing is touched";
}

TEST_F(AppHealthStoreTest, makesItsPrivateFoldersInOrder) {
    const auto store = open();
    EXPECT_THAT(std::vector(files.operations.begin(), files.operations.begin() + 3),
                ElementsAre("ensure /data/health", "ensure /data/health/history",
                            "ensure /data/health/pending"));
    for (const auto* folder : {"", "/history", "/pending"}) {
        EXPECT_EQ(files.nodes.at(std::string(root) + folder).mode, 0700U) << folder;
    }
}

TEST_F(AppHealthStoreTest, makesAFolderThatIsOpenToOthersPrivate) {
    files.nodes[root] = {.kind = Kind::folder, .mode = 0755};
    const auto store = open();
    EXPECT_EQ(files.nodes.at(root).mode, 0700U);
}

TEST_F(AppHealthStoreTest, isNotMadeWhereALinkIs) {
    files.nodes["/data"] = {.kind = Kind::folder};
    for (const auto* place : {"/data/health", "/data/health/history", "/data/health/pending"}) {
        files.nodes.erase(root);
        files.nodes[place] = {.kind = Kind::link};
        try {
            static_cast<void>(open());
            FAIL() << place;
        } catch (const AppHealthFileError& error) {
            EXPECT_EQ(error.error().errnoValue, ENOTDIR) << place;
        }
        files.nodes.erase(place);
    }
}

TEST_F(AppHealthStoreTest, recordsTheSameBytesInThreePlaces) {
    const auto store = open();
    const auto report = reportAt(0);
    const auto key = store->record(report);

    const auto name = key + ".json";
    EXPECT_EQ(name, nameOf(report));
    EXPECT_THAT(key, StartsWith("20261121000000000-"));
    const auto data = AppHealthJSON::storedData(report);
    for (const auto& path : {"history/" + name, std::string("latest.json"), "pending/" + name}) {
        const auto& node = files.nodes.at(std::filesystem::path(root) / path);
        EXPECT_EQ(node.content, data) << path;
        EXPECT_EQ(node.mode, 0600U) << path;
        EXPECT_TRUE(node.flushed) << path;
    }
    EXPECT_EQ(store->latestReport(), report);
    EXPECT_THAT(store->historyReports(), ElementsAre(report));
    EXPECT_THAT(store->pendingReports(), ElementsAre(report));
}

TEST_F(AppHealthStoreTest, flushesEachFileBeforeItsNameAndTheNameAfterwards) {
    const auto store = open();
    files.operations.clear();
    store->record(reportAt(0));

    std::vector<std::string> steps;
    for (const auto& operation : files.operations) {
        steps.push_back(operation.substr(0, operation.find(" /")));
    }
    const std::vector<std::string> write{"ensure", "create", "write",       "flush",       "close",
                                         "rename", "chmod",  "open folder", "flush folder"};
    std::vector<std::string> expected{"ensure", "ensure", "ensure", "lock"};
    for (int file = 0; file < 3; ++file) {
        expected.insert(expected.end(), write.begin(), write.end());
    }
    expected.insert(expected.end(), {"list", "list"});
    EXPECT_EQ(steps, expected);

    std::vector<std::string> renamed;
    for (const auto& operation : files.operations) {
        if (operation.starts_with("rename")) {
            renamed.push_back(operation);
        }
    }
    EXPECT_THAT(renamed,
                ElementsAre(HasSubstr("/health/history/2026"), HasSubstr("/health/latest.json"),
                            HasSubstr("/health/pending/2026")));
}

TEST_F(AppHealthStoreTest, namesTemporaryFilesAfterTheirDestination) {
    const auto store = open();
    store->record(reportAt(0));
    EXPECT_THAT(files.operations, Contains("create /data/health/.latest.json.tmp-"
                                           "10111213-1415-4617-9819-1A1B1C1D1E1F"));
}

TEST_F(AppHealthStoreTest, refusesAnInvalidReportBeforeTouchingAnything) {
    const auto store = open();
    files.operations.clear();
    auto report = reportAt(0);
    report.app = "Not an app";
    report.generatedAt = "yesterday";
    try {
        store->record(report);
        FAIL() << "recorded";
    } catch (const tessel::AppHealthValidationError& error) {
        EXPECT_THAT(error.errors(), Contains("bad generatedAt"));
        EXPECT_THAT(error.errors(), SizeIs(testing::Ge(2U)));
    }
    EXPECT_THAT(files.operations, IsEmpty());
}

TEST_F(AppHealthStoreTest, keepsThirtyReportsAndTenPendingOnesByDefault) {
    const auto store = open();
    for (int number = 0; number < 31; ++number) {
        store->record(reportAt(number));
    }
    EXPECT_THAT(namesIn("history"), SizeIs(30));
    EXPECT_THAT(namesIn("pending"), SizeIs(10));
    EXPECT_EQ(store->historyReports().front(), reportAt(1));
    EXPECT_EQ(store->pendingReports().front(), reportAt(21));
    EXPECT_EQ(store->latestReport(), reportAt(30));
}

TEST_F(AppHealthStoreTest, trimsTheOldestByTheirNameNotByTheirArrival) {
    const auto store = open(2, 2);
    for (const int number : {5, 9, 1}) {
        store->record(reportAt(number));
    }
    EXPECT_THAT(store->historyReports(), ElementsAre(reportAt(5), reportAt(9)));
    EXPECT_EQ(store->latestReport(), reportAt(1));
}

TEST_F(AppHealthStoreTest, tellsReportsOfTheSameMillisecondApart) {
    const auto store = open();
    const auto one = store->record(reportAt(0, "7"));
    const auto other = store->record(reportAt(0, "8"));
    EXPECT_NE(one, other);
    EXPECT_EQ(one.substr(0, 18), other.substr(0, 18));
    EXPECT_EQ(store->record(reportAt(0, "7")), one);
    EXPECT_THAT(namesIn("history"), SizeIs(2));
    EXPECT_THAT(namesIn("pending"), SizeIs(2));
}

TEST_F(AppHealthStoreTest, neverReadsOrTrimsForeignFiles) {
    const auto store = open(1, 1);
    const auto valid = AppHealthJSON::storedData(reportAt(7));
    const std::vector<std::string> foreign{
        "history/notes.json",
        "history/00000000000000000-ABCDEF0123456789.json",
        "history/00000000000000000-0123456789abcdef.txt",
    };
    for (const auto& path : foreign) {
        put(path, valid);
    }
    put("history/00000000000000000-0123456789abcdef.json", valid, Kind::link);
    put("history/00000000000000000-1123456789abcdef.json", "", Kind::folder);
    put("history/00000000000000000-2123456789abcdef.json", "", Kind::other);
    files.operations.clear();

    store->record(reportAt(0));
    store->record(reportAt(1));

    EXPECT_THAT(store->historyReports(), ElementsAre(reportAt(1)));
    EXPECT_THAT(namesIn("history"), SizeIs(7));
    EXPECT_THAT(files.operations, Each(Not(testing::ContainsRegex("(read|remove) .*/0000000"))));
    EXPECT_THAT(files.operations, Each(Not(HasSubstr("notes"))));
}

TEST_F(AppHealthStoreTest, skipsReportsThatCannotBeRead) {
    const auto store = open();
    store->record(reportAt(1));
    put("history/20000101000000000-0000000000000001.json", "");
    put("history/20000101000000000-0000000000000002.json", "{\"schemaVersion\":");
    put("history/20000101000000000-0000000000000003.json", "[]");
    put("history/20000101000000000-0000000000000004.json", "{\"note\":\"hello\"}");
    put("history/20000101000000000-0000000000000005.json",
        AppHealthJSON::storedData(reportAt(5)) + "more");
    put("history/20000101000000000-0000000000000006.json", std::string(std::size_t{17} << 20, ' '));
    EXPECT_THAT(store->historyReports(), ElementsAre(reportAt(1)));
    fail("read", "20261121", EIO);
    EXPECT_THAT(store->historyReports(), IsEmpty());
    fail("list", "history", EIO);
    EXPECT_THAT(store->historyReports(), IsEmpty());
}

TEST_F(AppHealthStoreTest, trimsDamagedReportsLikeOthers) {
    const auto store = open(1, 1);
    put("history/20000101000000000-0000000000000001.json", "damaged");
    store->record(reportAt(1));
    EXPECT_THAT(namesIn("history"), ElementsAre(nameOf(reportAt(1))));
}

TEST_F(AppHealthStoreTest, hasNoLatestReportUntilOneIsRecorded) {
    const auto store = open();
    EXPECT_EQ(store->latestReport(), std::nullopt);
    put("latest.json", "{}");
    EXPECT_EQ(store->latestReport(), std::nullopt);
    put("latest.json", AppHealthJSON::storedData(reportAt(0)), Kind::link);
    EXPECT_EQ(store->latestReport(), std::nullopt);
}

TEST_F(AppHealthStoreTest, findsTheNewestReportOfABuild) {
    const auto store = open();
    store->record(reportAt(1, "7", AppHealthTrigger::periodic));
    store->record(reportAt(2, "7", AppHealthTrigger::manual));
    store->record(reportAt(3, "8", AppHealthTrigger::manual));
    store->record(reportAt(4, "7", AppHealthTrigger::postbuild));
    store->record(reportAt(5, "9", AppHealthTrigger::manual));

    EXPECT_EQ(store->findReport("zorvane", "1.2.0", "9"),
              reportAt(5, "9", AppHealthTrigger::manual));
    EXPECT_EQ(store->findReport("zorvane", "1.2.0", "7"),
              reportAt(4, "7", AppHealthTrigger::postbuild));
    EXPECT_EQ(store->findReport("zorvane", "1.2.0", "7", AppHealthTrigger::manual),
              reportAt(2, "7", AppHealthTrigger::manual));
    EXPECT_EQ(store->findReport("zorvane", "1.2.0", "7", AppHealthTrigger::bootBeacon),
              std::nullopt);
    EXPECT_EQ(store->findReport("other", "1.2.0", "7"), std::nullopt);
    EXPECT_EQ(store->findReport("zorvane", "1.2", "7"), std::nullopt);
    EXPECT_EQ(store->findReport("zorvane", "1.2.0", ""), std::nullopt);
}

TEST_F(AppHealthStoreTest, prefersTheLatestReportToTheHistory) {
    const auto store = open();
    store->record(reportAt(9));
    store->record(reportAt(1));
    files.operations.clear();
    EXPECT_EQ(store->findReport("zorvane", "1.2.0", "7"), reportAt(1));
    EXPECT_THAT(files.operations, ElementsAre("read /data/health/latest.json"));
    files.nodes.erase("/data/health/latest.json");
    EXPECT_EQ(store->findReport("zorvane", "1.2.0", "7"), reportAt(9));
}

TEST_F(AppHealthStoreTest, takesASubmittedReportOutOfTheQueueOnly) {
    const auto store = open();
    store->record(reportAt(1));
    store->record(reportAt(2));
    const auto entries = store->pendingEntries();
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].file.filename(), nameOf(reportAt(1)));
    files.operations.clear();

    store->markSubmitted(entries[0]);

    EXPECT_THAT(store->pendingReports(), ElementsAre(reportAt(2)));
    EXPECT_THAT(store->historyReports(), SizeIs(2));
    EXPECT_THAT(std::vector(files.operations.begin(), files.operations.begin() + 4),
                ElementsAre("lock /data/health", StartsWith("remove /data/health/pending/"),
                            "open folder /data/health/pending",
                            "flush folder /data/health/pending"));
    EXPECT_THROW(store->markSubmitted(entries[0]), AppHealthFileError);
}

TEST_F(AppHealthStoreTest, savesTheStateForTheNextLaunch) {
    const tessel::AppHealthState state{.lastVersionBuild = "1.2.0:7",
                                       .lastRunAt = tessel::Timestamp(health_fixtures::someDay)};
    open()->saveState(state);
    EXPECT_EQ(files.nodes.at("/data/health/state.json").content,
              R"({"lastRunAt":"2026-11-21T00:00:00Z","lastVersionBuild":"1.2.0:7"})");
    EXPECT_EQ(files.nodes.at("/data/health/state.json").mode, 0600U);
    EXPECT_EQ(open()->loadState(), state);
}

TEST_F(AppHealthStoreTest, hasAnEmptyStateWithoutAFileThatSaysOtherwise) {
    const auto store = open();
    EXPECT_EQ(store->loadState(), tessel::AppHealthState());
    for (const auto* text :
         {"", "[]", "{\"lastRunAt\":7}", "{\"lastRunAt\":\"soon\"}", "{\"lastVersionBuild\":1}",
          "{\"lastVersionBuild\":\"1:1\",\"lastRunAt\":\"2026-02-30T00:00:00Z\"}", "{} {}"}) {
        put("state.json", text);
        EXPECT_EQ(store->loadState(), tessel::AppHealthState()) << text;
    }
    put("state.json", R"({"lastRunAt":null,"lastVersionBuild":"1:1","more":[1]})");
    EXPECT_EQ(store->loadState().lastVersionBuild, "1:1");
    fail("read", "state", EIO);
    EXPECT_EQ(store->loadState(), tessel::AppHealthState());
}

TEST_F(AppHealthStoreTest, clearsAwayWhatACrashLeft) {
    static_cast<void>(open());
    constexpr auto* tail = ".tmp-00112233-4455-4677-8899-AABBCCDDEEFF";
    const std::string name = ".20261121000000000-0123456789abcdef.json";
    for (const auto& path : {std::string(".latest.json"), std::string(".state.json"),
                             "history/" + name, "pending/" + name}) {
        put(path + tail, "half");
    }
    const std::vector<std::string> foreign{
        ".notes.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF",
        "history/.latest.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF",
        "pending/.notes.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF",
        "history/.20261121000000000-0123456789abcdef.json.tmp-1",
    };
    for (const auto& path : foreign) {
        put(path, "theirs");
    }
    put("history/.20000101000000000-0123456789abcdef.json" + std::string(tail), "", Kind::folder);

    static_cast<void>(open());

    auto expected = foreign;
    expected.insert(expected.end(),
                    {"history", "pending",
                     "history/.20000101000000000-0123456789abcdef.json" + std::string(tail)});
    EXPECT_THAT(files.pathsBelow(root), testing::UnorderedElementsAreArray(expected));
}

TEST_F(AppHealthStoreTest, leavesTemporaryFilesAloneWhereItCannotKeepOthersOut) {
    static_cast<void>(open());
    put(".latest.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF", "in use");
    fail("lock", "", ENOTSUP);
    const auto store = open();
    EXPECT_THAT(files.pathsBelow(root), Contains(StartsWith(".latest.json.tmp-")));
    store->record(reportAt(1));
    EXPECT_EQ(store->latestReport(), reportAt(1)) << "it works there all the same";
}

TEST_F(AppHealthStoreTest, holdsTheFolderWhileItWritesAndNoLonger) {
    const auto store = open();
    EXPECT_EQ(files.locks, 0);
    std::vector<int> held;
    files.fault = [&](std::string_view operation, const std::filesystem::path&) {
        if (operation == "create" || operation == "remove") {
            held.push_back(files.locks);
        }
        return 0;
    };
    store->record(reportAt(1));
    store->saveState({});
    store->markSubmitted(store->pendingEntries().at(0));
    EXPECT_THAT(held, testing::AllOf(SizeIs(5), Each(1)));
    EXPECT_EQ(files.locks, 0);
}

struct Failure {
    std::string operation;
    int errnoValue;
    std::string text;
    bool isReplaced; // whether the failure comes when the new file has its name already
};

class AppHealthStoreFailureTest : public AppHealthStoreTest,
                                  public testing::WithParamInterface<Failure> {};

TEST_P(AppHealthStoreFailureTest, leavesTheOldFileOrTheNewAndNothingElse) {
    const auto store = open();
    store->record(reportAt(1));
    const auto before = files.pathsBelow(root);
    const auto old = AppHealthJSON::storedData(reportAt(1));
    fail(GetParam().operation, "health", GetParam().errnoValue);
    int failures = 0;
    files.fault = [&, inner = files.fault](std::string_view operation,
                                           const std::filesystem::path& path) {
        const bool isLatest =
            path.native().contains("latest.json") || failures > 0 || operation.ends_with("folder");
        const int error = isLatest && path != "/data/health/history" ? inner(operation, path) : 0;
        failures += error != 0 ? 1 : 0;
        return error;
    };

    const auto text = failureOf([&] { store->record(reportAt(2)); });

    EXPECT_THAT(text, testing::EndsWith(GetParam().text));
    EXPECT_EQ(failures, 1) << "what failed is not tried again";
    files.fault = nullptr;
    auto expected = before;
    expected.push_back("history/" + nameOf(reportAt(2)));
    EXPECT_THAT(files.pathsBelow(root), testing::UnorderedElementsAreArray(expected));
    EXPECT_EQ(files.nodes.at("/data/health/latest.json").content,
              GetParam().isReplaced ? AppHealthJSON::storedData(reportAt(2)) : old);
    EXPECT_EQ(files.locks, 0);
    store->record(reportAt(3));
    EXPECT_EQ(store->latestReport(), reportAt(3));
}

INSTANTIATE_TEST_SUITE_P(
    AppHealthStore, AppHealthStoreFailureTest,
    testing::Values(
        Failure{"create", EACCES, "health store could not create a private file", false},
        Failure{"write", ENOSPC, "No space left on device", false},
        Failure{"flush", EIO, "Input/output error", false},
        Failure{"flush", EINTR, "Interrupted system call", false},
        Failure{"close", EIO, "Input/output error", false},
        Failure{"rename", EACCES, "health store rename failed with errno 13", false},
        Failure{"chmod", EPERM, "Operation not permitted", true},
        Failure{"open folder", EMFILE, "health store open directory failed with errno 24", true},
        Failure{"flush folder", EIO, "health store sync directory failed with errno 5", true}),
    [](const auto& parameter) {
        std::string name = parameter.param.operation;
        std::erase(name, ' ');
        return name + std::to_string(parameter.param.errnoValue);
    });

TEST_F(AppHealthStoreTest, forgivesAFileSystemThatCannotSyncFolders) {
    const auto store = open();
    fail("flush folder", "", EINVAL);
    store->record(reportAt(1));
    store->saveState({});
    store->markSubmitted(store->pendingEntries().at(0));
    fail("open folder", "", EINVAL);
    EXPECT_EQ(failureOf([&] { store->record(reportAt(2)); }),
              "health store open directory failed with errno 22");
}

TEST_F(AppHealthStoreTest, passesOnWhatKeepsItFromTrimming) {
    const auto store = open(1, 1);
    store->record(reportAt(1));
    fail("remove", "history", EROFS);
    EXPECT_THAT(failureOf([&] { store->record(reportAt(2)); }), HasSubstr("Read-only"));
    fail("list", "pending", EIO);
    EXPECT_THAT(failureOf([&] { store->record(reportAt(3)); }), HasSubstr("Input/output"));
}

TEST_F(AppHealthStoreTest, createsNothingWithoutRandomBytes) {
    const auto store = open();
    random.fails = true;
    EXPECT_EQ(failureOf([&] { store->record(reportAt(1)); }),
              "health store could not create a private file");
    EXPECT_THAT(files.pathsBelow(root), ElementsAre("history", "pending"));
}

TEST_F(AppHealthStoreTest, makesItsFoldersAnewWhenSomebodyRemovedThem) {
    const auto store = open();
    files.nodes.erase("/data/health/pending");
    files.nodes.erase("/data/health/history");
    files.nodes.erase(root);
    store->record(reportAt(1));
    EXPECT_THAT(store->pendingReports(), ElementsAre(reportAt(1)));
    files.nodes.erase(root);
    files.nodes.erase("/data/health/state.json");
    store->saveState({.lastVersionBuild = "1:1", .lastRunAt = {}});
    EXPECT_EQ(store->loadState().lastVersionBuild, "1:1");
}

TEST(AppHealthStoreError, saysWhatFailed) {
    const auto error = AppHealthStoreError::posixFailure("rename", EACCES);
    EXPECT_EQ(error.kind(), AppHealthStoreError::Kind::posixFailure);
    EXPECT_EQ(error.operation(), "rename");
    EXPECT_EQ(error.errnoValue(), 13);
    EXPECT_STREQ(error.what(), "health store rename failed with errno 13");
}

TEST_F(AppHealthStoreTest, changesNothingForAProgramThatOnlyLooks) {
    const auto absent = AppHealthStore::forReading(root, files, random);
    EXPECT_EQ(absent->latestReport(), std::nullopt);
    EXPECT_THAT(absent->historyReports(), IsEmpty());
    EXPECT_FALSE(files.nodes.contains(root));
    const auto report = reportAt(1);
    open()->record(report);
    put("history/" + AppHealthReportFile::temporaryName("20261121040506078-0123456789abcdef.json",
                                                        "00000000-0000-4000-8000-000000000000"),
        "half");
    for (auto& [path, node] : files.nodes) {
        node.mode = node.kind == Kind::folder ? 0755 : 0600;
    }
    const auto modes = [this] {
        std::map<std::filesystem::path, mode_t> all;
        for (const auto& [path, node] : files.nodes) {
            all[path] = node.mode;
        }
        return all;
    };
    const auto before = modes();
    const auto store = AppHealthStore::forReading(root, files, random);
    EXPECT_EQ(store->latestReport(), report);
    EXPECT_THAT(store->historyReports(), ElementsAre(report));
    EXPECT_THAT(store->pendingReports(), ElementsAre(report));
    EXPECT_EQ(store->findReport(report.app, report.version, report.build), report);
    EXPECT_EQ(modes(), before);
}

} // namespace
