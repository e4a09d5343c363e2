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
//   --alert MESSAGE             asks with a modal alert before the window, with the buttons Yes,
//                               Perhaps and No_thing
//   --plain-alert MESSAGE       the same without buttons of its own
//   --stop-milliseconds N       applicationWillTerminate takes that long
//   --main-menu                 has a main menu with every standard command
//   --status TITLE              has a status item with that title and a menu of a few items
//   --symbol NAME               the status item shows that symbol instead, if there is one
//   --tool-tip TEXT             and has that tool tip
//   --copy TEXT                 puts TEXT on the clipboard at launch
//   --open URL                  opens URL at launch
//   --relaunch BUNDLE           starts BUNDLE as a new instance at launch, then ends
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
        ask();
        if (has("--window")) {
            makeWindow();
            window_->makeKeyAndOrderFront();
        }
        if (has("--main-menu")) {
            native_.menuBar().setMainMenu(mainMenu());
        }
        if (has("--status")) {
            makeStatusItem();
        }
        if (has("--copy")) {
            native_.pasteboard().setText(arguments_.at("--copy"));
        }
        if (has("--open")) {
            native_.workspace().openUrl(arguments_.at("--open"));
        }
        if (has("--relaunch")) {
            native_.workspace().openNewInstance(
                arguments_.at("--relaunch"), [this](const platform::OpenResult& result) {
                    say("relaunched: {} {}", result.launched, result.error);
                    native_.application().terminate();
                });
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

    void ask() {
        platform::Alert alert;
        alert.informativeText = "This is a smaller explanation.";
        if (has("--alert")) {
            alert.message = arguments_.at("--alert");
            alert.buttons = {"Yes", "Perhaps", "No_thing"};
        } else if (has("--plain-alert")) {
            alert.message = arguments_.at("--plain-alert");
        } else {
            return;
        }
        native_.mainQueue().post([] { say("a task ran"); });
        say("answered {}", native_.alerts().runModal(alert));
    }

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

    static platform::Menu mainMenu() {
        using enum platform::StandardAction;
        return {
            {.submenu = {{.title = "About probe", .standardAction = orderFrontStandardAboutPanel},
                         {.separator = true},
                         {.title = "Hide probe", .keyEquivalent = "h", .standardAction = hide},
                         {.separator = true},
                         {.title = "Quit probe",
                          .keyEquivalent = "q",
                          .standardAction = terminate}}},
            {.title = "Edit",
             .submenu = {{.title = "Undo", .keyEquivalent = "z", .standardAction = undo},
                         {.title = "Redo", .keyEquivalent = "Z", .standardAction = redo},
                         {.separator = true},
                         {.title = "Cut", .keyEquivalent = "x", .standardAction = cut},
                         {.title = "Copy", .keyEquivalent = "c", .standardAction = copy},
                         {.title = "Paste", .keyEquivalent = "v", .standardAction = paste},
                         {.title = "Select All",
                          .keyEquivalent = "a",
                          .standardAction = selectAll}}},
            {.title = "Window",
             .submenu = {{.title = "Minimize",
                          .keyEquivalent = "m",
                          .standardAction = performMiniaturize},
                         {.title = "Close", .keyEquivalent = "w", .standardAction = performClose}},
             .listsWindows = true}};
    }

    void makeStatusItem() {
        statusItem_ = native_.statusBar().makeStatusItem();
        if (!has("--symbol") || !statusItem_->setSymbol(arguments_.at("--symbol"), "Probe")) {
            statusItem_->setTitle(arguments_.at("--status"));
        }
        if (has("--tool-tip")) {
            statusItem_->setToolTip(arguments_.at("--tool-tip"));
        }
        statusItem_->onMenuNeedsUpdate = [this] {
            say("menu opens, {}", ++openings_);
            return statusMenu();
        };
        statusItem_->menuChanged(statusMenu());
    }

    platform::Menu statusMenu() {
        return {{.title = fmt::format("Opened: {}", openings_), .enabled = false},
                {.separator = true},
                {.title = "Say_hello", .action = [] { say("chosen: hello"); }},
                {.title = "Never", .enabled = false, .action = [] { say("chosen: never"); }},
                {.title = "Checked", .checked = true, .action = [] { say("chosen: checked"); }},
                {.separator = true},
                {.title = "Stop", .action = [this] { native_.application().terminate(); }}};
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
    std::unique_ptr<platform::StatusItem> statusItem_;
    int openings_ = 0;
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
    const auto native = platform::makeNativePlatform({.applicationId = arguments.at("--id"),
                                                      .guardianExecutable = "none",
                                                      .windowExecutable = ZORVANE_WINDOW});
    if (!native) {
        fmt::print(stderr, "{}\n", native.error());
        return 1;
    }
    Probe probe(**native, arguments);
    const int status = (*native)->application().run(probe);
    say("returned {}", status);
    return status;
}
