// The application's one main window: a web view that shows the server's web interface, and a
// built-in starting page until the server's address is known. Made on the first show, kept when it
// is closed; a page is loaded again only when the address differs from the one loaded last. A page
// whose web process died is loaded again; at the third death within a minute the window is closed,
// and the next show() tries again. While no server of ours answers, the window is cut off from the
// network: whoever else has taken the port gets neither a request nor a cookie, and the last page
// stays displayed. When the server then answers at another address, the starting page takes the
// place of the last one before the network is there again. Pages of other computers open in the
// browser, and what no view can show in the program that the user has for it. Owned by the
// application delegate; main thread only; the facilities outlive it.
#pragma once

#include "mac/OstraCore/ServerUrl.h"
#include "mac/Tessel/WebApp/ExternalAddresses.h"
#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/WebWindow.h"
#include "platform/Workspace.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace zorvane {

class MainWindowController {
  public:
    static constexpr std::string_view startingPage =
        "<!doctype html><meta charset=\"utf-8\">\n"
        "<style>\n"
        "  body { display: flex; align-items: center; justify-content: center;\n"
        "         height: 100vh; margin: 0; background: #111; color: #ddd;\n"
        "         font: 15px -apple-system, sans-serif; }\n"
        "</style>\n"
        "<body>Starting Zorvane&hellip;</body>";
    static constexpr std::chrono::seconds loadTimeout{60};
    static constexpr std::size_t deathsPerMinute = 3;

    MainWindowController(platform::WebWindowFactory& windows, platform::Application& application,
                         platform::Workspace& workspace, platform::Clock& clock,
                         platform::Log& log);

    // Called with true when the window is shown and with false when it is closed.
    std::function<void(bool)> onVisibilityChange;
    // The address the window should show; the next show() loads it if it is not loaded yet.
    std::optional<ostra::Url> currentURL;

    void show();
    // Whether our own server answers at currentURL. Not at first.
    void setServerAnswers(bool answers);
    // Loads the address, at once unless a page of another one has to go first, or remembers it as
    // loaded when there is no window yet.
    void load(const ostra::Url& url);
    // Hides the window if there is one; reports nothing.
    void orderOut();
    [[nodiscard]] bool hasWindow() const { return window_ != nullptr; }

  private:
    void makeWindow();
    [[nodiscard]] platform::NavigationPolicy decide(const platform::NavigationAction& action);
    void openElsewhere(const platform::NavigationAction& action);
    void windowWillClose();
    void webProcessTerminated();
    void giveUp();
    void showStartingPage();
    void loadNow(const ostra::Url& url);
    void hasLeft();

    platform::WebWindowFactory& windows_;
    platform::Application& application_;
    platform::Clock& clock_;
    platform::Log& log_;
    tessel::ExternalAddresses external_;
    std::unique_ptr<platform::WebWindow> window_;
    bool serverAnswers_ = false;
    std::optional<ostra::Url> loadedURL_; // nothing while the starting page is all there is
    bool isLeaving_ = false;              // the starting page is on its way, loadedURL_ follows it
    std::vector<platform::SteadyTime> deaths_;
    bool isBlank_ = false; // its page crashed and was given up
};

} // namespace zorvane
