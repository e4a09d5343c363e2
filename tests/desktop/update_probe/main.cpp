// An application that does nothing but look for its updates, as soon as it runs; by itself where
// there is a file `in-background` beside its bundle, else as if the user had asked. It writes what
// happens to it to the file `events` there, and trusts the authority in the file `authority.pem`.
// It quits only for an update or for the session. "TestDies" in its Info dictionary makes it end
// "when asked" for its version, or "at its launch". As long as there is a file `hold-launch` there,
// a version that takes over does not come to that, and with a file `hold-end` none comes to its
// end.
#include "platform/Environment.h"
#include "platform/Headless.h"
#include "platform/NativePlatform.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>

namespace {

class UpdateProbe final : public platform::ApplicationDelegate, public platform::UpdateDelegate {
  public:
    UpdateProbe(platform::NativePlatform& native, std::filesystem::path events)
        : native_(native)
        , events_(std::move(events)) {}

    void applicationDidFinishLaunching() override {
        const auto version = native_.bundle().infoString("CFBundleVersion").value_or("none");
        if (native_.bundle().infoString("TestDies") == "at its launch") {
            std::_Exit(3);
        }
        if (version != "1") {
            waitWhileThereIs("hold-launch");
        }
        if (!native_.application().takeOver()) {
            return;
        }
        say("launched " + version);
        native_.notificationCenter().observe("SPUUpdaterWillRelaunchApplicationNotification",
                                             [this] {
                                                 say("will relaunch");
                                                 mayQuit_ = true;
                                             });
        updates_ = native_.updateFramework().makeStandardController(*this);
        if (updates_ && version == "1") {
            std::filesystem::exists(events_.parent_path() / "in-background")
                ? updates_->checkForUpdatesInBackground()
                : updates_->checkForUpdates();
        }
    }
    platform::TerminateReply applicationShouldTerminate() override {
        return mayQuit_ || native_.application().currentEvent() ? platform::TerminateReply::now
                                                                : platform::TerminateReply::cancel;
    }
    void applicationWillTerminate() override {
        say("will terminate");
        waitWhileThereIs("hold-end");
    }
    bool applicationShouldHandleReopen(bool /*hasVisibleWindows*/) override {
        say("reopen");
        if (updates_) {
            updates_->checkForUpdates();
        }
        return true;
    }
    bool applicationShouldTerminateAfterLastWindowClosed() override { return false; }

    [[nodiscard]] bool supportsGentleScheduledUpdateReminders() const override { return true; }
    [[nodiscard]] bool shouldHandleShowingScheduledUpdate(bool /*inImmediateFocus*/) override {
        return true;
    }
    void willHandleShowingUpdate(bool /*handledByFramework*/) override {}

  private:
    void say(const std::string& line) {
        std::ofstream(events_, std::ios::app) << line << std::endl;
    }

    void waitWhileThereIs(const char* name) {
        const auto file = events_.parent_path() / name;
        if (std::filesystem::exists(file)) {
            say(std::string("meets ") + name);
        }
        while (std::filesystem::exists(file)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    platform::NativePlatform& native_;
    std::filesystem::path events_;
    std::unique_ptr<platform::UpdateController> updates_;
    bool mayQuit_ = false;
};

std::filesystem::path runningBundle() {
    return std::filesystem::read_symlink("/proc/self/exe")
        .parent_path()
        .parent_path()
        .parent_path();
}

int sayVersion() {
    const auto info = platform::makeHeadlessPlatform(platform::currentEnvironment())
                          ->readInfoFile(runningBundle() / "Contents/Info.plist")
                          .value();
    const auto dies = info.find("TestDies");
    if (dies != info.end() && dies->second == "when asked") {
        return 127;
    }
    std::cout << "Example " << info.at("CFBundleShortVersionString").value_or("") << "\n";
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && arguments[1] == std::string_view("--version")) {
        return sayVersion();
    }
    const auto bundle = runningBundle();
    const auto native =
        platform::makeNativePlatform({.applicationId = "test.zorvane.update",
                                      .guardianExecutable = "none",
                                      .windowExecutable = ZORVANE_WINDOW,
                                      .updateAuthorities = bundle.parent_path() / "authority.pem"});
    if (!native) {
        return 1;
    }
    UpdateProbe probe(**native, bundle.parent_path() / "events");
    return (*native)->application().run(probe);
}
