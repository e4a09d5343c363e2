// tessel-web (--reveal | --conceal) (--sandbox | --no-sandbox) CONFIG WINDOW: the window of `tessel
// web`, which starts it. WINDOW is the executable of the process that windows live in, where there
// is one.
#include "mac/Tessel/Application/MainMenu.h"
#include "mac/Tessel/Json/JsonText.h"
#include "mac/Tessel/WebApp/WebAppRules.h"
#include "mac/Tessel/WebApp/WebAppWindow.h"
#include "platform/NativePlatform.h"
#include "platform/Sha256.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/WebAppDocument.h"

#include <boost/json/object.hpp>
#include <fmt/format.h>

#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr int wrongUsage = 2;

class WebProgram final : public platform::ApplicationDelegate {
  public:
    struct Options {
        bool reveals = false;
        bool withoutSandbox = false;
    };

    WebProgram(platform::NativePlatform& native, tessel::WebAppConfig config, Options options)
        : native_(native)
        , config_(std::move(config))
        , options_(options) {}

    [[nodiscard]] bool wasRefused() const { return refused_; }

    void applicationDidFinishLaunching() override {
        native_.application().setActivationPolicy(platform::ActivationPolicy::regular);
        native_.menuBar().setMainMenu(tessel::MainMenu::build(config_.windowTitle, {}));
        window_ = tessel::WebAppWindow::create(
            {native_.application(), native_.webWindows(), native_.workspace(), native_.clock(),
             native_.log()},
            config_,
            [this](const std::string& token, const tessel::Url& origin) {
                printLinked(token, origin);
            },
            {.use = options_.withoutSandbox ? std::optional(platform::Sandbox::off) : std::nullopt,
             .onRefused = [this](const std::string& reason) { refused(reason); }});
        window_->present();
    }

    platform::TerminateReply applicationShouldTerminate() override {
        return platform::TerminateReply::now;
    }
    void applicationWillTerminate() override {}
    bool applicationShouldHandleReopen(bool /*hasVisibleWindows*/) override { return true; }
    bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }

  private:
    void refused(const std::string& reason) {
        refused_ = true;
        tool::say(fmt::format("this system has no sandbox for pages of {} ({}); --no-sandbox shows "
                              "them without one",
                              tessel::hostThatNeedsSandbox(config_).value_or("other hosts"),
                              reason));
        native_.application().terminate();
    }

    // What nobody can get need not be waited for.
    void printLinked(const std::string& token, const tessel::Url& origin) {
        boost::json::object line{
            {"event", "linked"},
            {"origin", boost::json::string(origin.buffer().data(), origin.buffer().size())}};
        if (options_.reveals) {
            line["token"] = token;
        }
        if (const auto text = tessel::compactJsonText(line)) {
            tool::emit("{}\n", *text);
            if (!tool::flushOutput()) {
                native_.application().terminate();
            }
        }
    }

    platform::NativePlatform& native_;
    tessel::WebAppConfig config_;
    Options options_;
    bool refused_ = false;
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

int run(int argc, char** argv) {
    const std::string_view mode = argc == 5 ? argv[1] : "";
    const std::string_view sandbox = argc == 5 ? argv[2] : "";
    if ((mode != "--reveal" && mode != "--conceal") ||
        (sandbox != "--sandbox" && sandbox != "--no-sandbox")) {
        tool::sayText("usage: tessel-web (--reveal | --conceal) (--sandbox | --no-sandbox) "
                      "CONFIG WINDOW\n");
        return wrongUsage;
    }
    auto config = tool::readWebAppFile(argv[3]);
    if (!config) {
        tool::say(config.error());
        return wrongUsage;
    }
    const auto native = platform::makeNativePlatform({.applicationId = applicationId(*config),
                                                      .guardianExecutable = "none",
                                                      .windowExecutable = argv[4]});
    if (!native) {
        tool::say(native.error());
        return 1;
    }
    WebProgram program(
        **native, *std::move(config),
        {.reveals = mode == "--reveal", .withoutSandbox = sandbox == "--no-sandbox"});
    const int status = (*native)->application().run(program);
    return program.wasRefused() ? 1 : status;
}

} // namespace

int main(int argc, char** argv) {
    tool::takeStandardDescriptors();
    // A reader that goes away is noticed where it is written to.
    std::signal(SIGPIPE, SIG_IGN);
    return tool::finishOutput(run(argc, argv));
}
