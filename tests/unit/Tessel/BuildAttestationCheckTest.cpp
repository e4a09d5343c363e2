#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/unit/Tessel/HealthDocuments.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

using tessel::AppHealthMetrics;
using tessel::AppHealthStatus;

class BuildAttestationCheck : public testing::Test {
  protected:
    BuildAttestationCheck() {
        bundle.info.emplace("CFBundleShortVersionString", "1.0.0+build-5");
        bundle.info.emplace("CFBundleVersion", "42");
        write(receipt);
    }

    void write(const boost::json::object& content) {
        bundle.resources["attested.json"] = boost::json::serialize(content);
    }

    tessel::AppHealthCheck::Outcome run(std::optional<std::string> commit = {}) {
        return tessel::AppBuildAttestation::healthCheck(bundle, "attested", std::move(commit))
            .operation();
    }

    static AppHealthMetrics metrics(double version, double build, double commit, double suites) {
        return {{"hasReceipt", 1},     {"hasSchema", 1},        {"versionMatch", version},
                {"buildMatch", build}, {"commitMatch", commit}, {"verifiedSuites", suites}};
    }

    platform::testing::FakeBundle bundle;
    boost::json::object receipt = health_documents::receipt();
};

TEST_F(BuildAttestationCheck, isAUnitCheckOfAFixedName) {
    const auto check = tessel::AppBuildAttestation::healthCheck(bundle, "attested", {});
    EXPECT_EQ(check.id, "build.attestation");
    EXPECT_EQ(check.category, tessel::AppHealthCategory::unit);
}

TEST_F(BuildAttestationCheck, passesWhenReceiptAndBundleAgree) {
    EXPECT_EQ(run(), std::pair(AppHealthStatus::pass, metrics(1, 1, 1, 2)));
    EXPECT_EQ(run("c0ffee"), std::pair(AppHealthStatus::pass, metrics(1, 1, 1, 2)));
}

TEST_F(BuildAttestationCheck, countsNoSuitesWhenThereAreNone) {
    receipt.erase("verifiedSuites");
    write(receipt);
    EXPECT_EQ(run(), std::pair(AppHealthStatus::pass, metrics(1, 1, 1, 0)));
}

TEST_F(BuildAttestationCheck, failsOnAnotherVersionBuildOrCommit) {
    EXPECT_EQ(run("other"), std::pair(AppHealthStatus::fail, metrics(1, 1, 0, 2)));
    EXPECT_EQ(run(""), std::pair(AppHealthStatus::fail, metrics(1, 1, 0, 2)));
    bundle.info["CFBundleVersion"] = "43";
    EXPECT_EQ(run(), std::pair(AppHealthStatus::fail, metrics(1, 0, 1, 2)));
    bundle.info["CFBundleShortVersionString"] = "1.0.0";
    EXPECT_EQ(run(), std::pair(AppHealthStatus::fail, metrics(0, 0, 1, 2)));
}

TEST_F(BuildAttestationCheck, takesAMissingInfoValueForAnEmptyText) {
    bundle.info.clear();
    EXPECT_EQ(run(), std::pair(AppHealthStatus::fail, metrics(0, 0, 1, 2)));
}

TEST_F(BuildAttestationCheck, isSkippedWithoutAReceipt) {
    bundle.resources.clear();
    EXPECT_EQ(run(), std::pair(AppHealthStatus::skip, AppHealthMetrics{{"receipt", 0}}));
}

TEST_F(BuildAttestationCheck, failsOnAReceiptThatIsNone) {
    const AppHealthMetrics expected{{"hasReceipt", 1}, {"hasSchema", 0},   {"versionMatch", 0},
                                    {"buildMatch", 0}, {"commitMatch", 0}, {"verifiedSuites", 0}};
    auto unknownKey = receipt;
    unknownKey["note"] = "x";
    auto otherSchema = receipt;
    otherSchema["schemaVersion"] = "build-attestation@2";
    for (const auto& content :
         {std::string(), std::string("{"), std::string("[]"), std::string("{}"),
          std::string("\xff"), boost::json::serialize(unknownKey),
          boost::json::serialize(otherSchema)}) {
        bundle.resources["attested.json"] = content;
        EXPECT_EQ(run(), std::pair(AppHealthStatus::fail, expected)) << content;
    }
}

} // namespace
