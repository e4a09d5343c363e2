// With COCOA_HOST_DRIVER set, a program can be driven from outside: it reads commands on standard
// input, a line each, performs them by way of the main run loop as a user's events come, and
// answers on standard output with lines that begin with "> ", and one that is ">" alone.
//
//   menu            opens the status item's menu and lists it: "item", "checked", "disabled" and
//   the
//                   title, or "separator"
//   choose TITLE    opens that menu and chooses the item
//   tool-tip        the status item's
//   key LETTER      presses Command and the letter
//   windows         the titles of the visible windows with a page
//   addresses       what the latest page was told to load
//   close           closes the window with the page as its button does
//   reopen          a click on the icon in the Dock
//   quit [WHY]      the Apple event "quit", with that reason; without: terminate: by itself
//   policy          the activation policy
//   opened          the URLs that were opened
//   modal           whether an alert is up
//   answer INDEX    clicks on the alert's button
//   signals         the numbers of the signals that dispatch sources have taken over
#import <AppKit/AppKit.h>

#include "tests/cocoa_host/frameworks/doubles/AppleEvents.h"
#include "tests/cocoa_host/frameworks/doubles/Desktop.h"
#include "tests/cocoa_host/frameworks/doubles/MainLoop.h"
#include "tests/cocoa_host/frameworks/doubles/Modal.h"
#include "tests/cocoa_host/frameworks/doubles/SignalSources.h"
#include "tests/cocoa_host/frameworks/doubles/StatusItems.h"
#include "tests/cocoa_host/frameworks/doubles/WebKitHost.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <thread>

namespace cocoa_host {
namespace {

void say(const std::string& line) { std::printf("> %s\n", line.c_str()); }

NSString* toText(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()]; }

NSStatusItem* statusItem() { return statusItems().lastObject; }

std::uint32_t code(const std::string& letters) {
    std::uint32_t value = 0;
    for (const char letter : letters) {
        value = (value << 8) | static_cast<unsigned char>(letter);
    }
    return value;
}

void listMenu(const std::string& /*argument*/) {
    openMenu(statusItem());
    NSMenu* const menu = statusItem().menu;
    for (NSInteger index = 0; index < menu.numberOfItems; ++index) {
        NSMenuItem* const item = [menu itemAtIndex:index];
        const char* const kind = item.isSeparatorItem                  ? "separator"
                                 : item.state == NSControlStateValueOn ? "checked"
                                 : item.enabled                        ? "item"
                                                                       : "disabled";
        say(item.isSeparatorItem ? kind : std::string(kind) + " " + item.title.UTF8String);
    }
}

void choose(const std::string& title) {
    openMenu(statusItem());
    NSMenu* const menu = statusItem().menu;
    for (NSInteger index = 0; index < menu.numberOfItems; ++index) {
        if (title == [menu itemAtIndex:index].title.UTF8String) {
            [menu performActionForItemAtIndex:index];
            return;
        }
    }
    say("no such item");
}

void tellToolTip(const std::string& /*argument*/) {
    NSString* const text = statusItem().button.toolTip;
    say(text == nil ? "" : text.UTF8String);
}

void pressKey(const std::string& letter) {
    NSEvent* const event = [NSEvent keyEventWithType:NSEventTypeKeyDown
                                            location:CGPoint {}
                                       modifierFlags:NSEventModifierFlagCommand
                                           timestamp:0
                                        windowNumber:0
                                             context:nil
                                          characters:toText(letter)
                         charactersIgnoringModifiers:toText(letter)
                                           isARepeat:NO
                                             keyCode:0];
    if (![NSApplication.sharedApplication.mainMenu performKeyEquivalent:event]) {
        say("no such key");
    }
}

bool hasPage(NSWindow* window) { return [window.contentView isKindOfClass:[WKWebView class]]; }

void listWindows(const std::string& /*argument*/) {
    for (NSWindow* window in NSApplication.sharedApplication.windows) {
        if (window.visible && hasPage(window)) {
            say(window.title.UTF8String);
        }
    }
}

void listAddresses(const std::string& /*argument*/) {
    for (NSURLRequest* request in WKWebView.hostLatest.hostRequests) {
        say(request.URL.absoluteString.UTF8String);
    }
}

void closeWindow(const std::string& /*argument*/) {
    [WKWebView.hostLatest.window performClose:nil];
}

void reopen(const std::string& /*argument*/) {
    NSApplication* const application = NSApplication.sharedApplication;
    bool visible = false;
    for (NSWindow* window in application.windows) {
        visible = visible || (window.visible && hasPage(window));
    }
    const bool handled = [application.delegate applicationShouldHandleReopen:application
                                                           hasVisibleWindows:visible];
    say(handled ? "yes" : "no");
}

void quit(const std::string& why) {
    if (why.empty()) {
        [NSApplication.sharedApplication terminate:nil];
        return;
    }
    const CurrentAppleEvent event(code("aevt"), code("quit"), code(why));
    [NSApplication.sharedApplication terminate:nil];
}

void tellPolicy(const std::string& /*argument*/) {
    say(desktop().activationPolicy == NSApplicationActivationPolicyRegular ? "regular"
                                                                           : "accessory");
}

void listOpened(const std::string& /*argument*/) {
    for (const std::string& url : desktop().openedUrls) {
        say(url);
    }
}

void tellModal(const std::string& /*argument*/) {
    say(NSApplication.sharedApplication.modalWindow == nil ? "no" : "yes");
}

void answer(const std::string& index) { answerModal(NSAlertFirstButtonReturn + std::stoi(index)); }

void listSignals(const std::string& /*argument*/) {
    for (const int number : takenSignals()) {
        say(std::to_string(number));
    }
}

const std::map<std::string, std::function<void(const std::string&)>>& commands() {
    static const std::map<std::string, std::function<void(const std::string&)>> all{
        {"menu", listMenu},     {"choose", choose},       {"tool-tip", tellToolTip},
        {"key", pressKey},      {"windows", listWindows}, {"addresses", listAddresses},
        {"close", closeWindow}, {"reopen", reopen},       {"quit", quit},
        {"policy", tellPolicy}, {"opened", listOpened},   {"modal", tellModal},
        {"answer", answer},     {"signals", listSignals}};
    return all;
}

void perform(const std::string& line) {
    const std::size_t blank = line.find(' ');
    const auto command = commands().find(line.substr(0, blank));
    if (command == commands().end()) {
        say("no such command");
    } else {
        command->second(blank == std::string::npos ? "" : line.substr(blank + 1));
    }
    std::puts(">");
    std::fflush(stdout);
}

void readCommands() {
    char* buffer = nullptr; // streams are not ready before main()
    std::size_t size = 0;
    for (ssize_t count = ::getline(&buffer, &size, stdin); count > 0;
         count = ::getline(&buffer, &size, stdin)) {
        const std::string line(buffer, static_cast<std::size_t>(count) - 1);
        performOnMainLoop([line] { perform(line); });
        wakeMainLoop();
    }
    std::free(buffer);
}

[[gnu::constructor]] void start() {
    if (std::getenv("COCOA_HOST_DRIVER") != nullptr) {
        ::unsetenv("COCOA_HOST_DRIVER"); // not the children's
        std::thread(readCommands).detach();
    }
}

} // namespace
} // namespace cocoa_host
