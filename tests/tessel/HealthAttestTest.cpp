#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tool::test {
namespace {

using testing::HasSubstr;

class HealthAttest : public testing::Test {
  protected:
    test_support::TemporaryFolder folder;
    const std::filesystem::path bundle = folder.path() / "Studio.app";

    void SetUp() override {
        std::filesystem::create_directories(bundle / "Contents/Resources");
        std::ofstream(bundle / "Contents/Info.plist")
            << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
               "<key>CFBundleShortVersionString</key><string>1.4.0</string>"
               "<key>CFBundleVersion</key><string>212</string></dict></plist>";
    }
    void receipt(const std::string& version) {
        std::ofstream(bundle / "Contents/Resources/receipt.json")
            << R"({"schemaVersion":"build-attestation@1","app":"studio","version":")" << version
            << R"(","build":"212","sourceCommit":"c0ffee","generatedAt":"2026-01-31T09:12:44Z"})";
    }
    [[nodiscard]] ToolResult attest(std::vector<std::string> more = {}) const {
        more.insert(more.begin(),
                    {"health", "attest", "--bundle", bundle.string(), "--resource", "receipt"});
        return runTool(more);
    }
};

TEST_F(HealthAttest, passesABundleThatIsWhatItsReceiptSays) {
    receipt("1.4.0");
    const auto result = attest({"--commit", "c0ffee"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, HasSubstr(R"("status": "pass")"));
    EXPECT_THAT(result.output, HasSubstr(R"("commitMatch": 1)"));
    EXPECT_EQ(attest().status, 0) << "no commit asked for";
}

TEST_F(HealthAttest, failsAnotherVersionAndAnotherCommit) {
    receipt("1.4.1");
    const auto version = attest();
    EXPECT_EQ(version.status, 1);
    EXPECT_THAT(version.output, HasSubstr(R"("versionMatch": 0)"));
    EXPECT_THAT(version.error, HasSubstr("not what its receipt says"));
    receipt("1.4.0");
    EXPECT_EQ(attest({"--commit", "decaf"}).status, 1);
}

TEST_F(HealthAttest, doesNotPassABundleWithoutAReceipt) {
    const auto result = attest();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr(R"("status": "skip")"));
    EXPECT_THAT(result.error, HasSubstr("holds no receipt receipt.json"));
}

TEST_F(HealthAttest, saysWhatIsNoBundle) {
    std::filesystem::remove(bundle / "Contents/Info.plist");
    const auto result = attest();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, HasSubstr("Info.plist"));
    EXPECT_EQ(runTool({"health", "attest", "--bundle", "x"}).status, 2);
}

} // namespace
} // namespace tool::test
