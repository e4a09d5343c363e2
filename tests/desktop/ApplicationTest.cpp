#include "tests/desktop/ApplicationTest.h"

#include "tests/desktop/session/ServerRequest.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

namespace desktop {
namespace {

std::vector<ServerLaunch> parseLaunches(const std::string& log) {
    static const std::regex line(R"(ostrad spawned \(pid (\d+)\) on 127\.0\.0\.1:(\d+), db )");
    std::vector<ServerLaunch> launches;
    for (std::sregex_iterator match(log.begin(), log.end(), line), end; match != end; ++match) {
        launches.push_back({std::stoi((*match)[1]), std::stoi((*match)[2])});
    }
    return launches;
}

} // namespace

void ApplicationTest::TearDown() {
    if (HasFailure()) {
        const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
        session.keepEvidence(ZORVANE_FAILURES_DIR,
                             fmt::format("{}.{}", test->test_suite_name(), test->name()));
    }
    application.reset();
}

std::unique_ptr<Program> ApplicationTest::launch(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {ZORVANE_APPLICATION};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return session.start(command, fmt::format("application-{}", ++launches_));
}

void ApplicationTest::launchUntilReady() {
    application = launch();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    const std::vector<ServerLaunch> launches = serverLaunches(1);
    ASSERT_FALSE(launches.empty()) << application->standardError();
    ASSERT_TRUE(eventually([&] { return serverAnswers(launches.front().port); }))
        << application->standardError();
}

void ApplicationTest::keepTheServerSilent() {
    const std::filesystem::path silent = session.folder() / "silent-server";
    std::ofstream(silent) << "#!/bin/sh\nexec sleep 1000\n";
    std::filesystem::permissions(silent, std::filesystem::perms::owner_all);
    session.environment["OSTRA_SIDECAR"] = silent.string();
}

void ApplicationTest::letTheServerRunOnce() {
    const std::filesystem::path server =
        std::filesystem::path(ZORVANE_APPLICATION).parent_path() / "ostrad";
    const std::filesystem::path script = session.folder() / "server-of-one-run";
    const std::filesystem::path ran = session.folder() / "ran";
    std::ofstream(script) << fmt::format("#!/bin/sh\n[ ! -e '{0}' ] || exec sleep 1000\n: >'{0}'\n"
                                         "exec '{1}' \"$@\"\n",
                                         ran.string(), server.string());
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    session.environment["OSTRA_SIDECAR"] = script.string();
}

std::optional<std::string> ApplicationTest::window() const {
    return session.visibleWindow("Zorvane");
}

bool ApplicationTest::windowAppears() const {
    return eventually([this] { return window().has_value(); });
}

bool ApplicationTest::windowDisappears() const {
    return eventually([this] { return !window().has_value(); });
}

std::vector<ServerLaunch> ApplicationTest::serverLaunches(std::size_t atLeast) const {
    std::vector<ServerLaunch> launches;
    (void)eventually([&] {
        launches = parseLaunches(application->standardError());
        return launches.size() >= atLeast;
    });
    return launches;
}

bool ApplicationTest::serverAnswers(int port) const {
    return ask(port, {.path = "/api/health"}).starts_with("HTTP/1.1 200");
}

bool ApplicationTest::showsTheStartingPage() const {
    return eventually([this] {
        const auto id = window();
        const auto shot = id ? session.screenshot(*id) : std::nullopt;
        // The text in the middle is there too, so not everything has the background's colour.
        return shot && shot->share(startingPageBackground, 0) > 0.85 && shot->distinctColours() > 1;
    });
}

bool ApplicationTest::showsTheServersPageNow() const {
    const auto id = window();
    if (!id) {
        return false;
    }
    // A header bar has many colours itself, also above a page that is not there.
    constexpr int belowTheHeaderBar = 80;
    WindowGeometry page = session.geometry(*id);
    page.y += belowTheHeaderBar;
    page.height -= belowTheHeaderBar;
    const auto shot = session.screenshotOf(page);
    return shot && shot->share(startingPageBackground, 0) < 0.5 && shot->distinctColours() > 16;
}

bool ApplicationTest::showsTheServersPage() const {
    return eventually([this] { return showsTheServersPageNow(); });
}

bool ApplicationTest::nothingIsLeft() const {
    return eventually([this] { return session.processes().empty(); });
}

bool ApplicationTest::noWindowIsLeft() const {
    return eventually([this] {
        return processesNamed("zorvane-window").empty() &&
               processesNamed("WebKitWebProcess").empty() &&
               processesNamed("WebKitNetworkProcess").empty();
    });
}

std::size_t ApplicationTest::logged(const std::string& text) const {
    const std::string log = application->standardError();
    std::size_t count = 0;
    for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
        ++count;
    }
    return count;
}

std::vector<Process> ApplicationTest::processesNamed(const std::string& name) const {
    return session.processesNamed(name);
}

} // namespace desktop
