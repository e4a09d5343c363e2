#include "platform/linux/RemoteWebWindow.h"

#include "platform/Utf8.h"

#include <boost/json/parse.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>

namespace platform::desktop {
namespace {

// Long enough to wait for the end of a drag, short enough that a crash costs nothing.
constexpr unsigned saveDelayMilliseconds = 500;
// What a hostile window program could say: nothing beyond this is believed.
constexpr int largestSide = std::numeric_limits<short>::max();
constexpr std::size_t longestText = std::size_t{64} * 1024;
constexpr std::size_t longestReason = 500;
constexpr std::size_t longestBody = std::size_t{1} << 20;
constexpr std::size_t deepestBody = 64;

std::uint32_t secondsOf(std::chrono::seconds time) {
    return static_cast<std::uint32_t>(
        std::clamp<std::chrono::seconds::rep>(time.count(), 1, std::numeric_limits<int>::max()));
}

// A page that can be asked for again by its address alone.
bool canBeLoadedAgain(const std::string& url) {
    return url.starts_with("http://") || url.starts_with("https://");
}

boost::json::value bodyOf(const std::string& text) {
    boost::json::error_code error;
    boost::json::parse_options options;
    options.max_depth = deepestBody + 1;
    boost::json::value body = boost::json::parse(text, error, {}, options);
    return error ? boost::json::value(nullptr) : body;
}

} // namespace

RemoteWebWindow::RemoteWebWindow(RemoteWebWindows& all, const WebWindowOptions& options)
    : all_(all)
    , host_(all.host_)
    , id_(host_.newId())
    , options_(options) {
    all_.windows_[id_] = this;
    make();
}

RemoteWebWindow::~RemoteWebWindow() {
    saveSize();
    *alive_ = false;
    all_.windows_.erase(id_);
    host_.tell("DropWindow", id_);
}

void RemoteWebWindow::make() {
    std::vector<std::tuple<std::string, bool>> scripts;
    for (const UserScript& script : options_.userScripts) {
        scripts.emplace_back(script.source, script.when == ScriptInjectionTime::documentStart);
    }
    host_.tell("MakeWindow", id_, options_.title, std::int32_t{options_.contentWidth},
               std::int32_t{options_.contentHeight}, std::int32_t{options_.minimumWidth},
               std::int32_t{options_.minimumHeight}, options_.closable, options_.resizable,
               options_.inspectable, options_.backForwardGestures, options_.userAgent, scripts,
               static_cast<std::uint32_t>(options_.sandbox));
}

void RemoteWebWindow::sayAgain() {
    make();
    if (size_) {
        host_.tell("SetSize", id_, std::int32_t{size_->width}, std::int32_t{size_->height},
                   size_->maximized);
    }
    for (const auto& [name, handler] : handlers_) {
        host_.tell("AddScriptHandler", id_, name);
    }
    for (const auto& cookie : std::vector(cookies_)) {
        plant(cookie);
    }
    if (!networkAllowed_) {
        host_.tell("SetNetworkAllowed", id_, networkAllowed_);
    }
    if (!hasLostItsPage()) {
        load();
    }
    if (visible_) {
        host_.tell("ShowWindow", id_, turn_, std::string());
    }
}

bool RemoteWebWindow::hasLostItsPage() const {
    return !networkAllowed_ && page_ && !page_->url.empty();
}

// As if the user had closed it.
void RemoteWebWindow::gaveUp() {
    for (const auto& cookie : std::vector(cookies_)) {
        if (const auto completion = std::exchange(cookie->completion, {})) {
            completion();
        }
    }
}

void RemoteWebWindow::setFrameAutosaveName(std::string_view name) {
    frame_.emplace(all_.defaults_, name);
    if (const auto size = frame_->restore({.width = largestSide, .height = largestSide})) {
        size_ = *size;
        host_.tell("SetSize", id_, std::int32_t{size->width}, std::int32_t{size->height},
                   size->maximized);
    }
}

void RemoteWebWindow::makeKeyAndOrderFront() {
    visible_ = true;
    ++turn_;
    host_.tell("ShowWindow", id_, turn_, all_.tokens_.take());
    host_.require();
    host_.watch();
}

void RemoteWebWindow::orderOut() {
    visible_ = false;
    ++turn_;
    saveSize();
    host_.tell("HideWindow", id_, turn_);
}

void RemoteWebWindow::setTitle(std::string_view title) {
    options_.title = title;
    host_.tell("SetTitle", id_, options_.title);
}

void RemoteWebWindow::addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) {
    const std::string key(name);
    handlers_[key] = std::move(handler);
    host_.tell("AddScriptHandler", id_, key);
}

std::optional<ScriptMessageHandler> RemoteWebWindow::handlerOf(const std::string& name) const {
    const auto found = handlers_.find(name);
    return found == handlers_.end() ? std::nullopt : std::optional(found->second);
}

void RemoteWebWindow::setCookie(const WebCookie& cookie, std::function<void()> completion) {
    cookies_.push_back(
        std::make_shared<Cookie>(Cookie{.value = cookie, .completion = std::move(completion)}));
    host_.require();
    if (host_.isRunning()) {
        plant(cookies_.back());
    }
}

// A window program that died before it answered is asked for the cookie again, in sayAgain().
void RemoteWebWindow::plant(const std::shared_ptr<Cookie>& cookie) {
    const WebCookie& value = cookie->value;
    host_.ask<>(
        "SetCookie",
        [this, cookie, alive = alive_](std::optional<std::tuple<>> answer) {
            if (!answer && *alive && !host_.isRunning()) {
                return;
            }
            if (const auto completion = std::exchange(cookie->completion, {})) {
                completion();
            }
        },
        id_, value.name, value.value, value.domain, value.path,
        static_cast<std::int64_t>(
            std::chrono::floor<std::chrono::seconds>(value.expires.time_since_epoch()).count()),
        value.secure);
}

void RemoteWebWindow::loadHtml(std::string_view html) {
    page_ = Page{.url = {}, .html = std::string(html)};
    shownUrl_.clear();
    load();
}

void RemoteWebWindow::loadUrl(const std::string& url, std::chrono::seconds timeout) {
    page_ = Page{.url = url, .html = {}, .timeout = timeout};
    shownUrl_.clear();
    load();
}

void RemoteWebWindow::setNetworkAllowed(bool allowed) {
    if (std::exchange(networkAllowed_, allowed) != allowed) {
        host_.tell("SetNetworkAllowed", id_, allowed);
    }
}

void RemoteWebWindow::load() {
    tellInterests();
    if (!page_) {
        return;
    }
    if (page_->url.empty()) {
        host_.tell("LoadHtml", id_, page_->html);
    } else {
        host_.tell("LoadUrl", id_, canBeLoadedAgain(shownUrl_) ? shownUrl_ : page_->url,
                   secondsOf(page_->timeout));
    }
    host_.watch();
}

void RemoteWebWindow::tellInterests() {
    host_.tell("SetInterests", id_, static_cast<bool>(decideNavigationPolicy),
               static_cast<bool>(onDidFinishNavigation));
}

void RemoteWebWindow::closed(std::uint64_t turn) {
    if (turn != turn_ || !visible_) {
        return; // it was shown or hidden since
    }
    visible_ = false;
    saveSize();
    if (const auto willClose = onWillClose) {
        willClose();
    }
}

void RemoteWebWindow::resized(const WindowSize& size) {
    if (size.width < 1 || size.height < 1 || size.width > largestSide ||
        size.height > largestSide || size_ == size) {
        return;
    }
    size_ = size;
    if (frame_ && saveTimer_ == 0) {
        saveTimer_ = g_timeout_add(saveDelayMilliseconds, onSaveDue, this);
    }
}

gboolean RemoteWebWindow::onSaveDue(gpointer data) {
    auto* const self = static_cast<RemoteWebWindow*>(data);
    self->saveTimer_ = 0;
    self->frame_->save(*self->size_);
    return G_SOURCE_REMOVE;
}

void RemoteWebWindow::saveSize() {
    if (saveTimer_ != 0) {
        g_source_remove(saveTimer_);
        onSaveDue(this);
    }
}

RemoteWebWindows::RemoteWebWindows(WindowHost& host, ActivationTokens& tokens,
                                   WebsiteFolders folders, UserDefaults& defaults,
                                   std::function<void()> onWindowClosed)
    : host_(host)
    , tokens_(tokens)
    , folders_(std::move(folders))
    , defaults_(defaults)
    , onWindowClosed_(std::move(onWindowClosed)) {
    connection::Calls& calls = host_.calls();
    calls.on("WindowRefused", this, &RemoteWebWindows::windowRefused);
    calls.on("WindowClosed", this, &RemoteWebWindows::windowClosed);
    calls.on("WindowResized", this, &RemoteWebWindows::windowResized);
    calls.onQuestion("DecideNavigation", this, &RemoteWebWindows::decideNavigation);
    calls.on("NewWindowRequested", this, &RemoteWebWindows::newWindowRequested);
    calls.on("PageChanged", this, &RemoteWebWindows::pageChanged);
    calls.on("PageFinished", this, &RemoteWebWindows::pageFinished);
    calls.on("PageDied", this, &RemoteWebWindows::pageDied);
    calls.on("ScriptMessage", this, &RemoteWebWindows::scriptMessage);
    host_.add(*this);
}

std::unique_ptr<WebWindow> RemoteWebWindows::makeWebWindow(const WebWindowOptions& options) {
    if (!places_) {
        places_ = folders_.make();
        provideStorage();
    }
    return std::make_unique<RemoteWebWindow>(*this, options);
}

void RemoteWebWindows::provideStorage() {
    host_.tell("SetStorage", places_->data, places_->cache, places_->cookies);
}

void RemoteWebWindows::sayAgain() {
    if (places_) {
        provideStorage();
    }
    for (const auto& [id, window] : std::map(windows_)) {
        if (find(id) != nullptr) {
            window->sayAgain();
            if (window->hasLostItsPage()) {
                pageDied(id);
            }
        }
    }
}

void RemoteWebWindows::gaveUp() {
    for (const auto& [id, window] : std::map(windows_)) {
        if (find(id) != nullptr) {
            window->gaveUp();
        }
        if (find(id) != nullptr && window->isVisible()) {
            window->orderOut();
            if (const auto willClose = window->onWillClose) {
                willClose();
            }
            onWindowClosed_();
        }
    }
}

bool RemoteWebWindows::isOnScreen() const {
    return std::ranges::any_of(windows_,
                               [](const auto& entry) { return entry.second->isVisible(); });
}

void RemoteWebWindows::hideAll() {
    for (const auto& [id, window] : windows_) {
        if (window->isVisible()) {
            window->orderOut();
        }
    }
}

void RemoteWebWindows::saveSizes() {
    for (const auto& [id, window] : windows_) {
        window->saveSize();
    }
}

RemoteWebWindow* RemoteWebWindows::find(Id id) {
    const auto found = windows_.find(id);
    return found == windows_.end() ? nullptr : found->second;
}

// Handlers are copied before they are called: each may destroy the window.

void RemoteWebWindows::windowRefused(Id id, std::string reason) {
    if (RemoteWebWindow* const window = find(id)) {
        if (const auto refused = window->onRefused) {
            refused(std::string(prefixOfWholeCharacters(reason, longestReason)));
        }
    }
}

void RemoteWebWindows::windowClosed(Id id, std::uint64_t turn) {
    RemoteWebWindow* const window = find(id);
    if (window != nullptr && window->isVisible()) {
        window->closed(turn);
        if (find(id) == nullptr || !window->isVisible()) {
            onWindowClosed_();
        }
    }
}

void RemoteWebWindows::windowResized(Id id, std::int32_t width, std::int32_t height,
                                     bool maximized) {
    if (RemoteWebWindow* const window = find(id)) {
        window->resized({.width = width, .height = height, .maximized = maximized});
    }
}

void RemoteWebWindows::decideNavigation(connection::Reply reply, Id id, std::string url,
                                        bool isLink, bool byUser, bool inMainFrame) {
    bool allow = false;
    if (RemoteWebWindow* const window = find(id)) {
        if (const auto decide = window->decideNavigationPolicy) {
            allow =
                decide({.url = std::move(url),
                        .isLinkActivated = isLink,
                        .isUserGesture = byUser,
                        .frame = inMainFrame ? NavigationFrame::main : NavigationFrame::unknown}) ==
                NavigationPolicy::allow;
        } else {
            allow = true;
        }
    }
    reply(allow);
    host_.watch(); // the engine may start another process for it
}

void RemoteWebWindows::newWindowRequested(Id id, std::string url, bool isLink, bool byUser) {
    if (RemoteWebWindow* const window = find(id); window != nullptr && url.size() <= longestText) {
        if (const auto requested = window->onNewWindowRequest) {
            requested({.url = std::move(url), .isLinkActivated = isLink, .isUserGesture = byUser});
        }
    }
}

void RemoteWebWindows::pageChanged(Id id, std::string url) {
    if (RemoteWebWindow* const window = find(id); window != nullptr && url.size() <= longestText) {
        window->pageChanged(url);
    }
}

void RemoteWebWindows::pageFinished(Id id, std::string title) {
    if (RemoteWebWindow* const window = find(id);
        window != nullptr && title.size() <= longestText) {
        if (const auto finished = window->onDidFinishNavigation) {
            finished(title);
        }
    }
}

void RemoteWebWindows::pageDied(Id id) {
    if (RemoteWebWindow* const window = find(id)) {
        if (const auto terminated = window->onWebProcessTerminated) {
            terminated();
        }
    }
}

void RemoteWebWindows::scriptMessage(Id id, std::string name, std::string body) {
    RemoteWebWindow* const window = find(id);
    if (window == nullptr || body.size() > longestBody) {
        return;
    }
    if (const auto handler = window->handlerOf(name)) {
        (*handler)(name, bodyOf(body));
    }
}

} // namespace platform::desktop
