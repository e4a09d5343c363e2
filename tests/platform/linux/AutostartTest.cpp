// What desktops write into autostart entries, read as they mean it.
#include "platform/linux/AutostartEntry.h"
#include "platform/linux/AutostartLoginService.h"
#include "platform/linux/ExecLine.h"
#include "platform/posix/PosixFileSystem.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gio/gdesktopappinfo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using platform::argumentsOfExec;
using platform::AutostartLoginService;
using platform::LoginServiceStatus;
using platform::quotedForExec;
using platform::RegistrationReason;
using std::filesystem::path;
using ::testing::HasSubstr;

TEST(ExecLine, isTakenApartAsItIsQuoted) {
    struct Case {
        const char* line;
        std::optional<std::vector<std::string>> arguments;
    };
    const std::vector<Case> cases = {
        {"zorvane", {{"zorvane"}}},
        {"  zorvane\t--quiet  ", {{"zorvane", "--quiet"}}},
        {"\"/a b/zorvane\" --x", {{"/a b/zorvane", "--x"}}},
        {R"("/a\"b\$c\`d\\e")", {{"/a\"b$c`d\\e"}}},
        {"zorvane %U %f --x", {{"zorvane", "--x"}}},
        {"/100%%/zorvane", {{"/100%/zorvane"}}},
        {"\"/100%%/zorvane\"", {{"/100%/zorvane"}}},
        {"zorvane \"\"", {{"zorvane", ""}}},
        {"", std::nullopt},
        {"   ", std::nullopt},
        {"%U", std::nullopt},
        {"\"\"", std::nullopt},
        {"\"/open", std::nullopt},
        {"\"/a\"b", std::nullopt},
        {"a\"b\"", std::nullopt},
        {"a'b'", std::nullopt},
        {"zorvane; reboot", std::nullopt},
        {"$HOME/zorvane", std::nullopt},
        {"a\\ b", std::nullopt},
        {"\"a\\nb\"", std::nullopt},
        {"\"a\\", std::nullopt},
        {"zorvane %", std::nullopt},
        {"\"%U\"", std::nullopt},
    };
    for (const auto& [line, arguments] : cases) {
        EXPECT_EQ(argumentsOfExec(line), arguments) << line;
    }
}

TEST(ExecLine, readsWhatItQuoted) {
    for (const std::string text : {"/plain", "/a b", "/q\"q", "/$HOME/`x`", "/back\\slash", "/100%",
                                   "/%U", "/it's", "/\xC3\xA4\n", "/;&|<>*?#()~"}) {
        EXPECT_EQ(argumentsOfExec(quotedForExec(text)), std::vector{text}) << text;
    }
}

class AutostartTest : public ::testing::Test {
  protected:
    AutostartTest() {
        makeProgram(executable);
        environment["PATH"] = (folder / "bin").string();
        environment["XDG_CURRENT_DESKTOP"] = "ubuntu:GNOME";
    }

    static void makeProgram(const path& program) {
        std::filesystem::create_directories(program.parent_path());
        std::ofstream(program) << "#!/bin/sh\n";
        ::chmod(program.c_str(), 0755);
    }

    AutostartLoginService service() {
        return {{.applicationId = "app.test", .name = "Test \\ App", .executable = executable},
                {.dataHome = {},
                 .configHome = folder / "config",
                 .cacheHome = {},
                 .runtimeFolder = {},
                 .configFolders = {folder / "xdg1", folder / "xdg2"}},
                environment,
                files};
    }

    [[nodiscard]] path entry(const char* configFolder = "config") const {
        return folder / configFolder / "autostart/app.test.desktop";
    }

    static void write(const path& file, const std::string& content) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }

    // A complete entry of this application with more lines added.
    [[nodiscard]] std::string ours(const std::string& lines = "") const {
        return "[Desktop Entry]\nType=Application\nName=Test\nExec=" + executable.string() + "\n" +
               lines;
    }

    static std::string read(const path& file) {
        std::ifstream input(file);
        return {std::istreambuf_iterator<char>(input), {}};
    }

    test_support::TemporaryFolder folder;
    path executable = folder / "apps/Test.app/Contents/MacOS/Test";
    platform::Environment environment;
    platform::PosixFileSystem files{folder / "support"};
};

TEST_F(AutostartTest, readsTheUsersEntryAsADesktopDoes) {
    const path other = folder / "other/Test";
    makeProgram(other);
    makeProgram(folder / "bin/elsewhere");
    std::filesystem::create_symlink(executable, folder / "bin/launcher");
    const std::string header = "[Desktop Entry]\nType=Application\nName=Test\n";
    struct Case {
        std::string content;
        LoginServiceStatus status;
    };
    using enum LoginServiceStatus;
    const std::vector<Case> cases = {
        {ours(), enabled},
        {ours("Hidden=false\n"), enabled},
        {ours("Hidden=true\n"), requiresApproval},
        {header + "Hidden=true\n", requiresApproval},
        {"[Desktop Entry]\nHidden=true\n", requiresApproval},
        {ours("Hidden=perhaps\n"), enabled},
        {ours("X-GNOME-Autostart-enabled=false\n"), requiresApproval},
        {ours("X-GNOME-Autostart-enabled=true\n"), enabled},
        {ours("OnlyShowIn=KDE;XFCE;\n"), requiresApproval},
        {ours("OnlyShowIn=KDE;GNOME;\n"), enabled},
        {ours("OnlyShowIn=\n"), requiresApproval},
        {ours("NotShowIn=GNOME;\n"), requiresApproval},
        {ours("NotShowIn=KDE;\n"), enabled},
        {ours("TryExec=launcher\n"), enabled},
        {ours("TryExec=missing\n"), notFound},
        {ours("TryExec=/missing/program\n"), notFound},
        {header + "Exec=launcher %U\n", enabled},
        {header + "Exec=\"" + executable.string() + "\" --quiet\n", enabled},
        {header + "Exec=" + other.string() + "\n", notRegistered},
        {header + "Exec=elsewhere\n", notRegistered},
        {header + "Exec=" + other.string() + "\nHidden=true\n", requiresApproval},
        {header + "Exec=/gone/Test\n", notFound},
        {header + "Exec=missing\n", notFound},
        {header + "Exec=\"unfinished\n", notFound},
        {header, notFound},
        {"[Desktop Entry]\nType=Link\nExec=" + executable.string() + "\n", notFound},
        {"[Other Group]\nExec=" + executable.string() + "\n", notFound},
        {"", notFound},
        {"no key file", notFound},
        {std::string("[Desktop Entry]\n\0", 17), notFound},
        {std::string(100'000, '#'), notFound},
    };
    for (const auto& [content, status] : cases) {
        write(entry(), content);
        EXPECT_EQ(service().status(), status) << content.substr(0, 200);
    }
}

TEST_F(AutostartTest, isNotRegisteredWithoutAnEntry) {
    EXPECT_EQ(service().status(), LoginServiceStatus::notRegistered);
    write(folder / "config/autostart", "a file where the folder should be");
    EXPECT_EQ(service().status(), LoginServiceStatus::notRegistered);
}

TEST_F(AutostartTest, isNotFoundWhereTheEntryIsNoFile) {
    std::filesystem::create_directories(entry());
    EXPECT_EQ(service().status(), LoginServiceStatus::notFound);
}

TEST_F(AutostartTest, takesTheSystemsEntryWhenTheUserHasNone) {
    write(entry("xdg2"), ours());
    EXPECT_EQ(service().status(), LoginServiceStatus::enabled);
    write(entry("xdg1"), ours("Hidden=true\n"));
    EXPECT_EQ(service().status(), LoginServiceStatus::notRegistered);
    write(entry(), ours("Hidden=true\n"));
    EXPECT_EQ(service().status(), LoginServiceStatus::requiresApproval);
    write(entry(), ours());
    EXPECT_EQ(service().status(), LoginServiceStatus::enabled);
}

TEST_F(AutostartTest, registersAndUnregisters) {
    auto login = service();
    ASSERT_TRUE(login.registerApplication(RegistrationReason::byDefault));
    EXPECT_EQ(login.status(), LoginServiceStatus::enabled);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(entry().parent_path()), {}), 1);
    ASSERT_TRUE(login.unregisterApplication());
    EXPECT_FALSE(std::filesystem::exists(entry()));
    EXPECT_EQ(login.status(), LoginServiceStatus::notRegistered);
    EXPECT_TRUE(login.unregisterApplication());
}

TEST_F(AutostartTest, aDefaultNeverUndoesTheUsersOffAndTheUsersOwnWishDoes) {
    for (const char* off : {"Hidden=true\n", "X-GNOME-Autostart-enabled=false\n"}) {
        write(entry(), ours(off));
        const std::string before = read(entry());
        auto login = service();
        const auto byDefault = login.registerApplication(RegistrationReason::byDefault);
        ASSERT_FALSE(byDefault);
        EXPECT_THAT(byDefault.error(), HasSubstr("the user has switched it off"));
        EXPECT_EQ(read(entry()), before);
        ASSERT_TRUE(login.registerApplication(RegistrationReason::userAsked));
        EXPECT_EQ(login.status(), LoginServiceStatus::enabled);
    }
}

TEST_F(AutostartTest, takesOverTheEntryOfAnotherCopyAndADamagedOne) {
    makeProgram(folder / "old/Test");
    for (const std::string& content :
         {"[Desktop Entry]\nType=Application\nExec=" + (folder / "old/Test").string() + "\n",
          std::string("damaged")}) {
        write(entry(), content);
        ASSERT_TRUE(service().registerApplication(RegistrationReason::byDefault));
        EXPECT_EQ(service().status(), LoginServiceStatus::enabled);
    }
}

TEST_F(AutostartTest, hidesTheSystemsEntryToBeOff) {
    write(entry("xdg1"), ours());
    auto login = service();
    ASSERT_TRUE(login.unregisterApplication());
    EXPECT_EQ(login.status(), LoginServiceStatus::requiresApproval);
    EXPECT_FALSE(login.registerApplication(RegistrationReason::byDefault));
    ASSERT_TRUE(login.registerApplication(RegistrationReason::userAsked));
    EXPECT_EQ(login.status(), LoginServiceStatus::enabled);
    EXPECT_EQ(read(entry("xdg1")), ours());
}

TEST_F(AutostartTest, saysInOneSentenceWhyItCannotWrite) {
    write(folder / "config", "a file");
    const auto registered = service().registerApplication(RegistrationReason::userAsked);
    ASSERT_FALSE(registered);
    EXPECT_THAT(registered.error(), HasSubstr("cannot create the folder"));
    std::filesystem::remove(folder / "config");
    std::filesystem::create_directories(entry());
    EXPECT_FALSE(service().registerApplication(RegistrationReason::userAsked));
    EXPECT_FALSE(service().unregisterApplication());
}

// The desktop's own reader is another program than ours. It does not find a program with a per
// cent sign in its path, however the entry writes it.
TEST_F(AutostartTest, writesEntriesThatGioUnderstands) {
    for (const char* name : {"plain", "with space", "q\"uote", "$HOME", "back\\slash", "it's",
                             "`x`", "semi;colon", "\xC3\xA4"}) {
        executable = folder / name / "Test";
        makeProgram(executable);
        ASSERT_TRUE(service().registerApplication(RegistrationReason::userAsked));
        EXPECT_EQ(service().status(), LoginServiceStatus::enabled) << read(entry());

        const std::unique_ptr<GDesktopAppInfo, decltype(&g_object_unref)> info(
            g_desktop_app_info_new_from_filename(entry().c_str()), &g_object_unref);
        ASSERT_NE(info, nullptr) << read(entry());
        GAppInfo* const application = G_APP_INFO(info.get());
        EXPECT_STREQ(g_app_info_get_name(application), "Test \\ App");
        // By the name that the application's icon is installed under.
        const std::unique_ptr<char, decltype(&g_free)> icon(
            g_desktop_app_info_get_string(info.get(), "Icon"), &g_free);
        EXPECT_STREQ(icon.get(), "app.test");
        int count = 0;
        char** arguments = nullptr;
        ASSERT_TRUE(g_shell_parse_argv(g_app_info_get_commandline(application), &count, &arguments,
                                       nullptr));
        ASSERT_EQ(count, 1);
        EXPECT_EQ(std::string(arguments[0]), executable.string());
        g_strfreev(arguments);
    }
}

} // namespace
