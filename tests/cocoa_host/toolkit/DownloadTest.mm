// A file that a page offers: where the user says, whole or not at all, one at a time.
#include "platform/DownloadBounds.h"
#include "platform/cocoa/CocoaWebWindow.h"
#include "tests/cocoa_host/Turning.h"
#include "tests/cocoa_host/frameworks/doubles/Modal.h"
#include "tests/cocoa_host/frameworks/doubles/Volume.h"
#include "tests/cocoa_host/frameworks/doubles/WebKitHost.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

namespace {

using cocoa_host::endSheet;
using cocoa_host::settle;
using cocoa_host::sheetOwner;
using cocoa_host::textOf;
using cocoa_host::turnUntil;
using platform::DownloadBounds;
using platform::cocoa::CocoaWebWindow;

class CocoaDownloadTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { (void)NSApplication.sharedApplication; }
    void SetUp() override {
        cocoa_host::miscalledHandlers() = 0;
        @autoreleasepool {
            window = std::make_unique<CocoaWebWindow>(platform::WebWindowOptions{
                .title = "Title", .contentWidth = 640, .contentHeight = 480});
        }
    }
    void TearDown() override {
        cocoa_host::spaceLeft().reset();
        // One that a failed test has left would keep the next from being taken.
        [download hostFail:@"the test is over"];
        @autoreleasepool {
            window.reset();
        }
        settle();
        EXPECT_EQ(cocoa_host::miscalledHandlers(), 0);
    }

    static WKWebView* view() { return WKWebView.hostLatest; }
    static NSWindow* native() { return view().window; }
    static NSString* path(const std::filesystem::path& file) {
        return [NSString stringWithUTF8String:file.c_str()];
    }
    [[nodiscard]] std::filesystem::path target() const { return folder / "song.ogg"; }
    static std::string contentOf(const std::filesystem::path& file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    // The page offers a file, and the user is asked for its place.
    void offer(NSString* name) {
        download = [view() hostOfferDownload];
        [download hostAskForPlaceOf:name];
    }
    // The user says where; the web engine writes there.
    void choosePlace() {
        NSSavePanel* const panel = sheetOwner(native());
        panel.directoryURL = [NSURL fileURLWithPath:path(folder.path()) isDirectory:YES];
        endSheet(native(), NSModalResponseOK);
        part = download.hostDestination == nil ? "" : download.hostDestination.path.UTF8String;
    }
    void write(const std::string& text) const { std::ofstream(part) << text; }

    test_support::TemporaryFolder folder;
    std::unique_ptr<CocoaWebWindow> window;
    WKDownload* download = nil;
    std::filesystem::path part;
};

TEST_F(CocoaDownloadTest, isMovedWhereTheUserSaysOnceItIsWhole) {
    offer(@"song.ogg");
    NSSavePanel* const panel = sheetOwner(native());
    ASSERT_TRUE([panel isKindOfClass:[NSSavePanel class]]);
    EXPECT_EQ(textOf(panel.nameFieldStringValue), "song.ogg");
    EXPECT_FALSE(panel.preventsApplicationTerminationWhenModal);
    choosePlace();
    ASSERT_FALSE(part.empty());
    EXPECT_NE(part, target());
    write("music");
    EXPECT_FALSE(std::filesystem::exists(target()));
    [download hostFinish];
    EXPECT_EQ(contentOf(target()), "music");
    EXPECT_FALSE(std::filesystem::exists(part.parent_path()));
    EXPECT_EQ(native().attachedSheet, nil);
}

TEST_F(CocoaDownloadTest, takesThePlaceOfTheFileThatTheUserGaveUp) {
    std::ofstream(target()) << "what was there";
    offer(@"song.ogg");
    choosePlace();
    write("music");
    EXPECT_EQ(contentOf(target()), "what was there");
    [download hostFinish];
    EXPECT_EQ(contentOf(target()), "music");
    EXPECT_FALSE(std::filesystem::exists(part.parent_path()));
}

TEST_F(CocoaDownloadTest, isOfferedUnderANameThatIsNoPath) {
    offer(@"../../.profile");
    NSSavePanel* const panel = sheetOwner(native());
    EXPECT_THAT(textOf(panel.nameFieldStringValue),
                testing::AllOf(testing::Not(testing::HasSubstr("/")),
                               testing::Not(testing::StartsWith("."))));
    endSheet(native(), NSModalResponseCancel);
}

TEST_F(CocoaDownloadTest, isNoneWhenTheUserGivesItsPlaceUp) {
    offer(@"song.ogg");
    endSheet(native(), NSModalResponseCancel);
    EXPECT_TRUE(download.hostWasAnswered);
    EXPECT_EQ(download.hostDestination, nil);
    EXPECT_EQ(native().attachedSheet, nil);
    offer(@"another.ogg"); // and the next one is taken
    EXPECT_NE(native().attachedSheet, nil);
    endSheet(native(), NSModalResponseCancel);
}

TEST_F(CocoaDownloadTest, showsHowFarItIs) {
    offer(@"song.ogg");
    choosePlace();
    NSAlert* const panel = sheetOwner(native());
    EXPECT_EQ(textOf(panel.messageText), "Saving song.ogg");
    ASSERT_EQ(panel.buttons.count, 1U);
    EXPECT_EQ(textOf(panel.buttons.firstObject.title), "Cancel");
    EXPECT_FALSE(panel.window.preventsApplicationTerminationWhenModal);
    auto* const bar = static_cast<NSProgressIndicator*>(panel.accessoryView);
    download.hostFraction = 0.25;
    EXPECT_TRUE(turnUntil([&] { return bar.doubleValue == 0.25; }));
    EXPECT_EQ(bar.maxValue, 1);
}

TEST_F(CocoaDownloadTest, canBeCancelledAndLeavesNothing) {
    offer(@"song.ogg");
    choosePlace();
    write("mus");
    endSheet(native(), NSAlertFirstButtonReturn);
    EXPECT_TRUE(download.hostCancelled);
    settle();
    EXPECT_FALSE(std::filesystem::exists(part.parent_path()));
    EXPECT_FALSE(std::filesystem::exists(target()));
    EXPECT_EQ(native().attachedSheet, nil);
    [download hostFail:@"cancelled"];
    EXPECT_EQ(native().attachedSheet, nil); // the user knows
}

TEST_F(CocoaDownloadTest, saysWhyItFailedAndLeavesNothing) {
    offer(@"song.ogg");
    choosePlace();
    write("mus");
    [download hostFail:@"the server is gone"];
    EXPECT_FALSE(std::filesystem::exists(part.parent_path()));
    EXPECT_FALSE(std::filesystem::exists(target()));
    NSAlert* const alert = sheetOwner(native());
    EXPECT_EQ(textOf(alert.messageText), "song.ogg could not be saved.");
    EXPECT_EQ(textOf(alert.informativeText), "the server is gone");
    EXPECT_FALSE(alert.window.preventsApplicationTerminationWhenModal);
    endSheet(native(), NSAlertFirstButtonReturn);
}

TEST_F(CocoaDownloadTest, isGivenUpBeforeTheVolumeIsFull) {
    offer(@"song.ogg");
    choosePlace();
    write("mus");
    cocoa_host::spaceLeft() = DownloadBounds::reserve - 1;
    download.hostByteCount = DownloadBounds::bytesBetweenLooks;
    ASSERT_TRUE(turnUntil([&] { return download.hostCancelled; }));
    ASSERT_TRUE(turnUntil([&] { return !std::filesystem::exists(part.parent_path()); }));
    NSAlert* const alert = sheetOwner(native());
    EXPECT_EQ(textOf(alert.messageText), "song.ogg could not be saved.");
    EXPECT_EQ(textOf(alert.informativeText), DownloadBounds::tooFull);
    endSheet(native(), NSAlertFirstButtonReturn);
}

TEST_F(CocoaDownloadTest, saysWhenItCannotBePutInItsPlace) {
    offer(@"song.ogg");
    choosePlace();
    [download hostFinish]; // without having written anything
    EXPECT_EQ(textOf([sheetOwner(native()) messageText]), "song.ogg could not be saved.");
    endSheet(native(), NSAlertFirstButtonReturn);
}

TEST_F(CocoaDownloadTest, isOneAtATime) {
    offer(@"song.ogg");
    WKDownload* const second = [view() hostOfferDownload];
    EXPECT_TRUE(second.hostCancelled);
    EXPECT_FALSE(download.hostCancelled);
    endSheet(native(), NSModalResponseCancel);
}

TEST_F(CocoaDownloadTest, isNotOfferedWithoutEnd) {
    WKDownload* refused = nil;
    for (int time = 0; time < 7; ++time) {
        WKDownload* const offered = [view() hostOfferDownload];
        if (offered.hostCancelled) {
            refused = offered;
            break;
        }
        [offered hostAskForPlaceOf:@"song.ogg"];
        endSheet(native(), NSModalResponseCancel);
    }
    EXPECT_NE(refused, nil);
    EXPECT_EQ(native().attachedSheet, nil);
}

TEST_F(CocoaDownloadTest, hasNoPlaceOnceItsWindowIsGone) {
    @autoreleasepool {
        download = [view() hostOfferDownload];
        window.reset();
    }
    settle();
    [download hostAskForPlaceOf:@"song.ogg"];
    EXPECT_TRUE(download.hostWasAnswered);
    EXPECT_EQ(download.hostDestination, nil);
}

} // namespace
