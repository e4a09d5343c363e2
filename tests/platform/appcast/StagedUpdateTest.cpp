#include "platform/appcast/StagedUpdate.h"

#include "platform/appcast/Exchange.h"
#include "platform/appcast/InstallLocation.h"
#include "tests/platform/appcast/Tracing.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/updates/SigningKey.h"
#include "tests/support/updates/TestBundle.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>

namespace platform::appcast {
namespace {

using test_support::ArchiveBuilder;
using test_support::SigningKey;
using test_support::TestBundle;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string versionAt(const std::filesystem::path& bundle) {
    const auto info = test_support::readTestInfo(bundle);
    const auto found = info.find("CFBundleVersion");
    return found == info.end() ? "none" : found->second.value_or("none");
}

class Staged : public ::testing::Test {
  protected:
    UpdatePlan plan(const std::string& archive) const {
        return {.installed = installed,
                .length = archive.size(),
                .signature = key.sign(archive),
                .key = key.publicKey(),
                .expected = {.identifier = "test.example", .version = "2", .runningProgram = {}},
                .readInfo = &test_support::readTestInfo};
    }
    static std::expected<StagedUpdate, std::string> prepare(const std::string& archive,
                                                            const UpdatePlan& plan) {
        const auto file = makeNamelessFile(std::filesystem::temp_directory_path());
        EXPECT_EQ(::write(file->get(), archive.data(), archive.size()),
                  static_cast<ssize_t>(archive.size()));
        return StagedUpdate::prepare(file->get(), plan);
    }
    std::string refusal(const std::string& archive, const UpdatePlan& plan) {
        const auto update = prepare(archive, plan);
        EXPECT_FALSE(update);
        EXPECT_EQ(versionAt(installed), "1");
        EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app"));
        return update ? "" : update.error();
    }
    std::string refusal(const std::string& archive) { return refusal(archive, plan(archive)); }

    test_support::TemporaryFolder root;
    SigningKey key;
    std::filesystem::path installed = TestBundle{}.write(root.path());
    TestBundle next{.version = "2"};
};

TEST_F(Staged, changesNothingBeforeItIsActivated) {
    const auto archive = next.archive();
    {
        const auto update = prepare(archive, plan(archive));
        ASSERT_TRUE(update) << update.error();
        EXPECT_EQ(versionAt(installed), "1");
        EXPECT_THAT(namesIn(root.path()), SizeIs(2));
    }
    EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app"));
}

TEST_F(Staged, exchangesTheBundlesAndLeavesTheOldOneForLater) {
    const auto archive = next.archive();
    {
        auto update = prepare(archive, plan(archive));
        ASSERT_TRUE(update && update->activate());
        EXPECT_EQ(versionAt(installed), "2");
        removeLeftovers(installed);
        EXPECT_THAT(namesIn(root.path()), SizeIs(2)) << "it is still in use";
    }
    EXPECT_THAT(namesIn(root.path()), SizeIs(2));
    removeLeftovers(installed);
    EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app"));
    EXPECT_EQ(versionAt(installed), "2");
}

TEST_F(Staged, goesBackToTheOldBundleAndRemovesTheNewOneAtOnce) {
    const auto archive = next.archive();
    {
        auto update = prepare(archive, plan(archive));
        ASSERT_TRUE(update && update->activate() && update->revert());
        EXPECT_EQ(versionAt(installed), "1");
    }
    EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app"));
}

TEST_F(Staged, refusesATamperedArchive) {
    auto archive = next.archive();
    const auto genuine = plan(archive);
    for (const std::size_t position : {std::size_t{0}, archive.size() / 2, archive.size() - 1}) {
        auto changed = archive;
        changed[position] = static_cast<char>(changed[position] ^ 1);
        EXPECT_THAT(refusal(changed, genuine), HasSubstr("not signed")) << position;
    }
}

TEST_F(Staged, refusesTheSignatureOfAnotherKey) {
    const auto archive = next.archive();
    auto other = plan(archive);
    other.signature = SigningKey().sign(archive);
    EXPECT_THAT(refusal(archive, other), HasSubstr("not signed"));
}

TEST_F(Staged, refusesAKeyAndASignatureOfZeros) {
    const auto archive = next.archive();
    auto zeros = plan(archive);
    zeros.key = {};
    zeros.signature = {};
    EXPECT_THAT(refusal(archive, zeros), HasSubstr("not signed"));
}

TEST_F(Staged, refusesAnotherLengthThanAnnounced) {
    const auto archive = next.archive();
    auto shorter = plan(archive);
    ++shorter.length;
    EXPECT_THAT(refusal(archive, shorter), HasSubstr("announced length"));
    EXPECT_THAT(refusal("", plan("")), HasSubstr("announced length"));
}

TEST_F(Staged, refusesASignedArchiveThatLeavesItsFolder) {
    ArchiveBuilder traversing;
    next.addTo(traversing);
    traversing.file("../evil", "x");
    EXPECT_THAT(refusal(traversing.finish()), HasSubstr("not allowed"));
    ArchiveBuilder linking;
    next.addTo(linking);
    linking.link("Example.app/Contents/link", "../../../..");
    EXPECT_THAT(refusal(linking.finish()), HasSubstr("leads out"));
}

TEST_F(Staged, refusesAnotherApplicationOrAnotherVersion) {
    next.identifier = "test.other";
    EXPECT_THAT(refusal(next.archive()), HasSubstr("another application"));
    next = {.version = "1"}; // an old archive under a new version's name
    EXPECT_THAT(refusal(next.archive()), HasSubstr("another version"));
}

TEST_F(Staged, refusesAnythingButExactlyOneApplication) {
    ArchiveBuilder two;
    next.addTo(two);
    two.file("README", "x");
    EXPECT_THAT(refusal(two.finish()), HasSubstr("exactly one"));
    next.name = "Example";
    EXPECT_THAT(refusal(next.archive()), HasSubstr("exactly one"));
    ArchiveBuilder file;
    file.file("Example.app", "x");
    EXPECT_THAT(refusal(file.finish()), HasSubstr("exactly one"));
}

TEST_F(Staged, refusesAnApplicationWithoutItsProgram) {
    next.info["CFBundleExecutable"] = "Other";
    EXPECT_THAT(refusal(next.archive()), HasSubstr("without its program"));
    next.info["CFBundleExecutable"] = "../Info.plist";
    EXPECT_THAT(refusal(next.archive()), HasSubstr("without its program"));
}

TEST_F(Staged, refusesAProgramForAnotherProcessor) {
    const std::string mine = readText("/proc/self/exe");
    auto fitting = next;
    fitting.program = mine.substr(0, 4096);
    auto archive = fitting.archive();
    auto check = plan(archive);
    check.expected.runningProgram = "/proc/self/exe";
    EXPECT_TRUE(prepare(archive, check));

    auto foreign = fitting;
    foreign.program[18] = static_cast<char>(foreign.program[18] ^ 0x55);
    archive = foreign.archive();
    check = plan(archive);
    check.expected.runningProgram = "/proc/self/exe";
    EXPECT_THAT(refusal(archive, check), HasSubstr("another kind of processor"));
}

TEST_F(Staged, takesABundleOfAnotherFolderName) {
    next.name = "Example 2.app";
    const auto archive = next.archive();
    auto update = prepare(archive, plan(archive));
    ASSERT_TRUE(update && update->activate());
    EXPECT_EQ(versionAt(installed), "2");
}

TEST_F(Staged, carriesOverTheLinksToTheSystemsPrograms) {
    const auto bin = installed / "Contents/Resources/bin";
    std::filesystem::create_directories(bin);
    std::filesystem::create_symlink("/usr/bin/true", bin / "tool");
    std::filesystem::create_symlink("/usr/bin/false", bin / "known");
    std::filesystem::create_symlink("tool", bin / "inner");
    next.files["Resources/bin/known"] = "its own";
    const auto archive = next.archive();
    auto update = prepare(archive, plan(archive));
    ASSERT_TRUE(update && update->activate());
    EXPECT_EQ(std::filesystem::read_symlink(bin / "tool"), "/usr/bin/true");
    EXPECT_EQ(readText(bin / "known"), "its own");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(bin / "inner")));
}

TEST_F(Staged, carriesNothingOverThroughALinkOfTheNewBundle) {
    const test_support::TemporaryFolder outside;
    std::filesystem::create_directories(installed / "Contents/Resources/bin");
    std::filesystem::create_symlink("/usr/bin/true", installed / "Contents/Resources/bin/tool");
    const auto fresh = TestBundle{.name = "Fresh.app"}.write(outside.path());
    std::filesystem::create_directory(outside / "target");
    std::filesystem::create_directory_symlink(outside / "target", fresh / "Contents/Resources");
    carryOverSystemLinks(installed, fresh);
    EXPECT_THAT(namesIn(outside / "target"), IsEmpty());
}

TEST_F(Staged, leavesWhatBelongsToSomebodyElse) {
    std::filesystem::create_directories(root / ".Example.app.update-abc123");
    removeLeftovers(installed, ::geteuid() + 1);
    EXPECT_THAT(namesIn(root.path()), SizeIs(2));
}

TEST_F(Staged, clearsNothingAwayWhileThereIsNoBundle) {
    std::filesystem::create_directories(root / ".Example.app.update-abc123/new/Example.app");
    std::filesystem::remove_all(installed);
    removeLeftovers(installed);
    EXPECT_THAT(namesIn(root.path()), ElementsAre(".Example.app.update-abc123"));
}

TEST_F(Staged, clearsAwayWhatAKilledInstallationLeft) {
    std::filesystem::create_directories(root / ".Example.app.update-abc123/new/Example.app");
    std::filesystem::create_directories(root / ".Other.app.update-abc123");
    std::filesystem::create_directory_symlink("/", root / ".Example.app.update-link00");
    removeLeftovers(installed);
    EXPECT_THAT(namesIn(root.path()), ElementsAre(".Example.app.update-link00",
                                                  ".Other.app.update-abc123", "Example.app"));
}

TEST_F(Staged, failsWithoutHarmWhereNoFolderCanBeMade) {
    const auto archive = next.archive();
    auto nowhere = plan(archive);
    nowhere.installed = root / "missing/Example.app";
    EXPECT_THAT(refusal(archive, nowhere), HasSubstr("cannot be replaced"));
}

TEST(ExchangeFolders, worksWithRenamesToo) {
    const test_support::TemporaryFolder root;
    std::filesystem::create_directories(root / "staged/new");
    std::filesystem::create_directories(root / "target/old");
    ASSERT_TRUE(exchangeByRenaming(root / "staged", root / "target"));
    EXPECT_THAT(namesIn(root / "target"), ElementsAre("new"));
    EXPECT_THAT(namesIn(root / "staged"), ElementsAre("old"));
    EXPECT_THAT(namesIn(root.path()), ElementsAre("staged", "target"));
}

TEST(ExchangeFolders, leavesBothWhereTheyAreWhenOneIsMissing) {
    const test_support::TemporaryFolder root;
    std::filesystem::create_directories(root / "target/old");
    EXPECT_FALSE(exchangeByRenaming(root / "staged", root / "target"));
    EXPECT_FALSE(exchangeFolders(root / "staged", root / "target"));
    EXPECT_THAT(namesIn(root / "target"), ElementsAre("old"));
    EXPECT_THAT(namesIn(root.path()), ElementsAre("target"));
}

TEST(InstallLocation, belongsToThePackageManagerBelowUsr) {
    EXPECT_EQ(installLocation("/usr/lib/zorvane/Zorvane.app"), InstallLocation::systemsOwn);
    EXPECT_EQ(installLocation("/usr/local/../lib/A.app"), InstallLocation::systemsOwn);
    EXPECT_NE(installLocation("/usr/local/A.app"), InstallLocation::systemsOwn);
    EXPECT_NE(installLocation("/usrother/A.app"), InstallLocation::systemsOwn);
}

TEST(InstallLocation, isOursWhereWeCanWrite) {
    const test_support::TemporaryFolder root;
    EXPECT_EQ(installLocation(TestBundle{}.write(root.path())), InstallLocation::ours);
    EXPECT_EQ(installLocation(root / "missing/A.app"), InstallLocation::notWritable);
    EXPECT_EQ(installLocation("/proc/self"), InstallLocation::notWritable);
}

// Path, mode and content of everything in a folder.
std::map<std::string, std::string> treeOf(const std::filesystem::path& folder) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const auto name = fmt::format("{} {:o}", entry.path().lexically_relative(folder).string(),
                                      modeOf(entry.path()));
        tree[name] = entry.is_regular_file() ? readText(entry.path()) : "";
    }
    return tree;
}

// A real installation in a process of its own, which is watched, or killed at every system call in
// turn. The two versions have different files.
class WatchedInstallation : public Staged {
  protected:
    void SetUp() override {
        old.files = {{"Resources/both", "old"}, {"Resources/only-old", "x"}};
        next.files = {{"Resources/both", "new"}, {"Resources/only-new", "y"}};
        next.displayVersion = "2.0";
        const test_support::TemporaryFolder elsewhere;
        oldTree = treeOf(old.write(elsewhere / "old"));
        nextTree = treeOf(next.write(elsewhere / "next"));
        const auto archive = next.archive();
        writeText(files / "archive", archive);
        const auto hexadecimal = [](const auto& bytes) {
            std::string text;
            for (const auto byte : bytes) {
                text += fmt::format("{:02x}", byte);
            }
            return text;
        };
        arguments = {ZORVANE_INSTALL_PROBE,
                     "",
                     files / "archive",
                     installed.string(),
                     "test.example",
                     "2",
                     hexadecimal(key.publicKey()),
                     hexadecimal(key.sign(archive))};
    }

    test_support::Trace run(const std::string& phase, std::size_t killAt = 0) {
        arguments[1] = phase;
        return test_support::trace(arguments, variables, killAt, traced);
    }
    // As it was before the phase.
    void arrange(const std::string& phase) {
        std::filesystem::remove_all(installed);
        if (phase != "clean") {
            old.write(root.path());
            return;
        }
        next.write(root.path());
        old.write(root / ".Example.app.update-abc123/new");
    }
    // A process that the killed one left behind has the lock as long as it works.
    void awaitEverybody() {
        for (const auto& entry : std::filesystem::directory_iterator(root.path())) {
            const posix::UniqueFd folder(
                ::open(entry.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            ASSERT_EQ(::flock(folder.get(), LOCK_EX), 0);
        }
    }
    std::string wholeVersion() const {
        const auto tree = std::filesystem::exists(installed) ? treeOf(installed)
                                                             : std::map<std::string, std::string>();
        return tree == oldTree ? "1" : tree == nextTree ? "2" : "a mixture, or nothing";
    }
    // Returns how often it was killed.
    std::size_t killEverywhere(const std::string& phase) {
        for (std::size_t call = 1; !HasFailure(); ++call) {
            arrange(phase);
            const auto trace = run(phase, call);
            awaitEverybody();
            EXPECT_THAT(wholeVersion(), AnyOf("1", "2")) << phase << ", killed at call " << call;
            if (traced == test_support::Traced::itsChild) {
                EXPECT_TRUE(WIFEXITED(trace.status)) << "a kill of the child ends nobody else";
                EXPECT_EQ(WEXITSTATUS(trace.status) == 0,
                          wholeVersion() == (phase == "revert" ? "1" : "2"))
                    << phase << ", killed at call " << call;
            }
            removeLeftovers(installed);
            EXPECT_THAT(wholeVersion(), AnyOf("1", "2")) << phase << ", cleared after " << call;
            EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app")) << call;
            if (!trace.isKilled) {
                EXPECT_TRUE(WIFEXITED(trace.status) && WEXITSTATUS(trace.status) == 0);
                return call - 1;
            }
        }
        return 0;
    }
    // Everything that was called, as "NUMBER", and the folder where one was flushed.
    std::vector<std::string> flushesAndRenames(const test_support::Trace& trace) const {
        std::vector<std::string> found;
        for (const auto& [number, first] : trace.calls) {
            if (number == SYS_syncfs || number == SYS_fsync) {
                const bool isStaging = first.filename().string().starts_with(".Example.app.update");
                found.push_back(first == root.path() ? "flush the folder of the bundle"
                                : isStaging          ? "flush everything"
                                                     : "flush the folder of the new bundle");
            } else if (number == SYS_renameat2) {
                found.emplace_back("exchange");
            }
        }
        return found;
    }

    test_support::TemporaryFolder files;
    TestBundle old;
    std::map<std::string, std::string> oldTree;
    std::map<std::string, std::string> nextTree;
    std::vector<std::string> arguments;
    std::vector<std::string> variables;
    test_support::Traced traced = test_support::Traced::theProgram;
};

TEST_F(WatchedInstallation, hasEverythingOnTheDiskBeforeTheFirstNameChangesAndTheNamesAfter) {
    const auto trace = run("install");
    EXPECT_EQ(wholeVersion(), "2");
    EXPECT_THAT(flushesAndRenames(trace),
                ElementsAre("flush everything", "exchange", "flush the folder of the bundle",
                            "flush the folder of the new bundle"));
}

TEST_F(WatchedInstallation, leavesAWholeApplicationWhereverTheExchangeIsKilled) {
    EXPECT_GT(killEverywhere("activate"), 5U);
}

TEST_F(WatchedInstallation, leavesAWholeApplicationWhereverItsWayBackIsKilled) {
    EXPECT_GT(killEverywhere("revert"), 20U);
}

TEST_F(WatchedInstallation, leavesAWholeApplicationWhereverTheCleaningIsKilled) {
    EXPECT_GT(killEverywhere("clean"), 20U);
}

TEST_F(WatchedInstallation, survivesTheSameOnAFileSystemThatCannotExchange) {
    variables = {"WITHOUT_EXCHANGE=1"};
    EXPECT_GT(killEverywhere("activate"), 10U);
    EXPECT_GT(killEverywhere("revert"), 20U);
}

TEST_F(WatchedInstallation, survivesAKillOfTheProcessThatRenames) {
    variables = {"WITHOUT_EXCHANGE=1"};
    traced = test_support::Traced::itsChild;
    EXPECT_GT(killEverywhere("activate"), 4U); // setsid, three renames, exit
    EXPECT_GT(killEverywhere("revert"), 4U);
}

} // namespace
} // namespace platform::appcast
