#include "tests/desktop/ApplicationTest.h"

#include "platform/posix/UniqueFd.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <regex>

namespace desktop {
namespace {

constexpr Colour startingPageBackground{.red = 0x11, .green = 0x11, .blue = 0x11};

std::vector<ServerLaunch> parseLaunches(const std::string& log) {
    static const std::regex line(R"(ostrad spawned \(pid (\d+)\) on 127\.0\.0\.1:(\d+), db )");
    std::vector<ServerLaunch> launches;
    for (std::sregex_iterator match(log.begin(), log.end(), line), end; match != end; ++match) {
        launches.push_back({std::stoi((*match)[1]), std::stoi((*match)[2])});
    }
    return launches;
}

// The status line of GET /api/health, or an empty string.
std::string askHealth(int port) {
    const platform::posix::UniqueFd connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    constexpr timeval limit{.tv_sec = 2, .tv_usec = 0};
    ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
        return {};
    }
    const std::string request = fmt::format(
        "GET /api/health HTTP/1.1\r\nHost: 127.0.0.1:{}\r\nConnection: close\r\n\r\n", port);
    ::send(connection.get(), request.data(), request.size(), MSG_NOSIGNAL);
    std::array<char, 64> reply{};
    const ssize_t size = ::recv(connection.get(), reply.data(), reply.size(), MSG_WAITALL);
    return {reply.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
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
    return askHealth(port).starts_with("HTTP/1.1 200");
}

bool ApplicationTest::showsTheStartingPage() const {
    return eventually([this] {
        const auto id = window();
        const auto shot = id ? session.screenshot(*id) : std::nullopt;
        // The text in the middle is there too, so not everything has the background's colour.
        return shot && shot->share(startingPageBackground, 0) > 0.85 && shot->distinctColours() > 1;
    });
}

bool ApplicationTest::showsTheServersPage() const {
    return eventually([this] {
        const auto id = window();
        const auto shot = id ? session.screenshot(*id) : std::nullopt;
        return shot && shot->share(startingPageBackground, 0) < 0.5 && shot->distinctColours() > 16;
    });
}

bool ApplicationTest::nothingIsLeft() const {
    return eventually([this] { return session.processes().empty(); });
}

std::vector<Process> ApplicationTest::processesNamed(const std::string& name) const {
    std::vector<Process> processes = session.processes();
    std::erase_if(processes, [&](const Process& process) {
        const std::string program = process.command.substr(0, process.command.find(' '));
        return std::filesystem::path(program).filename() != name;
    });
    return processes;
}

} // namespace desktop
