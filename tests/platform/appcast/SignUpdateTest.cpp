// The tool of whoever publishes an update, and what this application makes of its work.
#include "platform/Base64.h"
#include "platform/appcast/StagedUpdate.h"
#include "platform/posix/PosixCommandRunner.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/updates/TestBundle.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform::appcast {
namespace {

using ::testing::ElementsAre;

class SignUpdate : public ::testing::Test {
  protected:
    // Its output; nothing when it failed.
    std::optional<std::string> run(std::vector<std::string> arguments) {
        PosixCommandRunner runner;
        const auto result =
            runner.run(ZORVANE_SIGN_UPDATE, arguments, std::chrono::seconds(60), 100'000);
        if (!result || !result->status.succeeded()) {
            return std::nullopt;
        }
        return result->output;
    }
    std::optional<std::string> sign(const std::string& url = "https://updates.example/files/") {
        return run({bundle.string(), key, url, (root / "out").string()});
    }

    test_support::TemporaryFolder root;
    std::string key = (root / "private.pem").string();
    std::filesystem::path bundle =
        test_support::TestBundle{.version = "2", .displayVersion = "2.0"}.write(root / "built");
};

TEST_F(SignUpdate, makesAnArchiveAndAnItemThatAreAccepted) {
    const auto keyText = run({"key", key});
    ASSERT_TRUE(keyText);
    EXPECT_EQ(modeOf(key), 0600U);
    std::filesystem::create_directories(bundle / "Contents/Resources/bin");
    std::filesystem::create_symlink("/usr/bin/true", bundle / "Contents/Resources/bin/tool");
    std::filesystem::create_symlink("tool", bundle / "Contents/Resources/bin/alias");

    const auto item = sign();
    ASSERT_TRUE(item);
    const auto items = parseAppcast("<rss><channel>" + *item + "</channel></rss>");
    ASSERT_TRUE(items);
    ASSERT_EQ(items->size(), 1U) << *item;
    const auto& offered = items->front();
    EXPECT_EQ(offered.version, "2");
    EXPECT_EQ(offered.displayVersion, "2.0");
    EXPECT_TRUE(offered.system.starts_with("linux-"));
    EXPECT_EQ(offered.url,
              "https://updates.example/files/Example-2.0-" + offered.system + ".tar.xz");

    const auto bytes = decodeBase64(keyText->substr(0, keyText->find('\n')));
    ASSERT_TRUE(bytes && bytes->size() == 32);
    PublicKey publicKey{};
    std::ranges::copy(*bytes, publicKey.begin());
    const auto installed = test_support::TestBundle{}.write(root / "installed");
    const posix::UniqueFd archive(
        ::open((root / "out" / ("Example-2.0-" + offered.system + ".tar.xz")).c_str(),
               O_RDONLY | O_CLOEXEC));
    auto update = StagedUpdate::prepare(
        archive.get(),
        {.installed = installed,
         .length = offered.length,
         .signature = offered.signature,
         .key = publicKey,
         .expected = {.identifier = "test.example", .version = "2", .runningProgram = {}},
         .readInfo = &test_support::readTestInfo});
    ASSERT_TRUE(update) << update.error();
    ASSERT_TRUE(update->activate());
    EXPECT_EQ(test_support::readTestInfo(installed).at("CFBundleVersion"), "2");
    EXPECT_THAT(namesIn(installed / "Contents/Resources/bin"), ElementsAre("alias"));
}

TEST_F(SignUpdate, neverReplacesAKey) {
    ASSERT_TRUE(run({"key", key}));
    const auto before = readText(key);
    EXPECT_FALSE(run({"key", key}));
    EXPECT_EQ(readText(key), before);
}

TEST_F(SignUpdate, refusesAVersionThatCannotBeCompared) {
    ASSERT_TRUE(run({"key", key}));
    for (const char* version : {"1.9-rc1", "2b1", "v2", "-1", "1..2", "2."}) {
        test_support::TestBundle{.version = version}.write(root / "built");
        EXPECT_FALSE(sign()) << version;
    }
    test_support::TestBundle{.version = "1.10.2"}.write(root / "built");
    EXPECT_TRUE(sign());
}

TEST_F(SignUpdate, refusesWhatCouldNotBeInstalled) {
    ASSERT_TRUE(run({"key", key}));
    EXPECT_FALSE(sign("http://updates.example/"));
    EXPECT_FALSE(run({(root / "nowhere").string(), key, "https://e.org", root.path().string()}));
    std::filesystem::remove(bundle / "Contents/MacOS/Example");
    EXPECT_FALSE(sign());
}

} // namespace
} // namespace platform::appcast
