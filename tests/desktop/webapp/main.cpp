// Shows a web application in a tessel::WebAppWindow on the native platform and says on standard
// output, one line each, what the window asked for, so that a test sees the web engine's side of
// the window's rules. Nothing is opened outside: "open URL" is all that happens.
//
//   ORIGIN           the web application's origin
//   --start PATH     the first page (default /)
//   --auth-host HOST a sign-in host
//   --no-token       wants no token
//   --device NAME    the device's name (default probe)
//   --agent TEXT     the user agent (default the window's own suggestion)
//   --let-go         ends the window when it was linked
#include "mac/Tessel/WebApp/WebAppWindow.h"
#include "platform/NativePlatform.h"

#include <fmt/format.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace {

using Arguments = std::map<std::string, std::string>;

template <typename... Values>
void say(fmt::format_string<Values...> text, Values&&... values) {
    fmt::print(text, std::forward<Values>(values)...);
    fmt::print("\n");
    std::fflush(stdout);
}

class RecordingWorkspace final : public platform::Workspace {
  public:
    void openUrl(const std::string& url) override { say("open {}", url); }
    void openNewInstance(const std::filesystem::path& bundle,
                         std::function<void(platform::OpenResult)> completion) override {
        say("open instance {}", bundle.string());
        completion({.launched = false});
    }
};

class Probe final : public platform::ApplicationDelegate {
  public:
    Probe(platform::NativePlatform& native, const Arguments& arguments)
        : native_(native)
        , arguments_(arguments) {}

    void applicationDidFinishLaunching() override {
        window_ = tessel::WebAppWindow::create(
            {native_.application(), native_.webWindows(), workspace_, native_.clock(),
             native_.log()},
            config(), [this](const std::string& token, const tessel::Url& origin) {
                say("linked {} {}", token, std::string(origin.buffer()));
                if (arguments_.contains("--let-go")) {
                    window_.reset();
                }
            });
        window_->present();
        say("launched");
    }

    platform::TerminateReply applicationShouldTerminate() override {
        return platform::TerminateReply::now;
    }
    void applicationWillTerminate() override {}
    bool applicationShouldHandleReopen(bool /*hasVisibleWindows*/) override { return true; }
    bool applicationShouldTerminateAfterLastWindowClosed() override { return false; }

  private:
    [[nodiscard]] std::string value(const char* name, std::string otherwise) const {
        const auto found = arguments_.find(name);
        return found == arguments_.end() ? std::move(otherwise) : found->second;
    }

    [[nodiscard]] tessel::WebAppConfig config() const {
        tessel::WebAppConfig config{
            .origin = tessel::Url(arguments_.at("origin")),
            .startPath = value("--start", "/"),
            .needsToken = !arguments_.contains("--no-token"),
            .deviceName = value("--device", "probe"),
            .windowTitle = "web app probe",
            .authHosts = {},
            .mintPath = "/mint",
            .clientFlagGlobal = "__inApp",
            .deviceGlobal = "__device",
            .needsTokenGlobal = "__needsToken",
            .bridgeName = "bridge",
            .appCookieName = "in_app",
            .appHeaderName = "x-app",
            .userAgent = value("--agent", std::string(tessel::WebAppWindow::defaultUserAgent))};
        if (arguments_.contains("--auth-host")) {
            config.authHosts.insert(arguments_.at("--auth-host"));
        }
        return config;
    }

    platform::NativePlatform& native_;
    const Arguments& arguments_;
    RecordingWorkspace workspace_;
    std::shared_ptr<tessel::WebAppWindow> window_;
};

Arguments parse(int count, char** values) {
    Arguments arguments{{"origin", values[1]}};
    for (int index = 2; index < count; ++index) {
        const std::string name = values[index];
        const bool hasValue =
            index + 1 < count && !std::string_view(values[index + 1]).starts_with("--");
        arguments[name] = hasValue ? values[++index] : "";
    }
    return arguments;
}

} // namespace

int main(int argumentCount, char** argumentValues) {
    if (argumentCount < 2) {
        return 2;
    }
    const Arguments arguments = parse(argumentCount, argumentValues);
    const auto native = platform::makeNativePlatform({.applicationId = "test.zorvane.webapp",
                                                      .guardianExecutable = "none",
                                                      .windowExecutable = ZORVANE_WINDOW});
    if (!native) {
        fmt::print(stderr, "{}\n", native.error());
        return 1;
    }
    Probe probe(**native, arguments);
    return (*native)->application().run(probe);
}
