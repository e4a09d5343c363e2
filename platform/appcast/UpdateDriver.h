// The course of an update: check, offer, download, install, relaunch. One thing at a time; a check
// that the user asks for takes over one that is under way by itself. What the user asked for shows
// its progress, "up to date" and errors; a scheduled check shows nothing but an offer, and that
// only when the delegate agrees, this copy can be replaced, and the version was not skipped.
//
// Scheduled checks come a day after the last successful one, ten seconds after the start at the
// earliest, and about an hour after one that failed. Nothing is downloaded before the user says so.
// Main thread only; work on files is done on a background queue. Facilities and delegate outlive
// stop().
#pragma once

#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "platform/UpdateFramework.h"
#include "platform/UserDefaults.h"
#include "platform/Workspace.h"
#include "platform/appcast/Download.h"
#include "platform/appcast/FirstStart.h"
#include "platform/appcast/InstallLocation.h"
#include "platform/appcast/StagedUpdate.h"
#include "platform/appcast/UpdateNotice.h"
#include "platform/appcast/UpdateUi.h"

#include <chrono>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform::appcast {

// Starts the program to follow this process, and blocks until it has taken over or it is certain
// that it does not, because of what happens to it, after `patience`, or since `isCancelled`, which
// it asks now and then, says so; then nothing of it is left. Called on background threads.
using StartSuccessor = std::function<std::expected<void, std::string>(
    const std::filesystem::path& program, std::chrono::milliseconds patience,
    const std::function<bool()>& isCancelled)>;

struct UpdateFacilities {
    HttpClient& http;
    MainQueue& mainQueue;
    BackgroundQueues& backgroundQueues;
    Clock& clock;
    UserDefaults& defaults;
    NotificationCenter& notifications;
    Application& application;
    Workspace& workspace;
    RunProgram runProgram;
    StartSuccessor startSuccessor;
    UpdateUi& ui;
    UpdateNotice& notice;
    Log& log;
};

struct UpdateProduct {
    std::string name;
    std::string identifier;
    std::string version;
    std::string displayVersion;
    std::filesystem::path bundle;
    std::filesystem::path program; // the one that runs
    std::string feedUrl;
    PublicKey key{};
    SystemDescription system;
    ReadInfo readInfo;
};

class UpdateDriver : public std::enable_shared_from_this<UpdateDriver> {
  public:
    // Also clears away what an earlier process left.
    [[nodiscard]] static std::shared_ptr<UpdateDriver>
    start(const UpdateFacilities& facilities, UpdateProduct product, UpdateDelegate& delegate);
    // The delegate is not asked any more, nothing is shown, and no bundle is exchanged.
    void stop();

    void checkForUpdates();
    void checkInBackground();
    void setAutomaticallyChecks(bool automatically);

  private:
    enum class Stage { idle, checking, showing, downloading, installing };
    struct InstallFailure {
        std::string reason;
        bool oldOneIsBack = true;
    };
    using Installed = std::expected<std::shared_ptr<StagedUpdate>, InstallFailure>;

    UpdateDriver(const UpdateFacilities& facilities, UpdateProduct product,
                 UpdateDelegate& delegate);

    template <typename... Arguments>
    std::function<void(Arguments...)> onMain(void (UpdateDriver::*step)(Arguments...));
    void clearLeftovers();
    void scheduleTick(std::chrono::seconds wait);
    void tick();
    void begin(bool byUser);
    void feedArrived(HttpResult result);
    void checkFailed(const std::string& reason);
    [[nodiscard]] Installation installation();
    [[nodiscard]] std::int64_t rolloutGroup();
    void offer();
    void offerUnasked();
    void announce();
    void noticeOpened();
    void showOffer(InstallLocation location);
    void forgetNotice();
    void answered(OfferAnswer answer);
    void download();
    void showProgress();
    void downloaded(HttpResult result);
    void install();
    [[nodiscard]] static Installed installNow(const Download& archive, const UpdatePlan& plan,
                                              const RunProgram& runProgram,
                                              const StartSuccessor& startSuccessor);
    void installed(Installed result);
    void installFailed(const InstallFailure& failure);
    void show(const UpdatePanel& panel);
    void finish();
    [[nodiscard]] UpdateNames names() const;
    [[nodiscard]] UpdatePlan plan() const;

    const UpdateFacilities facilities_;
    const UpdateProduct product_;
    UpdateDelegate& delegate_;
    bool stopped_ = false;
    bool automatic_ = false;
    bool ticking_ = false;
    bool isFirstCheck_ = true;
    SteadyTime notBefore_;
    Stage stage_ = Stage::idle;
    bool byUser_ = false;
    unsigned round_ = 0; // answers to earlier rounds are late
    AppcastItem item_;
    std::optional<AppcastItem> announced_; // by the notification that is there
    std::shared_ptr<Download> download_;
    std::shared_ptr<StagedUpdate> staged_; // after the exchange, until the process ends
};

} // namespace platform::appcast
