// NSBundle under the bundle contract, on a bundle made for each test.
#include "tests/platform/services/BundleContract.h"
#include "platform/cocoa/CocoaBundle.h"
#include "platform/cocoa/Text.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"

#import <Foundation/Foundation.h>

namespace {

class CocoaBundleHarness final : public BundleHarness {
  public:
    CocoaBundleHarness() {
        const auto contents = root_ / "Example.app/Contents";
        std::filesystem::create_directories(contents / "MacOS");
        std::filesystem::create_directories(contents / "Resources");
        writeText(contents / "Info.plist",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                  "<key>CFBundleName</key><string>Example</string>"
                  "<key>CFBundlePackageType</key><string>APPL</string>"
                  "<key>CFBundleExecutable</key><string>Example</string></dict></plist>\n");
        writeText(contents / "Resources/note.txt", "some\ntext\n");
        for (const auto* name : {"MacOS/Example", "MacOS/helper"}) {
            writeText(contents / name, "");
            std::filesystem::permissions(contents / name, std::filesystem::perms::owner_all);
        }
        bundle_ = std::make_unique<platform::cocoa::CocoaBundle>([NSBundle
            bundleWithPath:platform::cocoa::toFoundation((root_ / "Example.app").native())]);
    }
    const platform::Bundle& bundle() const override { return *bundle_; }

  private:
    test_support::TemporaryFolder root_;
    std::unique_ptr<platform::cocoa::CocoaBundle> bundle_;
};

std::unique_ptr<BundleHarness> cocoaBundle() { return std::make_unique<CocoaBundleHarness>(); }

INSTANTIATE_TEST_SUITE_P(Cocoa, BundleContract, testing::Values(cocoaBundle));

TEST(CocoaBundle, namesItsExecutableByThePathBehindItsLinks) {
    const test_support::TemporaryFolder root;
    const auto contents = root / "Linked.app/Contents";
    std::filesystem::create_directories(contents / "MacOS");
    writeText(contents / "Info.plist",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
              "<key>CFBundlePackageType</key><string>APPL</string>"
              "<key>CFBundleExecutable</key><string>Linked</string></dict></plist>\n");
    writeText(root / "elsewhere", "");
    std::filesystem::permissions(root / "elsewhere", std::filesystem::perms::owner_all);
    std::filesystem::create_symlink(root / "elsewhere", contents / "MacOS/Linked");
    const platform::cocoa::CocoaBundle bundle(
        [NSBundle bundleWithPath:platform::cocoa::toFoundation((root / "Linked.app").native())]);
    EXPECT_EQ(bundle.executablePath(), std::filesystem::canonical(root / "elsewhere"));
}

TEST(CocoaBundle, saysNothingOfAnInfoFileThatCannotBeRead) {
    const test_support::TemporaryFolder root;
    std::filesystem::create_directories(root / "Broken.app/Contents/MacOS");
    writeText(root / "Broken.app/Contents/Info.plist", "<plist><dict><key>CFBundleShortVersion");
    const platform::cocoa::CocoaBundle bundle(
        [NSBundle bundleWithPath:platform::cocoa::toFoundation((root / "Broken.app").native())]);
    EXPECT_EQ(bundle.bundlePath(), root / "Broken.app");
    EXPECT_EQ(bundle.infoString("CFBundleShortVersionString"), std::nullopt);
    EXPECT_EQ(bundle.resource("receipt", "json"), std::nullopt);
    EXPECT_EQ(bundle.auxiliaryExecutable("helper"), std::nullopt);
}

TEST(CocoaBundle, saysTextsAndNothingElseOfItsInfoFile) {
    const test_support::TemporaryFolder root;
    std::filesystem::create_directories(root / "Values.app/Contents/MacOS");
    writeText(root / "Values.app/Contents/Info.plist",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
              "<key>Text</key><string>7</string><key>Number</key><integer>7</integer>"
              "<key>Truth</key><true/><key>Texts</key><array><string>7</string></array>"
              "<key>Table</key><dict><key>Text</key><string>7</string></dict></dict></plist>\n");
    const platform::cocoa::CocoaBundle bundle(
        [NSBundle bundleWithPath:platform::cocoa::toFoundation((root / "Values.app").native())]);
    EXPECT_EQ(bundle.infoString("Text"), "7");
    const auto all = bundle.infoDictionary();
    for (const auto* const other : {"Number", "Truth", "Texts", "Table"}) {
        EXPECT_EQ(bundle.infoString(other), std::nullopt) << other;
        ASSERT_TRUE(all.contains(other)) << other;
        EXPECT_EQ(all.at(other), std::nullopt) << other;
    }
}

TEST(CocoaBundle, isNoneForAnExecutableWithoutAnApplicationAroundIt) {
    const platform::cocoa::CocoaBundle bundle(NSBundle.mainBundle);
    EXPECT_EQ(bundle.bundlePath(), std::nullopt);
    EXPECT_EQ(bundle.resourcesPath(), std::nullopt);
    EXPECT_EQ(bundle.infoString("CFBundleName"), std::nullopt);
    EXPECT_EQ(bundle.auxiliaryExecutable(bundle.executablePath().filename().native()),
              bundle.executablePath());
    EXPECT_EQ(bundle.auxiliaryExecutable("../" + bundle.executablePath().filename().native()),
              std::nullopt);
}

} // namespace
