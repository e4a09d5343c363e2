// The status item, editing keys, the clipboard and new instances of the Linux back end, with a
// real panel, real clicks and keys. The probe (probe/main.cpp) has the menus.
#include "tests/desktop/session/Clipboard.h"
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Panel.h"
#include "tests/desktop/session/Waiting.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>

namespace desktop {
namespace {

class Tray : public ::testing::Test {
  protected:
    Tray() {
        const auto contents = bundle / "Contents";
        std::filesystem::create_directories(contents / "MacOS");
        std::filesystem::create_directories(contents / "Resources");
        std::filesystem::copy_file(ZORVANE_PROBE, contents / "MacOS/probe");
        std::filesystem::copy_file(ZORVANE_SYMBOL, contents / "Resources/some-symbolic.svg");
        std::ofstream(contents / "Info.plist")
            << R"xml(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
<key>CFBundleExecutable</key><string>probe</string>
<key>CFBundleName</key><string>Probe</string>
<key>CFBundleShortVersionString</key><string>1.2</string>
</dict></plist>)xml";
    }

    void TearDown() override {
        if (HasFailure()) {
            const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
            session.keepEvidence(ZORVANE_FAILURES_DIR, fmt::format("Tray.{}", test->name()));
        }
    }

    // With a status item and a main menu.
    void launch(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(),
                         {(bundle / "Contents/MacOS/probe").string(), "--main-menu", "--status",
                          "Probe", "--symbol", "some", "--tool-tip", "tip"});
        probe = session.start(arguments, "probe");
    }

    [[nodiscard]] bool says(const std::string& line, int times = 1) const {
        return eventually([&] { return count(line) >= times; });
    }
    [[nodiscard]] int count(const std::string& line) const {
        const std::string output = "\n" + probe->standardOutput();
        int found = 0;
        const std::string whole = "\n" + line + "\n";
        for (std::size_t at = output.find(whole); at != std::string::npos;
             at = output.find(whole, at + 1)) {
            ++found;
        }
        return found;
    }

    std::string awaitWindow(const std::string& title = "probe") const {
        std::optional<std::string> window;
        (void)eventually([&] { return (window = session.visibleWindow(title)).has_value(); });
        return window.value_or("");
    }

    // Repeats the click until the menu was asked for: nothing tells when a panel or a window has
    // got as far as to take it.
    [[nodiscard]] bool opensByClicks(const std::function<void()>& click, int opening) const {
        const std::string line = fmt::format("menu opens, {}", opening);
        return eventually([&] {
            click();
            return eventually([&] { return count(line) > 0; }, std::chrono::seconds(2));
        });
    }

    // Keys go to the open menu; they too are lost until it has grabbed the keyboard.
    [[nodiscard]] bool chooses(const std::vector<std::string>& keys,
                               const std::string& line) const {
        return eventually([&] {
            for (const std::string& key : keys) {
                session.pressKey(key);
            }
            return eventually([&] { return count(line) > 0; }, std::chrono::seconds(2));
        });
    }

    DesktopSession session;
    const std::filesystem::path bundle = session.folder() / "Probe.app";
    std::unique_ptr<Program> probe;
};

TEST_F(Tray, isShownByARealPanelWithAMenuThatWorks) {
    const Panel panel(session);
    launch({});
    ASSERT_TRUE(says("launched")) << probe->standardError();
    ASSERT_TRUE(panel.showsAnItem());
    ASSERT_TRUE(opensByClicks([&] { panel.clickFirstItem(); }, 1));
    // The menu lies below the panel: text and lines on one ground.
    EXPECT_TRUE(eventually([&] {
        const auto shot =
            session.screenshotOf({.x = 2, .y = Panel::height + 2, .width = 100, .height = 120});
        return shot && shot->share(shot->dominantColour(), 8) > 0.6 && shot->distinctColours() > 8;
    }));
    EXPECT_TRUE(chooses({"Down", "Return"}, "chosen: hello"));
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(Tray, canEndTheApplicationFromItsMenu) {
    const Panel panel(session);
    launch({});
    ASSERT_TRUE(panel.showsAnItem());
    ASSERT_TRUE(opensByClicks([&] { panel.clickFirstItem(); }, 1));
    EXPECT_TRUE(chooses({"Up", "Return"}, "will terminate, no event"));
    EXPECT_EQ(probe->waitForExit(patience), 0);
}

TEST_F(Tray, editsThePageByKeys) {
    const std::string page = "data:text/html,<body style='margin:0'><textarea autofocus "
                             "style='width:100vw;height:100vh'></textarea>";
    launch({"--window", "probe", "--url", page, "--timeout", "30"});
    const std::string window = awaitWindow();
    session.focus(window);
    EXPECT_TRUE(eventually([&] {
        const WindowGeometry place = session.geometry(window);
        session.click(place.x + place.width / 2, place.y + place.height / 2);
        for (const char* key : {"ctrl+a", "h", "i", "ctrl+a", "ctrl+c"}) {
            session.pressKey(key);
        }
        return clipboardText(session.environment.at("DISPLAY")) == "hi";
    }));
}

TEST_F(Tray, putsTextOnTheClipboardThatAnotherProgramGets) {
    launch({"--copy", "http://127.0.0.1:1234/ \xc3\xa4"});
    ASSERT_TRUE(says("launched"));
    EXPECT_TRUE(eventually([&] {
        return clipboardText(session.environment.at("DISPLAY")) ==
               "http://127.0.0.1:1234/ \xc3\xa4";
    }));
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(Tray, startsANewInstanceThatWaitsForTheOldOneToGo) {
    launch({"--stop-milliseconds", "700", "--relaunch", bundle.string()});
    ASSERT_TRUE(says("relaunched: true "));
    EXPECT_EQ(probe->waitForExit(patience), 0);
    // The new one writes to the same file.
    ASSERT_TRUE(says("launched", 2)) << probe->standardOutput();
    EXPECT_EQ(count("reopen, visible windows: false"), 0);
    EXPECT_LT(probe->standardOutput().find("returned 0"),
              probe->standardOutput().rfind("launched"));
    const std::vector<Process> left = session.processes();
    EXPECT_TRUE(std::ranges::any_of(left, [&](const Process& process) {
        return process.command.starts_with(bundle.string());
    })) << describe(left);
}

TEST_F(Tray, saysWhyANewInstanceCannotBeStarted) {
    launch({"--relaunch", (session.folder() / "Nothing.app").string()});
    EXPECT_TRUE(says(fmt::format("relaunched: false {}/Nothing.app has no executable",
                                 session.folder().string())));
}

} // namespace
} // namespace desktop
