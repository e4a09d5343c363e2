#include "tests/desktop/PageTest.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace desktop {
namespace {

constexpr std::chrono::milliseconds menuLimit{100};

std::vector<std::string> linesOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

PageTest::PageTest() {
    std::filesystem::create_directory(pages);
    session.environment["TEST_PAGES"] = pages.string();
    session.environment["OSTRA_SIDECAR"] = ZORVANE_PAGE_SERVER;
}

void PageTest::writePage(const std::string& html) const {
    std::ofstream(pages / "index.html")
        << "<!doctype html><meta charset=utf-8><title>page</title>" << html;
}

void PageTest::launchWithPage(const std::string& html) {
    writePage(html);
    ASSERT_NO_FATAL_FAILURE(launchUntilReady());
    ASSERT_TRUE(tray.hasItem()) << application->standardError();
}

bool PageTest::hasReported(const std::string& text) const {
    const auto lines = linesOf(pages / "reports");
    return std::ranges::find(lines, text) != lines.end();
}

bool PageTest::reports(const std::string& text) const {
    return eventually([&] { return hasReported(text); });
}

void PageTest::handleScheme(const std::string& scheme) {
    namespace fs = std::filesystem;
    const fs::path program = session.folder() / "handler";
    std::ofstream(program) << fmt::format("#!/bin/sh\nprintf '%s\\n' \"$1\" >> '{}'\n",
                                          (session.folder() / "handled").string());
    fs::permissions(program, fs::perms::owner_all);
    handlers_ += fmt::format("x-scheme-handler/{}=handler.desktop\n", scheme);
    fs::create_directories(session.dataHome() / "applications");
    fs::create_directories(session.configHome());
    std::ofstream(session.dataHome() / "applications/handler.desktop")
        << "[Desktop Entry]\nType=Application\nName=Handler\nExec=" << program.string() << " %u\n";
    std::ofstream(session.configHome() / "mimeapps.list") << "[Default Applications]\n"
                                                          << handlers_;
}

std::vector<std::string> PageTest::handled() const {
    return linesOf(session.folder() / "handled");
}

bool PageTest::menuAnswersAtOnce() {
    return eventually([&] {
        std::vector<std::chrono::steady_clock::duration> times;
        for (int opening = 0; opening < 5; ++opening) {
            const auto begin = std::chrono::steady_clock::now();
            (void)tray.openMenu();
            times.push_back(std::chrono::steady_clock::now() - begin);
        }
        std::ranges::sort(times);
        return times[times.size() / 2] < menuLimit;
    });
}

void PageTest::quit() {
    (void)tray.openMenu();
    const auto begin = std::chrono::steady_clock::now();
    tray.click("Quit Zorvane & Stop Server");
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, quitLimit);
    EXPECT_TRUE(eventually([&] { return session.processes().empty(); },
                           std::chrono::duration_cast<std::chrono::milliseconds>(
                               begin + quitLimit - std::chrono::steady_clock::now())))
        << describe(session.processes());
}

} // namespace desktop
