#include "platform/appcast/StagedUpdate.h"

#include "platform/appcast/Exchange.h"
#include "platform/appcast/InstallLocation.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/updates/SigningKey.h"
#include "tests/support/updates/TestBundle.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace platform::appcast {
namespace {

using test_support::ArchiveBuilder;
using test_support::SigningKey;
using test_support::TestBundle;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
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

TEST_F(Staged, goesBackToTheOldBundle) {
    const auto archive = next.archive();
    auto update = prepare(archive, plan(archive));
    ASSERT_TRUE(update && update->activate() && update->revert());
    EXPECT_EQ(versionAt(installed), "1");
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

// Kills a real installation at many moments.
class KilledInstallation : public Staged {
  protected:
    void SetUp() override {
        for (int i = 0; i < 60; ++i) {
            const auto name = fmt::format("Resources/{}", i);
            content[name] = std::string(20'000, static_cast<char>('a' + i % 26));
        }
        old.files = content;
        next.files = content;
        old.write(root.path());
        archivePath = files / "archive";
        const auto archive = next.archive();
        writeText(archivePath, archive);
        const auto hexadecimal = [](const auto& bytes) {
            std::string text;
            for (const auto byte : bytes) {
                text += fmt::format("{:02x}", byte);
            }
            return text;
        };
        arguments = {ZORVANE_INSTALL_PROBE,
                     archivePath,
                     installed.string(),
                     "test.example",
                     "2",
                     hexadecimal(key.publicKey()),
                     hexadecimal(key.sign(archive))};
    }

    [[nodiscard]] pid_t start() const {
        std::vector<char*> pointers;
        for (const auto& argument : arguments) {
            pointers.push_back(const_cast<char*>(argument.c_str()));
        }
        pointers.push_back(nullptr);
        pid_t child = -1;
        EXPECT_EQ(::posix_spawn(&child, pointers[0], nullptr, nullptr, pointers.data(), environ),
                  0);
        return child;
    }

    // One of the two versions, with all of its files.
    void expectWhole() const {
        const auto version = versionAt(installed);
        EXPECT_TRUE(version == "1" || version == "2") << version;
        EXPECT_EQ(readText(installed / "Contents/MacOS/Example"), next.program);
        for (const auto& [name, text] : content) {
            ASSERT_EQ(readText(installed / "Contents" / name), text) << name;
        }
    }

    test_support::TemporaryFolder files;
    TestBundle old;
    std::map<std::string, std::string> content;
    std::string archivePath;
    std::vector<std::string> arguments;
};

TEST_F(KilledInstallation, leavesAWholeApplicationAtEveryMoment) {
    const auto begin = std::chrono::steady_clock::now();
    int status = -1;
    ASSERT_GT(::waitpid(start(), &status, 0), 0);
    ASSERT_EQ(status, 0);
    auto duration = std::chrono::steady_clock::now() - begin;
    expectWhole();

    constexpr int moments = 40;
    int killed = 0;
    for (int i = 0; i < moments; ++i) {
        const pid_t child = start();
        std::this_thread::sleep_for(duration * i / (moments - 10));
        ::kill(child, SIGKILL);
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        if (WIFSIGNALED(status)) {
            ++killed;
        } else {
            duration = duration * 9 / 10; // it was faster than the one that was measured
        }
        expectWhole();
    }
    EXPECT_GT(killed, 5);
    ASSERT_GT(::waitpid(start(), &status, 0), 0);
    EXPECT_EQ(status, 0);
    removeLeftovers(installed);
    expectWhole();
    EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app"));
}

} // namespace
} // namespace platform::appcast
