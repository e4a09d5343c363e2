#include "mac/Zorvane/SidecarResolver.h"

#include "platform/testing/InMemorySystem.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

namespace zorvane {
namespace {

using platform::CommandError;
using platform::CommandResult;
using Answer = std::expected<CommandResult, CommandError>;

const std::filesystem::path bundled = "/Apps/Zorvane.app/Contents/MacOS/ostrad";
const std::filesystem::path staging = "/support/app.zorvane/bin";

Answer prints(std::string text, int code = 0) {
    return CommandResult{{.signalled = false, .code = code}, std::move(text)};
}

class SidecarResolverTest : public testing::Test {
  protected:
    platform::testing::FakeBundle bundle;
    platform::testing::FakeCommandRunner commands;
    platform::testing::InMemoryFiles files;
    platform::testing::RecordingLog log;

    SidecarResolver make(platform::Environment environment = {}) {
        return SidecarResolver({.bundle = bundle, .commands = commands, .files = files, .log = log},
                               std::move(environment));
    }
    void bundleAServer(const std::string& version) {
        bundle.auxiliaryExecutables.insert("ostrad");
        files.modes[bundled] = 0755;
        commands.answers.insert_or_assign(bundled, prints(version));
    }
    void stage(const std::string& name, Answer answer) {
        files.listings[staging].push_back(name);
        commands.answers.insert_or_assign(staging / name, std::move(answer));
    }
};

TEST_F(SidecarResolverTest, usesTheBundleWhenNothingIsStaged) {
    bundleAServer("1.2\n");
    EXPECT_EQ(make().resolveSidecar(), bundled);
    EXPECT_TRUE(commands.ran.empty()) << "no probe is run without a staged payload";
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SidecarResolverTest, usesANewerStagedServerThatProvesItsVersion) {
    bundleAServer("1.2\n");
    stage("ostrad-1.3", prints("1.3\n"));
    stage("ostrad-1.10.0", prints("  1.10.0 \n"));
    EXPECT_EQ(make().resolveSidecar(), staging / "ostrad-1.10.0");
    EXPECT_EQ(log.lines, std::vector<std::string>{"using staged ostrad 1.10.0 (bundled is 1.2)"});
    EXPECT_EQ(commands.lastArguments, std::vector<std::string>{"-version"});
    EXPECT_EQ(commands.lastTimeout, std::chrono::seconds(3));
}

TEST_F(SidecarResolverTest, rejectsAStagedServerWhoseAnswerDiffersFromItsName) {
    bundleAServer("1.2");
    stage("ostrad-1.2.5", prints("1.2.5"));
    stage("ostrad-1.3.0", prints("1.3"));
    EXPECT_EQ(make().resolveSidecar(), bundled) << "no second-best candidate is tried";
    EXPECT_EQ(log.lines, std::vector<std::string>{
                             "staged payload ostrad-1.3.0 failed its -version probe; using "
                             "bundled 1.2"});
    EXPECT_EQ(commands.ran,
              (std::vector<std::filesystem::path>{bundled, staging / "ostrad-1.3.0"}));
}

TEST_F(SidecarResolverTest, keepsTheBundleWhenTheStagedServerHangs) {
    bundleAServer("1.2");
    stage("ostrad-1.3.0",
          std::unexpected(CommandError{CommandError::Kind::timedOut, "no answer in time"}));
    EXPECT_EQ(make().resolveSidecar(), bundled);
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST_F(SidecarResolverTest, keepsTheBundleWhenItReportsNoVersion) {
    for (const Answer& answer :
         {prints(""), prints(" \n"), prints("1.2", 1), prints("1.\xFF"),
          Answer(CommandResult{{.signalled = true, .code = SIGKILL}, "1.2"}),
          Answer(std::unexpected(CommandError{CommandError::Kind::notStarted, "no"}))}) {
        files.listings.clear();
        log.lines.clear();
        bundleAServer("");
        commands.answers.insert_or_assign(bundled, answer);
        stage("ostrad-9", prints("9"));
        EXPECT_EQ(make().resolveSidecar(), bundled);
        EXPECT_EQ(log.lines,
                  std::vector<std::string>{"staged payloads present but bundled ostrad reports no "
                                           "-version; using the bundle"});
    }
}

TEST_F(SidecarResolverTest, staysSilentWhenNoStagedServerIsNewer) {
    bundleAServer("1.2");
    stage("ostrad-1.2.0", prints("1.2.0"));
    stage("ostrad-1.3.0.tmp", prints("1.3.0.tmp"));
    stage("ostrad-latest", prints("latest"));
    EXPECT_EQ(make().resolveSidecar(), bundled);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SidecarResolverTest, keepsTheBundleWhenItsVersionIsNotABareVersion) {
    bundleAServer("ostrad 1.2");
    stage("ostrad-9", prints("9"));
    EXPECT_EQ(make().resolveSidecar(), bundled);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SidecarResolverTest, neverReplacesAnOverrideOrTheDevelopmentLayout) {
    stage("ostrad-9", prints("9"));
    EXPECT_EQ(make({{"OSTRA_SIDECAR", "/my/server"}}).resolveSidecar(), "/my/server");
    files.modes["/home/ann/data/quillon"] = 0755;
    EXPECT_EQ(make().resolveSidecar(), "/home/ann/data/quillon");
    EXPECT_TRUE(commands.ran.empty());
}

TEST_F(SidecarResolverTest, neverReplacesAnOverrideThatNamesTheBundledServer) {
    bundleAServer("1.2");
    stage("ostrad-9", prints("9"));
    EXPECT_EQ(make({{"OSTRA_SIDECAR", bundled.string()}}).resolveSidecar(), bundled);
    EXPECT_EQ(make({{"OSTRA_SIDECAR", ""}}).resolveSidecar(), staging / "ostrad-9");
}

TEST_F(SidecarResolverTest, findsNothingWithoutAnyServer) {
    EXPECT_EQ(make().resolveSidecar(), std::nullopt);
}

TEST_F(SidecarResolverTest, doesNotCreateTheStagingFolder) {
    bundleAServer("1.2");
    EXPECT_EQ(make().stagedBinDirectory(), staging);
    EXPECT_EQ(files.modes.size(), 1U);
    files.supportFailure = platform::FileError{"no home", ENOENT};
    EXPECT_EQ(make().stagedBinDirectory(), std::nullopt);
    EXPECT_EQ(make().resolveSidecar(), bundled);
}

TEST_F(SidecarResolverTest, handsOverTheMediaToolsItFindsInOrder) {
    files.modes["/Apps/Zorvane.app/Contents/Resources/bin/fpcalc"] = 0755;
    files.modes["/opt/homebrew/bin/fpcalc"] = 0755;
    files.modes["/opt/homebrew/bin/ffmpeg"] = 0755;
    files.modes["/usr/local/bin/ffmpeg"] = 0755;
    EXPECT_EQ(make().mediaToolArguments(),
              (std::vector<std::pair<std::string, std::string>>{
                  {"-ffmpeg", "/opt/homebrew/bin/ffmpeg"},
                  {"-fpcalc", "/Apps/Zorvane.app/Contents/Resources/bin/fpcalc"}}));
}

} // namespace
} // namespace zorvane
