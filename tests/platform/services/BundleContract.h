// What every Bundle promises about an application that runs from a bundle with an Info dictionary
// of {"CFBundleName": "Example"}, one executable named "helper" beside its own and one resource
// note.txt of two lines, "some" and "text". Include it in one source file of an executable.
#pragma once

#include "platform/Bundle.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

class BundleHarness {
  public:
    virtual ~BundleHarness() = default;

    [[nodiscard]] virtual const platform::Bundle& bundle() const = 0;
};

using BundleHarnessFactory = std::function<std::unique_ptr<BundleHarness>()>;

class BundleContract : public testing::TestWithParam<BundleHarnessFactory> {
  protected:
    std::unique_ptr<BundleHarness> harness = GetParam()();
    const platform::Bundle& bundle = harness->bundle();
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BundleContract);

TEST_P(BundleContract, isLaidOutLikeABundle) {
    ASSERT_TRUE(bundle.bundlePath());
    EXPECT_EQ(bundle.bundlePath()->extension(), ".app");
    EXPECT_EQ(bundle.resourcesPath(), *bundle.bundlePath() / "Contents/Resources");
    EXPECT_EQ(bundle.executablePath().parent_path(), *bundle.bundlePath() / "Contents/MacOS");
}

TEST_P(BundleContract, findsExecutablesBesideItsOwn) {
    EXPECT_EQ(bundle.auxiliaryExecutable("helper"),
              bundle.executablePath().parent_path() / "helper");
    EXPECT_EQ(bundle.auxiliaryExecutable("absent"), std::nullopt);
}

TEST_P(BundleContract, answersStringsOfTheInfoDictionary) {
    EXPECT_EQ(bundle.infoString("CFBundleName"), "Example");
    EXPECT_EQ(bundle.infoString("Absent"), std::nullopt);
    EXPECT_EQ(bundle.infoString(""), std::nullopt);
    const auto info = bundle.infoDictionary();
    ASSERT_TRUE(info.contains("CFBundleName"));
    EXPECT_EQ(info.at("CFBundleName"), "Example");
    EXPECT_FALSE(info.contains("Absent"));
}

TEST_P(BundleContract, readsResourcesWhole) {
    EXPECT_EQ(bundle.resource("note", "txt"), "some\ntext\n");
    EXPECT_EQ(bundle.resource("note", "json"), std::nullopt);
    EXPECT_EQ(bundle.resource("absent", "txt"), std::nullopt);
    EXPECT_EQ(bundle.resource("../Resources/note", "txt"), std::nullopt);
    EXPECT_EQ(bundle.resource("", "txt"), std::nullopt);
}
