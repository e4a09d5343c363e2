// tessel-web (--reveal | --conceal) CONFIG WINDOW: the window of `tessel web`, which starts it.
// WINDOW is the executable of the process that windows live in, where there is one.
#include "mac/Tessel/Application/MainMenu.h"
#include "mac/Tessel/Json/JsonText.h"
#include "mac/Tessel/WebApp/WebAppWindow.h"
#include "platform/NativePlatform.h"
#include "platform/Sha256.h"
#include "tools/tessel/WebAppDocument.h"

#include <boost/json/object.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace {

class WebProgram final : public platform::ApplicationDelegate {
  public:
    WebProgram(platform::NativePlatform& native, tessel::WebAppConfig config, bool reveals)
        : native_(native)
        , config_(std::move(config))
        , reveals_(reveals) {}

    void applicationDidFinishLaunching() override {
        native_.application().setActivationPolicy(platform::ActivationPolicy::regular);
        native_.menuBar().setMainMenu(tessel::MainMenu::build(config_.windowTitle, {}));
        window_ = tessel::WebAppWindow::create(
            {native_.application(), native_.webWindows(), native_.workspace(), native_.clock()},
            config_, [this](const std::string& token, const tessel::Url& origin) {
                printLinked(token, origin);
            });
        window_->present();
    }

    platform::TerminateReply applicationShouldTerminate() override {
        return platform::TerminateReply::now;
    }
    void applicationWillTerminate() override {}
    bool applicationShouldHandleReopen(bool /*hasVisibleWindows*/) override { return true; }
    bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }

  private:
    void printLinked(const std::string& token, const tessel::Url& origin) const {
        boost::json::object line{
            {"event", "linked"},
            {"origin", boost::json::string(origin.buffer().data(), origin.buffer().size())}};
        if (reveals_) {
            line["token"] = token;
        }
        if (const auto text = tessel::compactJsonText(line)) {
            fmt::print("{}\n", *text);
            std::fflush(stdout);
        }
    }

    platform::NativePlatform& native_;
    tessel::WebAppConfig config_;
    bool reveals_;
    std::shared_ptr<tessel::WebAppWindow> window_;
};

// One for each application: it has a window of its own, and website data of its own where the
// system keeps them by this name.
std::string applicationId(const tessel::WebAppConfig& config) {
    const auto digest = platform::sha256(
        fmt::format("{}\n{}", std::string_view(config.origin.buffer()), config.windowTitle));
    std::string id = "tessel.web.a";
    for (std::size_t index = 0; index < 8; ++index) {
        id += fmt::format("{:02x}", digest.at(index));
    }
    return id;
}

int fail(std::string_view message) {
    fmt::print(stderr, "tessel: {}\n", message);
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view mode = argc == 4 ? argv[1] : "";
    if (mode != "--reveal" && mode != "--conceal") {
        fmt::print(stderr, "usage: tessel-web (--reveal | --conceal) CONFIG WINDOW\n");
        return 2;
    }
    auto config = tool::readWebAppFile(argv[2]);
    if (!config) {
        return fail(config.error());
    }
    const auto native = platform::makeNativePlatform({.applicationId = applicationId(*config),
                                                      .guardianExecutable = "none",
                                                      .windowExecutable = argv[3]});
    if (!native) {
        return fail(native.error());
    }
    WebProgram program(**native, *std::move(config), mode == "--reveal");
    return (*native)->application().run(program);
}
