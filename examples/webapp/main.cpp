// A web application in a window of its own, which links this program once its page has a token.
//
//     example_webapp ORIGIN [WINDOW-PROGRAM]
//
// Where windows live in a process of their own (everywhere but on macOS), WINDOW-PROGRAM is its
// executable: zorvane-window, which Zorvane brings along.
#include "mac/Tessel/Application/MainMenu.h"
#include "mac/Tessel/WebApp/WebAppWindow.h"
#include "platform/NativePlatform.h"

#include <iostream>
#include <memory>
#include <string>
#include <utility>

namespace {

class WebProgram final : public platform::ApplicationDelegate {
  public:
    WebProgram(platform::NativePlatform& native, tessel::WebAppConfig config)
        : native_(native)
        , config_(std::move(config)) {}

    void applicationDidFinishLaunching() override {
        native_.application().setActivationPolicy(platform::ActivationPolicy::regular);
        native_.menuBar().setMainMenu(tessel::MainMenu::build(config_.windowTitle, {}));
        window_ = tessel::WebAppWindow::create(
            {native_.application(), native_.webWindows(), native_.workspace(), native_.clock(),
             native_.log()},
            config_, [](const std::string& token, const tessel::Url& origin) {
                // The place to keep the token: tessel::StateStore, see the example "state".
                std::cout << "Linked to " << origin.buffer() << " with a token of " << token.size()
                          << " characters" << std::endl;
            });
        window_->present();
    }

    platform::TerminateReply applicationShouldTerminate() override {
        return platform::TerminateReply::now;
    }
    void applicationWillTerminate() override { window_.reset(); }
    bool applicationShouldHandleReopen(bool /*hasVisibleWindows*/) override { return true; }
    bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }

  private:
    platform::NativePlatform& native_;
    tessel::WebAppConfig config_;
    std::shared_ptr<tessel::WebAppWindow> window_;
};

} // namespace

int main(int argc, char** argv) {
    const auto origin = argc == 2 || argc == 3 ? tessel::parseUrl(argv[1]) : std::nullopt;
    if (!origin) {
        std::cerr << "usage: example_webapp ORIGIN [WINDOW-PROGRAM]\n";
        return 2;
    }
    const auto native =
        platform::makeNativePlatform({.applicationId = "example.tessel.webapp",
                                      .guardianExecutable = "none", // starts no server
                                      .windowExecutable = argc == 3 ? argv[2] : "zorvane-window"});
    if (!native) {
        std::cerr << native.error() << '\n';
        return 1;
    }
    WebProgram program(**native,
                       {.origin = *origin,
                        .startPath = "/",
                        .needsToken = true,
                        .deviceName = "Example",
                        .windowTitle = "Example",
                        .authHosts = {},
                        .mintPath = "/mint",
                        .clientFlagGlobal = "isExample",
                        .deviceGlobal = "exampleDevice",
                        .needsTokenGlobal = "exampleNeedsToken",
                        .bridgeName = "example",
                        .appCookieName = "example_app",
                        .appHeaderName = "x-example-app",
                        .userAgent = std::string(tessel::WebAppWindow::defaultUserAgent)});
    return (*native)->application().run(program);
}
