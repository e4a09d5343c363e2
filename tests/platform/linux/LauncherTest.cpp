// The launcher of an application in an Applications folder, read as a desktop reads it.
#include "platform/linux/Launcher.h"

#include "platform/linux/ExecLine.h"
#include "platform/posix/PosixFileSystem.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gio/gdesktopappinfo.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace platform {
namespace {

using std::filesystem::path;

class LauncherTest : public ::testing::Test {
  protected:
    LauncherTest() { place("Zor \"$ vane.app"); }

    void place(const std::string& name) {
        const path contents = path(folder.path()) / name / "Contents";
        launcher.executable = contents / "MacOS/Zorvane";
        launcher.entry = contents / "Resources/app.zorvane.desktop";
        launcher.icon = contents / "Resources/app.zorvane.svg";
        std::filesystem::create_directories(launcher.executable.parent_path());
        std::filesystem::create_directories(launcher.icon.parent_path());
        std::ofstream(launcher.executable) << "#!/bin/sh\n";
        std::filesystem::permissions(launcher.executable, std::filesystem::perms::owner_all);
        std::filesystem::copy_file(ZORVANE_DESKTOP_ENTRY, launcher.entry);
        std::ofstream(launcher.icon) << "<svg/>";
    }

    [[nodiscard]] bool keep() {
        const auto kept = keepLauncher(launcher, dataHome, files);
        EXPECT_TRUE(kept) << (kept ? "" : kept.error());
        return kept.has_value();
    }

    [[nodiscard]] bool tidy() const {
        return removeStrayLauncher(launcher.applicationId, dataHome).has_value();
    }

    // What a desktop makes of the entry; nothing when it is not to be shown.
    [[nodiscard]] std::unique_ptr<GDesktopAppInfo, decltype(&g_object_unref)> read() const {
        return {g_desktop_app_info_new_from_filename(entry.c_str()), &g_object_unref};
    }

    // GIO's own question for it cuts a quoted path at a blank.
    [[nodiscard]] static std::string programOf(GDesktopAppInfo* info) {
        const auto words = argumentsOfExec(g_app_info_get_commandline(G_APP_INFO(info)));
        return words ? words->front() : std::string();
    }

    test_support::TemporaryFolder folder;
    path dataHome = path(folder.path()) / "share";
    path entry = dataHome / "applications/app.zorvane.desktop";
    path icon = dataHome / "icons/hicolor/scalable/apps/app.zorvane.svg";
    PosixFileSystem files{dataHome};
    Launcher launcher{.applicationId = "app.zorvane"};
};

TEST_F(LauncherTest, startsTheExecutableUnderTheNameAndIconOfTheApplication) {
    ASSERT_TRUE(keep());
    const auto info = read();
    ASSERT_TRUE(info);
    EXPECT_STREQ(g_app_info_get_name(G_APP_INFO(info.get())), "Zorvane");
    EXPECT_EQ(programOf(info.get()), launcher.executable.native());
    EXPECT_STREQ(g_desktop_app_info_get_startup_wm_class(info.get()), "app.zorvane");
    EXPECT_EQ(std::filesystem::canonical(icon), std::filesystem::canonical(launcher.icon));
}

TEST_F(LauncherTest, goesWithTheBundle) {
    ASSERT_TRUE(keep());
    EXPECT_TRUE(tidy());
    EXPECT_TRUE(read());
    std::filesystem::remove_all(launcher.executable.parent_path().parent_path());
    EXPECT_FALSE(read()); // at once, for a desktop
    EXPECT_FALSE(std::filesystem::exists(icon));
    EXPECT_TRUE(tidy());
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(entry)));
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(icon)));
    EXPECT_TRUE(tidy()); // there is nothing
}

TEST_F(LauncherTest, goesAloneWhenTheIconIsTheUsers) {
    ASSERT_TRUE(keep());
    std::filesystem::remove(icon);
    std::ofstream(icon) << "<svg id='mine'/>";
    std::filesystem::remove_all(launcher.executable.parent_path().parent_path());
    EXPECT_TRUE(tidy());
    EXPECT_FALSE(std::filesystem::exists(entry));
    EXPECT_TRUE(std::filesystem::exists(icon));
}

TEST_F(LauncherTest, staysWhenNobodyKnowsThatItsProgramIsGone) {
    std::filesystem::create_directories(entry.parent_path());
    for (const char* line : {"", "TryExec=zorvane\n", "TryExec=missing/zorvane\n"}) {
        std::ofstream(entry) << "[Desktop Entry]\nType=Application\nName=Mine\nExec=true\n" << line;
        EXPECT_TRUE(tidy()) << line;
        EXPECT_TRUE(std::filesystem::exists(entry)) << line;
    }
}

TEST_F(LauncherTest, followsABundleThatLiesElsewhereNow) {
    ASSERT_TRUE(keep());
    place("Elsewhere.app");
    ASSERT_TRUE(keep());
    const auto info = read();
    ASSERT_TRUE(info);
    EXPECT_EQ(programOf(info.get()), launcher.executable.native());
    EXPECT_EQ(std::filesystem::read_symlink(icon), launcher.icon);
}

TEST_F(LauncherTest, leavesWhatTheUserMadeOfIt) {
    ASSERT_TRUE(keep());
    std::ofstream(entry, std::ios::app) << "X-Mine=yes\n";
    std::filesystem::remove(icon);
    std::ofstream(icon) << "<svg id='mine'/>";
    ASSERT_TRUE(keep());
    const auto info = read();
    const std::unique_ptr<char, decltype(&g_free)> mine(
        g_desktop_app_info_get_string(info.get(), "X-Mine"), &g_free);
    EXPECT_STREQ(mine.get(), "yes");
    EXPECT_FALSE(std::filesystem::is_symlink(icon));
}

TEST_F(LauncherTest, saysWhatItCannotUse) {
    std::filesystem::remove(launcher.entry);
    const auto kept = keepLauncher(launcher, dataHome, files);
    ASSERT_FALSE(kept);
    EXPECT_EQ(kept.error(), "cannot use " + launcher.entry.native());
    EXPECT_FALSE(std::filesystem::exists(entry));
}

} // namespace
} // namespace platform
