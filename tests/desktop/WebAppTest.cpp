#include "tests/desktop/WebAppTest.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <utility>

namespace desktop {

void WebAppTest::TearDown() {
    if (HasFailure()) {
        const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
        session.keepEvidence(ZORVANE_FAILURES_DIR,
                             fmt::format("{}.{}", test->test_suite_name(), test->name()));
    }
    probe.reset();
}

std::string WebAppTest::page(std::string_view title, std::string_view body) {
    return fmt::format("<!doctype html><meta charset=utf-8><title>{}</title>\n{}", title, body);
}

std::string WebAppTest::linkPage(std::string_view title, std::string_view target,
                                 std::string_view attributes) {
    return page(title, fmt::format("<a href=\"{}\" {} style=\"position:fixed;inset:0\">go</a>",
                                   target, attributes));
}

std::string WebAppTest::report(std::string_view expression) {
    return fmt::format("fetch('/report?' + encodeURIComponent({}));", expression);
}

bool WebAppTest::reports(const std::string& text) {
    return eventually([&] { return request("GET /report?" + text).has_value(); });
}

void WebAppTest::serve(std::map<std::string, Server::Reply> replies) {
    for (auto& [path, reply] : replies) {
        reply.headers.emplace_back("Cache-Control", "no-store");
        const bool hasType = std::ranges::any_of(
            reply.headers, [](const auto& header) { return header.first == "Content-Type"; });
        if (!hasType) {
            reply.headers.emplace_back("Content-Type", "text/html");
        }
    }
    server.setHandler([replies = std::move(replies)](const Server::Request& request) {
        const auto found = replies.find(request.target);
        return found == replies.end() ? Server::Reply{.status = 404} : found->second;
    });
}

void WebAppTest::launch(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {ZORVANE_WEB_APP_PROBE, appUrl("")});
    probe = session.start(arguments, fmt::format("web-app-{}", ++launches_));
}

std::string WebAppTest::appUrl(std::string_view target) const {
    return fmt::format("http://localhost:{}{}", server.port(), target);
}

std::string WebAppTest::foreignUrl(std::string_view target) const {
    return server.url(target);
}

bool WebAppTest::showsTitle(const std::string& title) {
    return eventually([&] { return session.visibleWindow(title).has_value(); });
}

void WebAppTest::click(const std::string& title, int button) {
    ASSERT_TRUE(showsTitle(title)) << probe->standardError();
    const std::string window = session.visibleWindow(title).value_or("");
    session.focus(window);
    const WindowGeometry area = session.geometry(window);
    session.click(window, area.width / 2, area.height / 2, button);
}

std::vector<std::string> WebAppTest::lines() const {
    std::istringstream output(probe->standardOutput());
    std::vector<std::string> result;
    for (std::string line; std::getline(output, line);) {
        result.push_back(line);
    }
    return result;
}

bool WebAppTest::says(const std::string& line, std::size_t times) {
    const auto count = [&] { return static_cast<std::size_t>(std::ranges::count(lines(), line)); };
    (void)eventually([&] { return !probe->isRunning() || count() >= times; });
    return count() >= times;
}

std::vector<std::string> WebAppTest::requests() const {
    std::vector<std::string> result;
    for (const Server::Request& made : server.requests()) {
        if (made.target != "/favicon.ico") {
            result.push_back(made.method + " " + made.target);
        }
    }
    return result;
}

std::optional<WebAppTest::Server::Request>
WebAppTest::request(std::string_view methodAndTarget) const {
    for (const Server::Request& made : server.requests()) {
        if (made.method + " " + made.target == methodAndTarget) {
            return made;
        }
    }
    return std::nullopt;
}

} // namespace desktop
