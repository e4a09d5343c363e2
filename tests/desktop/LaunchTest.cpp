// What a person sees after starting the application: the window, the starting page, the server's
// page; closing and coming back; the remembered size; what is kept private.
#include "platform/posix/ProcessEntry.h"
#include "tests/desktop/ApplicationTest.h"
#include "tests/support/fewthreads/FewThreads.h"

#include <gmock/gmock.h>

#include <csignal>
#include <string>

namespace desktop {
namespace {

using ::testing::EndsWith;
using ::testing::IsEmpty;

using Launch = ApplicationTest;

TEST_F(Launch, showsTheStartingPageUntilTheServerAnswersAndThenTheServersPage) {
    keepTheServerSilent();
    application = launch();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(showsTheStartingPage());
    application->signal(SIGTERM);
    ASSERT_EQ(application->waitForExit(patience), 0);

    session.environment.erase("OSTRA_SIDECAR");
    launchUntilReady();
    EXPECT_TRUE(showsTheServersPage());
}

TEST_F(Launch, hidesTheWindowOnItsCloseButtonAndShowsItAgainOnASecondLaunch) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    EXPECT_TRUE(application->isRunning());

    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 0) << second->standardError();
    EXPECT_TRUE(windowAppears());
    EXPECT_TRUE(showsTheServersPage());
    EXPECT_EQ(serverLaunches(1).size(), 1U);
}

TEST_F(Launch, hidesTheWindowOnControlW) {
    launchUntilReady();
    session.focus(window().value());
    session.pressKey("ctrl+w");
    EXPECT_TRUE(windowDisappears());
    EXPECT_TRUE(application->isRunning());
    EXPECT_TRUE(serverAnswers(serverLaunches(1).front().port));
}

TEST_F(Launch, isOneInstanceWithoutASessionBus) {
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    // As root and without a bus, WebKit's sandbox leaves a file in the machine's root folder.
    session.environment["WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS"] = "1";
    launchUntilReady();
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 0) << second->standardError();
    EXPECT_TRUE(windowAppears());
    EXPECT_EQ(processesNamed("ostrad").size(), 1U);
}

TEST_F(Launch, remembersTheSizeOfTheWindow) {
    launchUntilReady();
    session.resize(window().value(), 1000, 720);
    ASSERT_TRUE(eventually([&] { return session.geometry(window().value()).width == 1000; }));
    // The window system is ahead of the toolkit, which has a size once it has laid out its content;
    // that is kept then, and not the first.
    const auto kept = session.configHome() / "app.zorvane" / "defaults.ini";
    ASSERT_TRUE(eventually([&] {
        const std::string text = readFile(kept);
        return text.find(".width=") != std::string::npos &&
               text.find(".width=1200") == std::string::npos;
    })) << readFile(kept);
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    application->signal(SIGTERM);
    ASSERT_EQ(application->waitForExit(patience), 0);

    launchUntilReady();
    EXPECT_TRUE(eventually([&] {
        const WindowGeometry geometry = session.geometry(window().value());
        return geometry.width == 1000 && geometry.height == 720;
    }));
}

// It has made sure that there are as many threads as it needs, and the first of them is refused.
TEST_F(Launch, saysThatThereAreNoThreadsThoughOthersTakeThemOnlyLater) {
    session.environment["LD_PRELOAD"] = ZORVANE_FEWTHREADS;
    session.environment[fewthreads::programVariable] = "Zorvane";
    session.environment[fewthreads::mostVariable] = std::to_string(platform::posix::neededThreads);
    application = launch();
    EXPECT_EQ(application->waitForExit(patience), 1);
    EXPECT_EQ(application->standardError(),
              std::string("Zorvane cannot start: ") + platform::posix::noMoreThreads + "\n");
    EXPECT_TRUE(nothingIsLeft());
}

// Without handling, GLib ends a process by a signal that gets no thread for it.
TEST_F(Launch, servesOrSaysThatThereAreNoThreadsWhicheverOfGlibsIsRefused) {
    session.environment["LD_PRELOAD"] = ZORVANE_FEWTHREADS;
    session.environment[fewthreads::programVariable] = "Zorvane";
    session.environment[fewthreads::libraryVariable] = "libglib-";
    const std::string sentence =
        std::string("Zorvane cannot start: ") + platform::posix::noMoreThreads + "\n";
    int sentences = 0;
    for (int most = 0; most < 4; ++most) {
        session.environment[fewthreads::mostVariable] = std::to_string(most);
        application = launch();
        ASSERT_TRUE(eventually([&] {
            return !application->isRunning() || logged("ostrad spawned") > 0;
        })) << most
            << ": " << application->standardError();
        application->signal(SIGTERM);
        const auto status = application->waitForExit(patience);
        if (status == 1) {
            ++sentences;
            EXPECT_THAT(application->standardError(), EndsWith(sentence));
        } else {
            EXPECT_EQ(status, 0) << most << ": " << application->standardError();
        }
        EXPECT_TRUE(nothingIsLeft());
    }
    EXPECT_GT(sentences, 0);
}

// Every file and folder of ours that somebody else could read or enter.
std::vector<std::string> openToOthers(const std::filesystem::path& folder) {
    using std::filesystem::perms;
    std::vector<std::string> found;
    const auto check = [&](const std::filesystem::path& path) {
        const perms mode = std::filesystem::symlink_status(path).permissions();
        if ((mode & (perms::group_all | perms::others_all)) != perms::none) {
            found.push_back(path.string());
        }
    };
    check(folder);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        check(entry.path());
    }
    return found;
}

TEST_F(Launch, keepsItsFoldersToItself) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    for (const std::filesystem::path& home :
         {session.dataHome(), session.cacheHome(), session.configHome()}) {
        EXPECT_THAT(openToOthers(home / "app.zorvane"), IsEmpty());
    }
}

} // namespace
} // namespace desktop
