// An application that does nothing but look for its updates, as soon as it runs. It writes what
// happens to it to the file `events` beside its bundle, and trusts the authority in the file
// `authority.pem` there. It quits only for an update or for the session.
#include "platform/NativePlatform.h"

#include <fstream>
#include <string>

namespace {

class UpdateProbe final : public platform::ApplicationDelegate, public platform::UpdateDelegate {
  public:
    UpdateProbe(platform::NativePlatform& native, std::filesystem::path events)
        : native_(native)
        , events_(std::move(events)) {}

    void applicationDidFinishLaunching() override {
        const auto version = native_.bundle().infoString("CFBundleVersion").value_or("none");
        say("launched " + version);
        native_.notificationCenter().observe("SPUUpdaterWillRelaunchApplicationNotification",
                                             [this] {
                                                 say("will relaunch");
                                                 mayQuit_ = true;
                                             });
        updates_ = native_.updateFramework().makeStandardController(*this);
        if (updates_ && version == "1") {
            updates_->checkForUpdates();
        }
    }
    platform::TerminateReply applicationShouldTerminate() override {
        return mayQuit_ || native_.application().currentEvent() ? platform::TerminateReply::now
                                                                : platform::TerminateReply::cancel;
    }
    void applicationWillTerminate() override { say("will terminate"); }
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

    platform::NativePlatform& native_;
    std::filesystem::path events_;
    std::unique_ptr<platform::UpdateController> updates_;
    bool mayQuit_ = false;
};

} // namespace

int main() {
    const auto bundle =
        std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path().parent_path();
    const auto native = platform::makeNativePlatform(
        {.applicationId = "test.zorvane.update",
         .guardianExecutable = "none",
         .windowExecutable = ZORVANE_WINDOW,
         .isNewerVersion = [](std::string_view a, std::string_view than) { return a > than; },
         .updateAuthorities = bundle.parent_path() / "authority.pem"});
    if (!native) {
        return 1;
    }
    UpdateProbe probe(**native, bundle.parent_path() / "events");
    return (*native)->application().run(probe);
}
