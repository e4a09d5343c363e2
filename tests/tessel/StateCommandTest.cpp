#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"
#include "tests/tessel/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tool::test {
namespace {

mode_t modeOf(const std::filesystem::path& item) {
    struct stat status{};
    return ::lstat(item.c_str(), &status) == 0 ? status.st_mode & 07777 : mode_t{0};
}

// A folder on another volume than the one where temporary files live.
std::filesystem::path otherVolume() {
    struct stat here{};
    ::stat(std::filesystem::temp_directory_path().c_str(), &here);
    const char* const session = std::getenv("XDG_RUNTIME_DIR"); // NOLINT(concurrency-mt-unsafe)
    const char* const home = std::getenv("HOME");               // NOLINT(concurrency-mt-unsafe)
    for (const char* const place : {"/dev/shm", "/run", "/var/tmp", session, home}) {
        struct stat there{};
        if (place != nullptr && ::stat(place, &there) == 0 && there.st_dev != here.st_dev &&
            ::access(place, W_OK | X_OK) == 0) {
            return place;
        }
    }
    throw std::runtime_error("this machine has one volume only");
}

// What comes before a command that shall have an ordinary user's rights, whoever runs the test.
// Those are the owner of the folder then.
std::vector<std::string> asOrdinaryUser(const std::filesystem::path& folder) {
    constexpr uid_t nobody = 65534;
    if (::geteuid() != 0) {
        return {TESSEL_EXECUTABLE};
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        EXPECT_EQ(::lchown(entry.path().c_str(), nobody, nobody), 0);
    }
    EXPECT_EQ(::chown(folder.c_str(), nobody, nobody), 0);
    // A copy: the build may lie where an ordinary user may not look.
    std::filesystem::copy_file(TESSEL_EXECUTABLE, folder / "tessel");
    return {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", folder / "tessel"};
}

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class TesselState : public testing::Test {
  protected:
    ToolResult state(std::vector<std::string> arguments, const std::string& input = {}) {
        return run("state", std::move(arguments), input);
    }
    ToolResult credentials(std::vector<std::string> arguments) {
        return run("credentials", std::move(arguments), {});
    }
    ToolResult run(const std::string& group, std::vector<std::string> arguments,
                   const std::string& input) {
        arguments.insert(arguments.begin(), {group, "--app", "My App"});
        return runTool(arguments, input, {{"MY_APP_STATE_DIR", folder / "state"}});
    }

    test_support::TemporaryFolder folder;
};

TEST_F(TesselState, printsTheFolderItMade) {
    const auto dir = state({"dir"});
    EXPECT_EQ(dir.status, 0);
    EXPECT_EQ(dir.output, (folder / "state").string() + "\n");
    struct stat status{};
    ASSERT_EQ(::lstat((folder / "state").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(TesselState, takesAnotherVariableWhenItIsTold) {
    const auto dir = runTool({"state", "--app", "x", "--override-key", "ELSEWHERE", "dir"}, {},
                             {{"ELSEWHERE", folder / "other"}});
    EXPECT_EQ(dir.output, (folder / "other").string() + "\n");
}

TEST_F(TesselState, keepsBytesUnderAName) {
    const std::string bytes("a\0b\n", 4);
    EXPECT_EQ(state({"cache", "put", "name"}, bytes).status, 0);
    const auto got = state({"cache", "get", "name"});
    EXPECT_EQ(got.output, bytes);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(state({"cache", "put", "copy", folder / "state/name"}).status, 0);
    EXPECT_EQ(state({"cache", "get", "copy"}).output, bytes);
    EXPECT_EQ(state({"cache", "rm", "name"}).status, 0);
    EXPECT_EQ(state({"cache", "rm", "name"}).status, 0);
    const auto gone = state({"cache", "get", "name"});
    EXPECT_EQ(gone.status, 1);
    EXPECT_THAT(gone.output, IsEmpty());
    EXPECT_EQ(gone.error, "tessel: there is no cache name\n");
}

TEST_F(TesselState, saysWhatItCannotKeep) {
    EXPECT_EQ(state({"cache", "put", "trash"}, "x").status, 1) << "a folder has that name";
    EXPECT_EQ(state({"cache", "put", "name", folder / "absent"}).error,
              "tessel: cannot read " + (folder / "absent").string() +
                  ": No such file or directory\n");
}

TEST_F(TesselState, keepsNothingOfWhatIsTooLarge) {
    const auto large = folder / "large";
    std::ofstream(large) << "";
    std::filesystem::resize_file(large, (std::uintmax_t{256} << 20) + 1);
    ASSERT_EQ(state({"cache", "put", "name"}, "old").status, 0);
    for (const std::string name : {"name", "other"}) {
        const auto refused = state({"cache", "put", name, large});
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.error, HasSubstr("more than 268435456 bytes"));
    }
    EXPECT_EQ(state({"cache", "get", "name"}).output, "old");
    EXPECT_FALSE(std::filesystem::exists(folder / "state/other"));
}

TEST_F(TesselState, saysSoWhenTheDiskIsFull) {
    ASSERT_EQ(state({"cache", "put", "name"}, "old").status, 0);
    std::ofstream(folder / "big") << std::string(1 << 20, 'x');
    ToolProcess full(
        {"state", "cache", "put", "name", folder / "big", "--app", "My App"}, {},
        {{"MY_APP_STATE_DIR", folder / "state"}},
        {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 8; exec \"$0\" \"$@\"", TESSEL_EXECUTABLE});
    EXPECT_EQ(full.wait(), 1);
    EXPECT_THAT(full.error(), HasSubstr("tessel: cannot write the file " +
                                        (folder / "state/name").native() + ": "));
    EXPECT_EQ(state({"cache", "get", "name"}).output, "old");
}

TEST_F(TesselState, saysWhyItCannotMakeTheFolder) {
    std::ofstream(folder / "state") << "a file in the way";
    for (const auto& command : {std::vector<std::string>{"dir"}, {"cache", "put", "x"}}) {
        const auto failed = state(command, "text");
        EXPECT_EQ(failed.status, 1) << command.front();
        EXPECT_THAT(failed.error, HasSubstr("tessel: cannot "));
        EXPECT_THAT(failed.error, HasSubstr((folder / "state").native()));
        EXPECT_THAT(failed.output, IsEmpty());
    }
}

TEST_F(TesselState, leavesCachesAloneThatAreCalledLikeUnfinishedFiles) {
    for (const std::string name : {".new-1-1", ".new-", ".new-cache"}) {
        ASSERT_EQ(state({"cache", "put", name}, "mine").status, 0);
        ASSERT_EQ(state({"cache", "put", "other"}, "x").status, 0);
        EXPECT_EQ(state({"cache", "get", name}).output, "mine") << name;
    }
}

TEST_F(TesselState, makesAndChangesNothingWhenItOnlyLooks) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"state", "cache", "get", "x"},
          {"state", "cache", "rm", "x"},
          {"state", "trash", folder / "absent"},
          {"credentials", "show"},
          {"credentials", "delete"}}) {
        auto words = command;
        words.insert(words.end(), {"--app", "Typo"});
        static_cast<void>(runTool(words, {}, {{"XDG_DATA_HOME", folder / "data"}}));
        EXPECT_FALSE(std::filesystem::exists(folder / "data")) << testing::PrintToString(command);
    }
    ASSERT_EQ(state({"dir"}).status, 0);
    ASSERT_EQ(::chmod((folder / "state").c_str(), 0755), 0);
    std::filesystem::remove(folder / "state/trash");
    EXPECT_EQ(credentials({"show"}).status, 1);
    EXPECT_EQ(state({"cache", "get", "x"}).status, 1);
    EXPECT_EQ(modeOf(folder / "state"), 0755U);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "state"));
}

TEST_F(TesselState, doesNotCallATokenDeletedThatIsStillThere) {
    ASSERT_EQ(state({"cache", "put", "credentials.json"}, "{}").status, 0);
    ASSERT_EQ(::chmod((folder / "state").c_str(), 0500), 0);
    const auto user = asOrdinaryUser(folder.path());
    ToolProcess deletes({"credentials", "delete", "--app", "My App"}, {},
                        {{"MY_APP_STATE_DIR", folder / "state"}}, user);
    EXPECT_EQ(deletes.wait(), 1);
    EXPECT_EQ(deletes.error(), "tessel: cannot remove the file " +
                                   (folder / "state/credentials.json").native() +
                                   ": Permission denied\n");
    EXPECT_TRUE(std::filesystem::exists(folder / "state/credentials.json"));
    ASSERT_EQ(::chmod((folder / "state").c_str(), 0700), 0);
}

TEST_F(TesselState, setsThingsOfAnotherVolumeAside) {
    const test_support::TemporaryFolder other(otherVolume());
    std::filesystem::create_directories(other / "tree/below");
    std::ofstream(other / "tree/below/file") << "text";
    std::filesystem::create_symlink("nowhere", other / "tree/link");
    std::ofstream(other / "single") << "alone";
    ASSERT_EQ(::chmod((other / "single").c_str(), 0640), 0);
    for (const std::string name : {"tree", "single"}) {
        const auto moved = state({"trash", other / name});
        ASSERT_EQ(moved.status, 0) << moved.error;
        const std::filesystem::path place = moved.output.substr(0, moved.output.size() - 1);
        EXPECT_EQ(place.parent_path(), folder / "state/trash");
        EXPECT_FALSE(std::filesystem::exists(other / name));
        if (name == "tree") {
            EXPECT_EQ(std::filesystem::file_size(place / "below/file"), 4U);
            EXPECT_EQ(std::filesystem::read_symlink(place / "link"), "nowhere");
        } else {
            EXPECT_EQ(modeOf(place), 0640U);
        }
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "state/trash"), {}), 2)
        << "nothing half made";
}

TEST_F(TesselState, saysWhyItCannotSetSomethingAside) {
    const test_support::TemporaryFolder other(otherVolume());
    std::filesystem::create_directory(other / "tree");
    ASSERT_EQ(::mkfifo((other / "tree/fifo").c_str(), 0600), 0);
    const auto refused = state({"trash", other / "tree"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.error, HasSubstr("tessel: cannot copy " + (other / "tree/fifo").native()));
    EXPECT_TRUE(std::filesystem::exists(other / "tree/fifo"));
    EXPECT_TRUE(std::filesystem::is_empty(folder / "state/trash"));
    EXPECT_EQ(state({"trash", folder / "absent"}).error,
              "tessel: there is no " + (folder / "absent").native() + "\n");
}

TEST_F(TesselState, setsThingsAside) {
    std::ofstream(folder / "old") << "x";
    const auto moved = state({"trash", folder / "old"});
    EXPECT_EQ(moved.status, 0);
    EXPECT_THAT(moved.output, HasSubstr((folder / "state/trash/").string()));
    EXPECT_FALSE(std::filesystem::exists(folder / "old"));
    EXPECT_EQ(state({"trash", folder / "old"}).status, 1);
}

TEST_F(TesselState, showsCredentialsButTheTokenOnlyWhenAsked) {
    EXPECT_EQ(credentials({"show"}).error, "tessel: there are no credentials\n");
    EXPECT_EQ(credentials({"show"}).status, 1);
    state({"cache", "put", "credentials.json"},
          R"({"token":"secret","serverOrigin":"https://a.example","tokenName":"n",)"
          R"("linkedAt":"2025-01-31T09:12:44Z"})");
    const auto shown = credentials({"show"});
    EXPECT_EQ(shown.output,
              "token name: n\nserver: https://a.example\nlinked at: 2025-01-31T09:12:44Z\n");
    EXPECT_EQ(credentials({"show", "--json"}).output,
              R"({"linkedAt":"2025-01-31T09:12:44Z","serverOrigin":"https://a.example",)"
              R"("tokenName":"n"})"
              "\n");
    EXPECT_THAT(credentials({"show", "--reveal"}).output, HasSubstr("token: secret\n"));
    EXPECT_THAT(credentials({"show", "--json", "--reveal"}).output,
                HasSubstr(R"("token":"secret")"));
    EXPECT_EQ(credentials({"delete"}).status, 0);
    EXPECT_EQ(credentials({"delete"}).status, 0);
    EXPECT_EQ(credentials({"show"}).status, 1);
}

TEST(TesselOrigin, printsTheFirstSourceThatQualifies) {
    const std::vector<std::string> asked{"origin", "--env-key", "MY_ORIGIN", "--placeholder",
                                         "https://p.example"};
    EXPECT_EQ(runTool(asked).output, "https://p.example\n");
    EXPECT_EQ(runTool(asked, {}, {{"MY_ORIGIN", "https://e.example/x"}}).output,
              "https://e.example/x\n");
    EXPECT_EQ(runTool({"origin", "--env-key", "K", "--placeholder", "no url"}).status, 2);
}

TEST(TesselOrigin, takesTheHostOfTheUpdateFeedInAnInfoDictionary) {
    const test_support::TemporaryFolder folder;
    const std::string info = folder / "Info.plist";
    const auto originFor = [&](const std::string& values) {
        std::ofstream(info) << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)"
                            << values << "</plist>";
        return runTool({"origin", "--env-key", "MY_ORIGIN", "--placeholder", "https://p.example",
                        "--info", info});
    };
    EXPECT_EQ(originFor("<dict><key>SUFeedURL</key>"
                        "<string>https://f.example:444/appcast.xml</string></dict>")
                  .output,
              "https://f.example:444\n");
    EXPECT_EQ(originFor("<dict><key>SUFeedURL</key><true/></dict>").output, "https://p.example\n");
    EXPECT_EQ(originFor("<dict/>").output, "https://p.example\n");
    const auto noDictionary = originFor("<array/>");
    EXPECT_EQ(noDictionary.status, 1);
    EXPECT_THAT(noDictionary.error, HasSubstr("tessel: cannot "));
    EXPECT_THAT(noDictionary.error, HasSubstr(info));
    EXPECT_THAT(noDictionary.output, IsEmpty());
    std::filesystem::remove(info);
    const auto missing = runTool(
        {"origin", "--env-key", "MY_ORIGIN", "--placeholder", "https://p.example", "--info", info});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.error, HasSubstr("No such file"));
}

TEST(TesselVerifyUrl, exitsWithItsAnswer) {
    const auto good =
        runTool({"verify-url", "https://a.example/link", "--origin", "https://a.example"});
    EXPECT_EQ(good.output, "true\n");
    EXPECT_EQ(good.status, 0);
    const auto bad =
        runTool({"verify-url", "http://127.0.0.1.evil/", "--origin", "http://127.0.0.1"});
    EXPECT_EQ(bad.output, "false\n");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(runTool({"verify-url", "https://a.example"}).status, 2);
}

TEST(TesselLink, saysWhyItCouldNotStart) {
    const test_support::TemporaryFolder folder;
    const auto failed = runTool({"link", "--origin", "ftp://127.0.0.1", "--app", "My App"}, {},
                                {{"MY_APP_STATE_DIR", folder.path()}});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.error, HasSubstr("tessel: Could not start linking: network: "));
    EXPECT_THAT(failed.output, IsEmpty());
    EXPECT_EQ(runTool({"link", "--origin", "nowhere", "--app", "My App"}).status, 2);
}

TEST(TesselGroups, helpWithExamples) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"state", "--app", "x", "dir", "--help"},
          {"state", "--app", "x", "cache", "put", "--help"},
          {"credentials", "--app", "x", "show", "--help"},
          {"origin", "--help"},
          {"verify-url", "--help"},
          {"link", "--help"}}) {
        const auto help = runTool(arguments);
        EXPECT_EQ(help.status, 0) << testing::PrintToString(arguments);
        EXPECT_THAT(help.output, HasSubstr("Examples:"));
    }
}

} // namespace
} // namespace tool::test
