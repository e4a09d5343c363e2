// A small application on the native platform that says on standard output what it was told, one
// line each, so that a test can see the back end's side of the contract without the product's
// rules in between. It never refuses anything but what an argument says:
//
//   --id ID                     the application id (default test.zorvane.probe)
//   --refuse                    answers `cancel` to a quit without an event
//   --refuse-first              answers `cancel` to the first quit
//   --refuse-always             answers `cancel` to every quit
//   --ignore-reopen             answers false to a reopen
//   --end-after-last-window     wants to end when its last window was closed
//   --window TITLE              shows a window with a page
//   --keep-open                 that window cannot be closed by the user
//   --frame NAME                remembers the window's size under NAME
//   --url URL --timeout SECONDS loads URL instead of the page
//   --stop-milliseconds N       applicationWillTerminate takes that long
#include "platform/NativePlatform.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

using Arguments = std::map<std::string, std::string>;

template <typename... Values>
void say(fmt::format_string<Values...> text, Values&&... values) {
    fmt::print(text, std::forward<Values>(values)...);
    fmt::print("\n");
    std::fflush(stdout);
}

std::string fourCharacters(std::uint32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += static_cast<char>((code >> shift) & 0xffU);
    }
    return text;
}

std::string describe(const std::optional<platform::SystemEvent>& event) {
    if (!event) {
        return "no event";
    }
    return fmt::format("{} {} why {}", fourCharacters(event->eventClass),
                       fourCharacters(event->eventId),
                       event->why ? fourCharacters(*event->why) : "absent");
}

class Probe final : public platform::ApplicationDelegate {
  public:
    Probe(platform::NativePlatform& native, const Arguments& arguments)
        : native_(native)
        , arguments_(arguments) {}

    void applicationDidFinishLaunching() override {
        say("launched");
        if (has("--window")) {
            makeWindow();
            window_->makeKeyAndOrderFront();
        }
    }

    platform::TerminateReply applicationShouldTerminate() override {
        const auto event = native_.application().currentEvent();
        say("should terminate, {}", describe(event));
        const bool refuses = has("--refuse-always") ||
                             (has("--refuse-first") && questions_++ == 0) ||
                             (has("--refuse") && !event);
        return refuses ? platform::TerminateReply::cancel : platform::TerminateReply::now;
    }

    void applicationWillTerminate() override {
        say("will terminate, {}", describe(native_.application().currentEvent()));
        if (has("--stop-milliseconds")) {
            std::this_thread::sleep_for(
                std::chrono::milliseconds(std::stoi(arguments_.at("--stop-milliseconds"))));
        }
    }

    bool applicationShouldHandleReopen(bool hasVisibleWindows) override {
        say("reopen, visible windows: {}", hasVisibleWindows);
        if (window_ && !hasVisibleWindows && !has("--ignore-reopen")) {
            window_->makeKeyAndOrderFront();
        }
        return !has("--ignore-reopen");
    }

    bool applicationShouldTerminateAfterLastWindowClosed() override {
        say("last window closed");
        return has("--end-after-last-window");
    }

  private:
    [[nodiscard]] bool has(const char* name) const { return arguments_.contains(name); }

    void makeWindow() {
        window_ = native_.webWindows().makeWebWindow({.title = arguments_.at("--window"),
                                                      .contentWidth = 640,
                                                      .contentHeight = 480,
                                                      .closable = !has("--keep-open"),
                                                      .inspectable = true});
        if (has("--frame")) {
            window_->setFrameAutosaveName(arguments_.at("--frame"));
        }
        window_->center();
        window_->onWillClose = [this] { say("will close, visible: {}", window_->isVisible()); };
        window_->onWebProcessTerminated = [this] {
            say("web process terminated");
            window_->loadHtml(page(++deaths_));
        };
        if (has("--url")) {
            window_->loadUrl(arguments_.at("--url"),
                             std::chrono::seconds(std::stoi(arguments_.at("--timeout"))));
        } else {
            window_->loadHtml(page(0));
        }
    }

    // A page in one blue, darker the more web processes have died. The script tries what a page
    // must not be able to do.
    static std::string page(int deaths) {
        return fmt::format("<!doctype html><title>a page's own title</title>"
                           "<body style='margin:0;background:rgb(32,64,{})'>"
                           "<script>window.close(); window.open('about:blank');</script></body>",
                           192 - 32 * deaths);
    }

    platform::NativePlatform& native_;
    const Arguments& arguments_;
    std::unique_ptr<platform::WebWindow> window_;
    int questions_ = 0;
    int deaths_ = 0;
};

Arguments parse(int count, char** values) {
    Arguments arguments;
    for (int index = 1; index < count; ++index) {
        const std::string name = values[index];
        const bool hasValue =
            index + 1 < count && !std::string_view(values[index + 1]).starts_with("--");
        arguments[name] = hasValue ? values[++index] : "";
    }
    arguments.try_emplace("--id", "test.zorvane.probe");
    return arguments;
}

} // namespace

int main(int argumentCount, char** argumentValues) {
    const Arguments arguments = parse(argumentCount, argumentValues);
    const auto native = platform::makeNativePlatform(
        {.applicationId = arguments.at("--id"), .guardianExecutable = "none"});
    if (!native) {
        fmt::print(stderr, "{}\n", native.error());
        return 1;
    }
    Probe probe(**native, arguments);
    const int status = (*native)->application().run(probe);
    say("returned {}", status);
    return status;
}
