#include "tests/packaging/StandIns.h"

#include <gmock/gmock.h>

#include <fstream>

namespace {

using packaging_test::StandIns;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr std::string_view developer = "Executable=/x\nAuthority=Developer ID Application: A (B)\n"
                                       "Authority=Developer ID Certification Authority\n";

class MacPackaging : public testing::Test {
  protected:
    MacPackaging() {
        for (const char* program : {"MacOS/Zorvane", "MacOS/ostrad", "MacOS/zorvane-guardian",
                                    "Helpers/tessel", "Helpers/tessel-web", "Info.plist"}) {
            const auto file = root / "Zorvane.app/Contents" / program;
            std::filesystem::create_directories(file.parent_path());
            std::ofstream(file) << "content";
        }
        tools.says("codesign", developer);
        tools.prints("otool", "/x/Zorvane:\n\t/usr/lib/libSystem.B.dylib (compatibility version "
                              "1.0.0, current version 1345.0.0)\n");
    }

    [[nodiscard]] std::string app() const { return (root / "Zorvane.app").native(); }
    [[nodiscard]] std::string image() const { return (root / "Zorvane.dmg").native(); }
    [[nodiscard]] auto notarise(const std::vector<std::string>& subjects) const {
        return tools.run("packaging/macos/notarise.sh", subjects, {{"NOTARY_PROFILE", "ours"}});
    }

    test_support::TemporaryFolder root;
    StandIns tools{{"codesign", "xcrun", "hdiutil", "ditto", "otool", "git", "tessel"}};
};

TEST_F(MacPackaging, notarisesASignedBundle) {
    const auto done = notarise({app()});
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_THAT(tools.calls(),
                ElementsAre("codesign --display --verbose=2 " + app(),
                            AllOf(StartsWith("ditto -c -k --keepParent " + app() + " "),
                                  EndsWith("/Zorvane.zip")),
                            AllOf(StartsWith("xcrun notarytool submit "),
                                  EndsWith("/Zorvane.zip --keychain-profile ours --wait")),
                            "xcrun stapler staple " + app()));
    EXPECT_THAT(done.output, EndsWith("notarise: " + app() + " is notarised\n"));
}

// A reader that stops after the first line must not make it look unsigned.
TEST_F(MacPackaging, notarisesABundleOfWhichCodesignHasMuchToSay) {
    std::string much(developer);
    for (int line = 0; line < 20'000; ++line) {
        much += "Sealed Resources line " + std::to_string(line) + "\n";
    }
    tools.says("codesign", much);
    const auto done = notarise({app()});
    EXPECT_THAT(done.output, EndsWith("is notarised\n"));
    EXPECT_THAT(tools.calls(), Contains("xcrun stapler staple " + app()));
}

TEST_F(MacPackaging, notarisesNothingThatIsNotSignedForDistribution) {
    tools.says("codesign", "Executable=/x\nSignature=adhoc\n");
    auto done = notarise({app()});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.output, "notarise: skipped: " + app() + " is not signed with a Developer ID\n");
    tools.says("codesign", "Zorvane.app: code object is not signed at all\n");
    tools.fails("codesign", 1);
    done = notarise({app()});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.output, "notarise: skipped: " + app() + " is not signed with a Developer ID\n");
    EXPECT_THAT(tools.calls(), Not(Contains(StartsWith("xcrun"))));
}

TEST_F(MacPackaging, failsWhenAppleRefusesTheBundle) {
    tools.fails("xcrun", 69, "notarytool");
    const auto done = notarise({app()});
    EXPECT_EQ(done.status, 69);
    EXPECT_THAT(tools.calls(), Not(Contains(StartsWith("xcrun stapler"))));
}

TEST_F(MacPackaging, notarisesNothingWithoutCredentials) {
    const auto done = tools.run("packaging/macos/notarise.sh", {app()});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.output, "notarise: skipped: NOTARY_PROFILE names no credentials\n");
    EXPECT_THAT(tools.calls(), IsEmpty());
}

TEST_F(MacPackaging, signsFromTheInsideOut) {
    std::filesystem::create_directories(root / "Zorvane.app/Contents/Frameworks/Sparkle.framework");
    const auto done =
        tools.run("packaging/macos/sign.sh", {app()}, {{"CODESIGN_IDENTITY", "Developer ID"}});
    EXPECT_EQ(done.status, 0) << done.output;
    const std::string sign = "codesign --force --timestamp --options runtime --sign Developer ID ";
    EXPECT_THAT(
        tools.calls(),
        ElementsAre(sign + app() + "/Contents/Frameworks/Sparkle.framework",
                    sign + "--identifier app.zorvane.guardian " + app() +
                        "/Contents/MacOS/zorvane-guardian",
                    sign + "--identifier app.zorvane.ostrad " + app() + "/Contents/MacOS/ostrad",
                    sign + "--identifier app.zorvane.tessel-web " + app() +
                        "/Contents/Helpers/tessel-web",
                    sign + "--identifier app.zorvane.tessel " + app() + "/Contents/Helpers/tessel",
                    AllOf(StartsWith(sign + "--entitlements "),
                          EndsWith("packaging/macos/entitlements.plist " + app())),
                    "codesign --verify --strict --deep --verbose=2 " + app()));
}

TEST_F(MacPackaging, signsNothingWithoutACertificate) {
    const auto done = tools.run("packaging/macos/sign.sh", {app()});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.output, "sign: skipped: CODESIGN_IDENTITY names no certificate; the bundle runs "
                           "on this Mac only\n");
    EXPECT_THAT(tools.calls(), IsEmpty());
}

TEST_F(MacPackaging, stopsWhenCodesignDoes) {
    tools.fails("codesign", 3);
    EXPECT_EQ(tools.run("packaging/macos/sign.sh", {app()}, {{"CODESIGN_IDENTITY", "Developer ID"}})
                  .status,
              3);
    EXPECT_EQ(tools.calls().size(), 1U);
}

TEST_F(MacPackaging, embedsNoSparkleWithoutOne) {
    auto done = tools.run("packaging/macos/embed-sparkle.sh", {app()});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.output, "embed-sparkle: skipped: SPARKLE_FRAMEWORK does not say where "
                           "Sparkle.framework is; the bundle cannot update itself\n");
    done =
        tools.run("packaging/macos/embed-sparkle.sh", {app()}, {{"SPARKLE_FRAMEWORK", "/nowhere"}});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output, "embed-sparkle: SPARKLE_FRAMEWORK is /nowhere, which is no framework\n");
}

TEST_F(MacPackaging, embedsSparkleInPlaceOfAnOlderOne) {
    const auto framework = root / "Sparkle.framework";
    std::filesystem::create_directories(framework / "Versions/Current");
    const auto inside = root / "Zorvane.app/Contents/Frameworks/Sparkle.framework";
    std::filesystem::create_directories(inside / "old");
    const auto done = tools.run("packaging/macos/embed-sparkle.sh", {app()},
                                {{"SPARKLE_FRAMEWORK", framework.native()}});
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_FALSE(std::filesystem::exists(inside / "old"));
    EXPECT_THAT(tools.calls(), ElementsAre("ditto " + framework.native() + " " + inside.native()));
}

TEST_F(MacPackaging, makesAnImageWithALinkToTheApplications) {
    const auto done = tools.run("packaging/macos/dmg.sh", {app(), image()},
                                {{"CODESIGN_IDENTITY", "Developer ID"}});
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_THAT(tools.calls(),
                ElementsAre(StartsWith("ditto " + app()),
                            AllOf(StartsWith("hdiutil create -volname Zorvane -fs HFS+ -format "
                                             "UDZO -srcfolder "),
                                  EndsWith(" " + image())),
                            "codesign --force --timestamp --sign Developer ID " + image()));
}

TEST_F(MacPackaging, doesNothingWhereTheToolsOfAMacAreMissing) {
    tools.remove("hdiutil");
    const auto done = tools.run("packaging/macos/dmg.sh", {app(), image()});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.output, "dmg: skipped: there is no hdiutil here (it comes with macOS and "
                           "Xcode)\n");
}

TEST_F(MacPackaging, refusesALibraryOfThisMac) {
    tools.prints("otool",
                 "/x/Zorvane (architecture arm64):\n"
                 "\t/usr/lib/libSystem.B.dylib (compatibility version 1.0.0, current version 1)\n"
                 "\t/opt/homebrew/opt/fmt/lib/libfmt.11.dylib (compatibility version 11.0.0, "
                 "current version 11.2.0)\n");
    const auto done = tools.run("packaging/macos/check-libraries.sh", {app()});
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(done.output, HasSubstr("check-libraries: ostrad loads what other Macs do not have: "
                                       "/opt/homebrew/opt/fmt/lib/libfmt.11.dylib\n"));
    EXPECT_THAT(done.output, HasSubstr("tessel-web loads what"));
    EXPECT_THAT(done.output, EndsWith("check-libraries: " + app() +
                                      " does not run elsewhere; link these libraries "
                                      "statically\n"));
}

TEST_F(MacPackaging, acceptsALibraryThatIsReallyInTheBundle) {
    tools.prints("otool", "/x/Zorvane:\n"
                          "\t@rpath/libfmt.11.dylib (compatibility version 11.0.0)\n"
                          "\t@loader_path/../Frameworks/liburl.dylib (compatibility version 1)\n");
    auto done = tools.run("packaging/macos/check-libraries.sh", {app()});
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(done.output, HasSubstr("Zorvane loads what other Macs do not have: "
                                       "@rpath/libfmt.11.dylib "
                                       "@loader_path/../Frameworks/liburl.dylib\n"));
    std::filesystem::create_directories(root / "Zorvane.app/Contents/Frameworks");
    std::ofstream(root / "Zorvane.app/Contents/Frameworks/libfmt.11.dylib") << "content";
    std::ofstream(root / "Zorvane.app/Contents/Frameworks/liburl.dylib") << "content";
    done = tools.run("packaging/macos/check-libraries.sh", {app()});
    EXPECT_EQ(done.status, 0) << done.output;
}

TEST_F(MacPackaging, acceptsTheSystemsOwnLibrariesInEveryProgram) {
    const auto done = tools.run("packaging/macos/check-libraries.sh", {app()});
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_EQ(tools.calls().size(), 5U);
}

TEST_F(MacPackaging, doesNotTakeAnUnreadableProgramForAGoodOne) {
    tools.fails("otool", 1);
    EXPECT_EQ(tools.run("packaging/macos/check-libraries.sh", {app()}).status, 1);
    tools.fails("otool", 0);
    tools.prints("otool", "/x/Zorvane: is not an object file:\n");
    auto done = tools.run("packaging/macos/check-libraries.sh", {app()});
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(done.output, StartsWith("check-libraries: otool names no library of " + app()));
    tools.remove("otool");
    done = tools.run("packaging/macos/check-libraries.sh", {app()});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output, "check-libraries: there is no otool here (it comes with Xcode's "
                           "tools)\n");
}

// All steps one after the other, in a folder that looks like the repository after `make build`.
class WholeMacPackaging : public MacPackaging {
  protected:
    WholeMacPackaging() {
        namespace fs = std::filesystem;
        const fs::path source = ZORVANE_SOURCE_DIR;
        fs::create_directories(root / "packaging");
        fs::create_directories(root / "build/bin");
        fs::copy(source / "packaging/macos", root / "packaging/macos", fs::copy_options::recursive);
        fs::copy(source / "packaging/attest", root / "packaging/attest");
        std::ofstream(root / "build/bin/tessel") << "#!/bin/sh\nexec tessel \"$@\"\n";
        fs::permissions(root / "build/bin/tessel", fs::perms::owner_all);
    }

    [[nodiscard]] auto package() const {
        return tools.run((root / "packaging/macos/package").native(), {app(), image()});
    }
};

TEST_F(WholeMacPackaging, goesAsFarAsItCanWithoutCredentialsAndSparkle) {
    const auto done = package();
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_EQ(done.output,
              "check-libraries: " + app() +
                  " needs nothing but macOS\n"
                  "embed-sparkle: skipped: SPARKLE_FRAMEWORK does not say where Sparkle.framework "
                  "is; the bundle cannot update itself\n"
                  "sign: skipped: CODESIGN_IDENTITY names no certificate; the bundle runs on this "
                  "Mac only\n"
                  "notarise: skipped: NOTARY_PROFILE names no credentials\n"
                  "dmg: " +
                  image() +
                  " is ready\n"
                  "notarise: skipped: NOTARY_PROFILE names no credentials\n");
    EXPECT_THAT(tools.calls(),
                Contains(StartsWith("tessel health attest --bundle " + app() + " ")));
}

TEST_F(WholeMacPackaging, handsNothingOutThatIsNotWhatItsReceiptSays) {
    tools.fails("tessel", 1);
    EXPECT_EQ(package().status, 1);
    EXPECT_THAT(tools.calls(), Not(Contains(StartsWith("hdiutil"))));
}

TEST_F(WholeMacPackaging, handsNothingOutThatLoadsALibraryOfThisMac) {
    tools.prints("otool", "/x/Zorvane:\n\t/opt/homebrew/lib/libfmt.11.dylib (compatibility "
                          "version 11.0.0, current version 11.2.0)\n");
    const auto done = package();
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(done.output, EndsWith(" does not run elsewhere; link these libraries "
                                      "statically\n"));
    EXPECT_THAT(tools.calls(), Not(Contains(StartsWith("hdiutil"))));
}

TEST_F(MacPackaging, saysInOneSentenceThatThereIsNoApplication) {
    for (const char* step : {"embed-sparkle", "check-libraries", "sign", "notarise", "dmg"}) {
        const auto done =
            tools.run("packaging/macos/" + std::string(step) + ".sh", {"/nowhere/Zorvane.app"});
        EXPECT_EQ(done.status, 1);
        EXPECT_EQ(done.output, std::string(step) +
                                   ": /nowhere/Zorvane.app is no application; make build makes "
                                   "it\n");
    }
    std::filesystem::remove(root / "Zorvane.app/Contents/Info.plist");
    const auto done = tools.run("packaging/macos/sign.sh", {app()});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output, "sign: " + app() + "/Contents/Info.plist cannot be read\n");
}

} // namespace
