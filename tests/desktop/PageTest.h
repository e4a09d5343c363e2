// The fixture of the tests of what pages do to the real application: its server is one whose pages
// the test writes (server/page_server.py), and a tray opens its menu.
#pragma once

#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/TrayHost.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace desktop {

class PageTest : public ApplicationTest {
  protected:
    // From a click on the menu's item until the process is gone.
    static constexpr std::chrono::seconds quitLimit{8};

    PageTest();

    void writePage(const std::string& html) const;
    // As launchUntilReady(), and the tray has the item.
    void launchWithPage(const std::string& html);
    // Whether the page has told its server.
    [[nodiscard]] bool reports(const std::string& text) const; // it comes to
    [[nodiscard]] bool hasReported(const std::string& text) const;

    // A program that writes down every address of that scheme.
    void handleScheme(const std::string& scheme);
    [[nodiscard]] std::vector<std::string> handled() const;

    // In the middle of several openings, none of which the page could delay.
    [[nodiscard]] bool menuAnswersAtOnce();
    // Through the menu; checks that it is in order, in time, and leaves nothing.
    void quit();

    TrayHost tray{session};
    const std::filesystem::path pages = session.folder() / "pages";

  private:
    std::string handlers_;
};

} // namespace desktop
