#include "platform/appcast/UpdateDriver.h"

#include "platform/ErrnoText.h"
#include "platform/appcast/CheckSchedule.h"
#include "platform/appcast/HandOver.h"

#include <fmt/format.h>
#include <sodium.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace platform::appcast {
namespace {

constexpr std::chrono::seconds afterStart{10};
constexpr std::chrono::hours afterFailure{1};
constexpr std::chrono::seconds feedTimeout{30};
constexpr std::chrono::milliseconds betweenProgress{100};
// The wall clock is looked at again that often: it can be set, and the machine can sleep.
constexpr std::chrono::seconds longestWait = std::chrono::hours(1);
constexpr std::chrono::seconds whileDue = std::chrono::minutes(10);
constexpr std::string_view lastCheckKey = "updates.lastCheck";
constexpr std::string_view rolloutGroupKey = "updates.rolloutGroup"; // from 1
constexpr std::string_view relaunchNotification = "SPUUpdaterWillRelaunchApplicationNotification";

std::string skippedKey(const std::string& version) {
    return "updates.skipped." + version;
}

HttpRequest feedRequest(const std::string& url) {
    HttpRequest request;
    request.url = url;
    request.timeout = feedTimeout;
    request.maxBodyBytes = largestFeed;
    request.maxRedirects = 5;
    request.onlyHttps = true;
    return request;
}

} // namespace

std::shared_ptr<UpdateDriver> UpdateDriver::start(const UpdateFacilities& facilities,
                                                  UpdateProduct product, UpdateDelegate& delegate) {
    const std::shared_ptr<UpdateDriver> driver(
        new UpdateDriver(facilities, std::move(product), delegate));
    driver->clearLeftovers();
    facilities.mainQueue.postAfter(afterStart, [weak = std::weak_ptr(driver)] {
        if (const auto self = weak.lock()) {
            self->clearLeftovers();
        }
    });
    return driver;
}

UpdateDriver::UpdateDriver(const UpdateFacilities& facilities, UpdateProduct product,
                           UpdateDelegate& delegate)
    : facilities_(facilities)
    , product_(std::move(product))
    , delegate_(delegate)
    , notBefore_(facilities.clock.now() + afterStart) {}

void UpdateDriver::stop() {
    stopped_ = true;
    ++round_;
    if (download_) {
        download_->cancel();
    }
    forgetNotice();
    if (stage_ != Stage::idle) {
        facilities_.ui.close();
    }
}

// The step on the main thread, unless by then the round it belongs to is over.
template <typename... Arguments>
std::function<void(Arguments...)> UpdateDriver::onMain(void (UpdateDriver::*step)(Arguments...)) {
    return [weak = weak_from_this(), &queue = facilities_.mainQueue, round = round_,
            step](Arguments... arguments) {
        queue.post([weak, round, step, values = std::make_tuple(std::move(arguments)...)] {
            const auto self = weak.lock();
            if (self && self->round_ == round) {
                std::apply([&](auto... each) { ((*self).*step)(std::move(each)...); }, values);
            }
        });
    };
}

// More than once: the process before this one may still hold its bundle at the start.
void UpdateDriver::clearLeftovers() {
    facilities_.backgroundQueues.global(QualityOfService::utility).post([bundle = product_.bundle] {
        removeLeftovers(bundle);
    });
}

void UpdateDriver::setAutomaticallyChecks(bool automatically) {
    automatic_ = automatically;
    if (automatic_ && !std::exchange(ticking_, true)) {
        scheduleTick(afterStart);
    }
}

void UpdateDriver::scheduleTick(std::chrono::seconds wait) {
    facilities_.mainQueue.postAfter(wait, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->tick();
        }
    });
}

void UpdateDriver::tick() {
    if (stopped_ || !automatic_) {
        ticking_ = false;
        return;
    }
    clearLeftovers();
    const auto wait =
        untilNextCheck(facilities_.defaults.integer(lastCheckKey), facilities_.clock.wallNow());
    if (wait.count() == 0 && stage_ == Stage::idle && facilities_.clock.now() >= notBefore_) {
        begin(false);
    }
    scheduleTick(wait.count() == 0 ? whileDue : std::min(wait, longestWait));
}

void UpdateDriver::checkForUpdates() {
    if (stage_ == Stage::idle) {
        begin(true);
        return;
    }
    if (stage_ == Stage::checking && !std::exchange(byUser_, true)) {
        facilities_.ui.show(checkingPanel(), [this](std::size_t) { finish(); });
        return;
    }
    facilities_.ui.bringToFront();
}

void UpdateDriver::checkInBackground() {
    if (stage_ == Stage::idle) {
        begin(false);
    }
}

void UpdateDriver::begin(bool byUser) {
    if (stopped_) {
        return;
    }
    ++round_;
    stage_ = Stage::checking;
    byUser_ = byUser;
    if (byUser) {
        facilities_.ui.show(checkingPanel(), [this](std::size_t) { finish(); });
    }
    facilities_.http.send(feedRequest(product_.feedUrl), onMain(&UpdateDriver::feedArrived));
}

void UpdateDriver::feedArrived(HttpResult result) {
    if (!result) {
        facilities_.log.write("cannot check for updates: " + result.error().message);
    }
    if (const auto failure = httpFailure(result); !failure.empty()) {
        checkFailed(failure);
        return;
    }
    const auto items = parseAppcast(result->body);
    if (!items) {
        checkFailed("the list of updates cannot be used: " + items.error());
        return;
    }
    facilities_.defaults.setInteger(lastCheckKey, secondsSince1970(facilities_.clock.wallNow()));
    forgetNotice();
    if (auto item = newestItem(*items, installation())) {
        item_ = *std::move(item);
        offer();
    } else if (byUser_) {
        show(upToDatePanel(names()));
    } else {
        finish();
    }
    isFirstCheck_ = false;
}

Installation UpdateDriver::installation() {
    return {.version = product_.version,
            .system = product_.system,
            .now = secondsSince1970(facilities_.clock.wallNow()),
            .rolloutGroup = byUser_ ? std::nullopt : std::optional(rolloutGroup())};
}

// Drawn once for every user.
std::int64_t UpdateDriver::rolloutGroup() {
    const auto known = facilities_.defaults.integer(rolloutGroupKey);
    if (known >= 1 && known <= rolloutGroups) {
        return known - 1;
    }
    const auto drawn = static_cast<std::int64_t>(::randombytes_uniform(rolloutGroups));
    facilities_.defaults.setInteger(rolloutGroupKey, drawn + 1);
    return drawn;
}

void UpdateDriver::checkFailed(const std::string& reason) {
    notBefore_ = facilities_.clock.now() + afterFailure;
    if (byUser_) {
        auto sentence = reason;
        sentence.front() = static_cast<char>(std::toupper(sentence.front()));
        show(checkFailedPanel(sentence));
        return;
    }
    facilities_.log.write("cannot check for updates: " + reason);
    finish();
}

void UpdateDriver::offer() {
    if (!byUser_) {
        offerUnasked();
        return;
    }
    delegate_.willHandleShowingUpdate(true);
    showOffer(installLocation(product_.bundle));
}

void UpdateDriver::offerUnasked() {
    const bool isSkipped = facilities_.defaults.boolean(skippedKey(item_.version)) &&
                           !item_.critical.holdsFor(product_.version);
    const auto location = installLocation(product_.bundle);
    if (isSkipped || location != InstallLocation::ours) {
        finish();
        return;
    }
    const bool gently = delegate_.supportsGentleScheduledUpdateReminders();
    const bool agreed = delegate_.shouldHandleShowingScheduledUpdate(!gently && isFirstCheck_);
    delegate_.willHandleShowingUpdate(agreed);
    if (!agreed) {
        finish();
    } else if (gently) {
        announce();
        finish();
    } else {
        showOffer(location);
    }
}

void UpdateDriver::announce() {
    announced_ = item_;
    facilities_.notice.show(offerNotification(names()), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->noticeOpened();
        }
    });
}

void UpdateDriver::noticeOpened() {
    const auto item = std::exchange(announced_, std::nullopt);
    if (stopped_ || !item || stage_ == Stage::checking) {
        checkForUpdates();
        return;
    }
    if (stage_ != Stage::idle) {
        facilities_.ui.bringToFront();
        return;
    }
    ++round_;
    item_ = *item;
    byUser_ = true;
    showOffer(installLocation(product_.bundle));
}

void UpdateDriver::forgetNotice() {
    if (std::exchange(announced_, std::nullopt)) {
        facilities_.notice.withdraw();
    }
}

void UpdateDriver::showOffer(InstallLocation location) {
    switch (location) {
    case InstallLocation::ours:
        stage_ = Stage::showing;
        facilities_.ui.show(offerPanel(names()), [this](std::size_t answer) {
            answered(static_cast<OfferAnswer>(answer));
        });
        return;
    case InstallLocation::systemsOwn:
        show(systemsOwnPanel(names()));
        return;
    case InstallLocation::notWritable:
        show(notWritablePanel(names()));
        return;
    }
}

void UpdateDriver::answered(OfferAnswer answer) {
    switch (answer) {
    case OfferAnswer::goOn:
        if (!names().isInformational) {
            download();
            return;
        }
        facilities_.workspace.openUrl(item_.page);
        break;
    case OfferAnswer::skip:
        facilities_.defaults.setBoolean(skippedKey(item_.version), true);
        break;
    case OfferAnswer::later:
        break;
    }
    finish();
}

void UpdateDriver::download() {
    auto file = makeNamelessFile(product_.bundle.parent_path());
    if (!file) {
        installFailed({"the download cannot be saved: " + errnoText(file.error())});
        return;
    }
    stage_ = Stage::downloading;
    download_ = std::make_shared<Download>(*std::move(file), item_.length);
    facilities_.ui.show(downloadPanel(names()), [this](std::size_t) {
        download_->cancel();
        finish();
    });
    // One report on its way at a time.
    const auto reported = std::make_shared<std::atomic<bool>>(false);
    auto report = [weak = weak_from_this(), &queue = facilities_.mainQueue, round = round_,
                   reported] {
        if (reported->exchange(true)) {
            return;
        }
        queue.postAfter(betweenProgress, [weak, round, reported] {
            *reported = false;
            const auto self = weak.lock();
            if (self && self->round_ == round) {
                self->showProgress();
            }
        });
    };
    facilities_.http.send(Download::request(download_, item_.url, std::move(report)),
                          onMain(&UpdateDriver::downloaded));
}

void UpdateDriver::showProgress() {
    if (stage_ == Stage::downloading) {
        const auto received = download_->received();
        const auto length = download_->length();
        facilities_.ui.setProgress(progressText(received, length),
                                   static_cast<double>(received) / static_cast<double>(length));
    }
}

void UpdateDriver::downloaded(HttpResult result) {
    if (!result) {
        facilities_.log.write("cannot download the update: " + result.error().message);
    }
    if (const auto failure = download_->failure(result); !failure.empty()) {
        installFailed({failure});
        return;
    }
    install();
}

void UpdateDriver::install() {
    stage_ = Stage::installing;
    facilities_.ui.show(installPanel(names()), [](std::size_t) {});
    facilities_.backgroundQueues.global(QualityOfService::userInitiated)
        .post([archive = download_, plan = plan(), runProgram = facilities_.runProgram,
               startSuccessor = facilities_.startSuccessor,
               done = onMain(&UpdateDriver::installed)] {
            done(installNow(*archive, plan, runProgram, startSuccessor));
        });
}

// On a background thread. However it ends, one of the two bundles is in its place and the other
// one is not needed any more.
UpdateDriver::Installed UpdateDriver::installNow(const Download& archive, const UpdatePlan& plan,
                                                 const RunProgram& runProgram,
                                                 const StartSuccessor& startSuccessor) {
    const auto failed = [](std::string reason, bool oldOneIsBack = true) {
        return std::unexpected(InstallFailure{std::move(reason), oldOneIsBack});
    };
    auto update = StagedUpdate::prepare(archive.file(), plan);
    if (!update) {
        return failed(update.error());
    }
    // Whoever quits meanwhile is not kept waiting, and finds what he left.
    const auto unlessCancelled = [&](const auto& step) -> std::expected<void, std::string> {
        return archive.isCancelled() ? std::unexpected(std::string("it was cancelled")) : step();
    };
    if (auto answers = unlessCancelled([&] {
            return answersWithItsVersion(update->fresh(), plan.readInfo, runProgram,
                                         archive.cancellation());
        });
        !answers) {
        return failed(answers.error());
    }
    if (auto activated = unlessCancelled([&] { return update->activate(); }); !activated) {
        return failed(activated.error());
    }
    const auto started = startSuccessor(programOf(plan.installed, plan.readInfo), handOverPatience,
                                        [&archive] { return archive.isCancelled(); });
    if (started) {
        return std::make_shared<StagedUpdate>(*std::move(update));
    }
    const auto reason = "the new version does not start: " + started.error();
    if (const auto reverted = update->revert(); !reverted) {
        return failed(
            fmt::format("{}, and the old one cannot be put back: {}", reason, reverted.error()),
            false);
    }
    return failed(reason);
}

void UpdateDriver::installed(Installed result) {
    if (!result) {
        installFailed(result.error());
        return;
    }
    download_.reset();
    staged_ = *std::move(result);
    facilities_.log.write(fmt::format("updated to {} {}", product_.name, item_.displayVersion));
    facilities_.ui.close();
    // Handlers of the notification run on the main queue: the quit comes after them.
    facilities_.notifications.post(relaunchNotification);
    facilities_.mainQueue.post(
        [&application = facilities_.application] { application.terminate(); });
}

void UpdateDriver::installFailed(const InstallFailure& failure) {
    facilities_.log.write(fmt::format("{} {} was not installed: {}", product_.name,
                                      item_.displayVersion, failure.reason));
    download_.reset();
    show(installFailedPanel(names(), failure.reason, failure.oldOneIsBack));
}

// A panel after which nothing more happens.
void UpdateDriver::show(const UpdatePanel& panel) {
    stage_ = Stage::showing;
    facilities_.ui.show(panel, [this](std::size_t) { finish(); });
}

void UpdateDriver::finish() {
    ++round_;
    stage_ = Stage::idle;
    download_.reset();
}

UpdateNames UpdateDriver::names() const {
    return {.application = product_.name,
            .installed = product_.displayVersion,
            .offered = item_.displayVersion,
            .releaseNotesUrl = item_.releaseNotesUrl,
            .isCritical = item_.critical.holdsFor(product_.version),
            .isInformational = item_.informational.holdsFor(product_.version)};
}

UpdatePlan UpdateDriver::plan() const {
    return {.installed = product_.bundle,
            .length = item_.length,
            .signature = item_.signature,
            .key = product_.key,
            .expected = {.identifier = product_.identifier,
                         .version = item_.version,
                         .runningProgram = product_.program},
            .readInfo = product_.readInfo};
}

} // namespace platform::appcast
