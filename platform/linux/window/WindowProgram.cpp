#include "platform/linux/window/WindowProgram.h"

#include "platform/Utf8.h"
#include "platform/linux/window/ApplicationId.h"

#include <glib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <utility>

namespace platform::gtk {
namespace {

using connection::PeerConnection;
using connection::Reply;

constexpr std::chrono::seconds decisionPatience{5};
// What pages say is cut or dropped beyond this; no honest page comes near it.
constexpr std::size_t longestTitle = 4096;
constexpr std::size_t longestUrl = std::size_t{64} * 1024;
constexpr std::size_t longestBody = std::size_t{1} << 20;
constexpr int mostQuestions = 256;
// For a page to say that it does not hang, once everything ends.
constexpr std::chrono::milliseconds lifePatience{300};
constexpr unsigned lifeTickMicroseconds = 5000;

// As in the interface's description.
constexpr std::uint32_t sandboxRequired = 0;
constexpr std::uint32_t sandboxOff = 2;

constexpr const char* noAnswer = "bubblewrap does not answer";

} // namespace

WindowProgram::WindowProgram(posix::UniqueFd socket, SandboxCheck& sandbox, bool mayUseSandbox)
    : sandbox_(sandbox)
    , mayUseSandbox_(mayUseSandbox)
    , menuBars_(
          toplevels_,
          [this](std::function<void(const Menu&)> show) { askForStatusMenu(std::move(show)); })
    , clipboard_(toplevels_, {.taken = [this] { connection_->tell("ClipboardTaken"); },
                              .refused = [this] { connection_->tell("ClipboardRefused"); }}) {
    answerCalls();
    connection_ = std::make_unique<PeerConnection>(
        std::move(socket), calls_, connection::ConnectionLimits{}, [this] { ended_ = true; });
    toplevels_.setKey("app.quit", "<Control>q");
    const auto command = [this](StandardAction action) {
        return [this, action] {
            connection_->tell("CommandChosen", static_cast<std::int32_t>(action));
        };
    };
    toplevels_.addCommand("quit", command(StandardAction::terminate));
    toplevels_.addCommand("hide", command(StandardAction::hide));
}

WindowProgram::~WindowProgram() {
    connection_.reset();
}

void WindowProgram::answerCalls() {
    calls_.on("Configure", this, &WindowProgram::configure);
    calls_.on("SetStorage", this, &WindowProgram::setStorage);
    calls_.on("MakeWindow", this, &WindowProgram::makeWindow);
    calls_.on("DropWindow", this, &WindowProgram::dropWindow);
    calls_.on("SetSize", this, &WindowProgram::setSize);
    calls_.on("ShowWindow", this, &WindowProgram::showWindow);
    calls_.on("HideWindow", this, &WindowProgram::hideWindow);
    calls_.on("SetTitle", this, &WindowProgram::setTitle);
    calls_.on("SetNetworkAllowed", this, &WindowProgram::setNetworkAllowed);
    calls_.on("AddScriptHandler", this, &WindowProgram::addScriptHandler);
    calls_.onQuestion("SetCookie", this, &WindowProgram::setCookie);
    calls_.on("SetInterests", this, &WindowProgram::setInterests);
    calls_.on("LoadHtml", this, &WindowProgram::loadHtml);
    calls_.on("LoadUrl", this, &WindowProgram::loadUrl);
    calls_.on("Activate", this, &WindowProgram::activate);
    calls_.onQuestion("ShowAlert", this, &WindowProgram::showAlert);
    calls_.on("CloseAlert", this, &WindowProgram::closeAlert);
    calls_.on("ShowPanel", this, &WindowProgram::showPanel);
    calls_.on("SetPanelProgress", this, &WindowProgram::setPanelProgress);
    calls_.on("RaisePanel", this, &WindowProgram::raisePanel);
    calls_.on("ClosePanel", this, &WindowProgram::closePanel);
    calls_.on("SetClipboard", this, &WindowProgram::setClipboard);
    calls_.on("SetMainMenu", this, &WindowProgram::setMainMenu);
    calls_.on("SetStatusItem", this, &WindowProgram::setStatusItem);
    calls_.on("UpdateStatusMenu", this, &WindowProgram::updateStatusMenu);
    calls_.on("Ping", this, &WindowProgram::ping);
    calls_.on("Finish", this, &WindowProgram::finish);
}

void WindowProgram::run() {
    while (!ended_) {
        g_main_context_iteration(nullptr, TRUE);
    }
    toplevels_.hide();
    gdk_display_flush(gdk_display_get_default());
    downloads_.end();
    endPages();
}

// A page that hangs would go on for seconds without its window. The others have their answer to
// finish what they are at; what they begin after it may hang as well, so nobody is left.
void WindowProgram::endPages() {
    for (const auto& [id, window] : windows_) {
        window.view->askForLife();
    }
    const auto deadline = std::chrono::steady_clock::now() + lifePatience;
    const auto isWaiting = [this] {
        return std::ranges::any_of(windows_,
                                   [](const auto& entry) { return !entry.second.view->isAlive(); });
    };
    while (isWaiting() && std::chrono::steady_clock::now() < deadline) {
        if (g_main_context_iteration(nullptr, FALSE) == FALSE) {
            g_usleep(lifeTickMicroseconds);
        }
    }
    killPages();
}

WebViewWindow* WindowProgram::find(Id id) {
    const auto found = windows_.find(id);
    return found == windows_.end() ? nullptr : found->second.view.get();
}

template <typename... Arguments>
void WindowProgram::tellUnlessFlooded(const char* method, const Arguments&... arguments) {
    if (connection_->questions() < mostQuestions) {
        connection_->ask<>(
            method, PeerConnection::forEver, [](std::optional<std::tuple<>> /*done*/) {},
            arguments...);
    }
}

WindowEvents WindowProgram::eventsOf(Id id) {
    return {
        .closed = [this, id] { connection_->tell("WindowClosed", id, windows_.at(id).turn); },
        .resized =
            [this, id](int width, int height, bool maximized) {
                connection_->tell("WindowResized", id, std::int32_t{width}, std::int32_t{height},
                                  maximized);
            },
        .decideNavigation =
            [this, id](const NavigationAction& action, std::function<void(bool)> answer) {
                decideNavigation(id, action, std::move(answer));
            },
        .newWindowRequested =
            [this, id](const NavigationAction& action) {
                if (action.url.size() <= longestUrl) {
                    tellUnlessFlooded("NewWindowRequested", id, action.url, action.isLinkActivated,
                                      action.isUserGesture);
                }
            },
        .pageChanged =
            [this, id](const std::string& url) {
                if (url.size() <= longestUrl) {
                    tellUnlessFlooded("PageChanged", id, url);
                }
            },
        .pageFinished =
            [this, id](const std::string& title) {
                tellUnlessFlooded("PageFinished", id,
                                  std::string(prefixOfWholeCharacters(title, longestTitle)));
            },
        .pageDied = [this, id] { connection_->tell("PageDied", id); },
        .scriptMessage =
            [this, id](const std::string& name, const std::string& body) {
                tellUnlessFlooded("ScriptMessage", id, name,
                                  body.size() <= longestBody ? body : std::string("null"));
            },
        .engineStarting = [this] { connection_->tell("EngineStarting"); },
        .engineStarted = [this] { connection_->tell("EngineStarted"); },
    };
}

void WindowProgram::decideNavigation(Id id, const NavigationAction& action,
                                     std::function<void(bool)> answer) {
    if (action.url.size() > longestUrl || connection_->questions() >= mostQuestions) {
        answer(false);
        return;
    }
    connection_->ask<bool>(
        "DecideNavigation", decisionPatience,
        [answer = std::move(answer)](std::optional<std::tuple<bool>> reply) {
            answer(reply && std::get<0>(*reply));
        },
        id, action.url, action.isLinkActivated, action.isUserGesture,
        action.frame == NavigationFrame::main);
}

void WindowProgram::configure(std::string name, std::string version, std::string copyright,
                              const std::string& iconFolder) {
    if (!iconFolder.empty()) {
        gtk_icon_theme_add_search_path(gtk_icon_theme_get_for_display(gdk_display_get_default()),
                                       iconFolder.c_str());
    }
    if (!name.empty() && g_get_prgname() == applicationId()) {
        g_set_application_name(name.c_str()); // which GLib lets nobody do twice
        g_set_prgname(name.c_str());          // screen readers say this one
    }
    menuBars_.setAbout({.name = std::move(name),
                        .version = std::move(version),
                        .copyright = std::move(copyright)});
}

void WindowProgram::setStorage(std::string dataFolder, std::string cacheFolder,
                               std::string cookieFile) {
    downloads_.setFolder(cacheFolder.empty() ? std::filesystem::path()
                                             : std::filesystem::path(cacheFolder) / "downloads");
    storage_.setPlaces(std::move(dataFolder), std::move(cacheFolder), std::move(cookieFile));
}

// The engine takes its choice from the environment, once, when it starts its first process. What is
// wrong when there is no sandbox and it is required.
std::optional<std::string> WindowProgram::prepareEngine(std::uint32_t sandbox) {
    std::optional<std::string> trouble;
    if (engine_ == Engine::open) {
        trouble = "the web engine runs without one already";
    } else if (sandbox != sandboxOff) {
        trouble = mayUseSandbox_ ? sandbox_.trouble() : std::optional<std::string>(noAnswer);
    }
    if (trouble && sandbox == sandboxRequired) {
        return trouble;
    }
    if (engine_ == Engine::none) {
        engine_ = trouble || sandbox == sandboxOff ? Engine::open : Engine::sandboxed;
        if (engine_ == Engine::open) {
            g_setenv("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS", "1", TRUE);
        }
        if (trouble) {
            connection_->tell("SandboxMissing", *trouble);
        }
    }
    return std::nullopt;
}

void WindowProgram::makeWindow(Id id, std::string title, std::int32_t width, std::int32_t height,
                               std::int32_t minimumWidth, std::int32_t minimumHeight, bool closable,
                               bool resizable, bool inspectable, bool gestures,
                               std::string userAgent, std::vector<Script> scripts,
                               std::uint32_t sandbox) {
    if (const auto trouble = prepareEngine(sandbox)) {
        connection_->tell("WindowRefused", id, *trouble);
        return;
    }
    WebWindowOptions options{.title = std::move(title),
                             .contentWidth = width,
                             .contentHeight = height,
                             .closable = closable,
                             .resizable = resizable,
                             .inspectable = inspectable,
                             .minimumWidth = minimumWidth,
                             .minimumHeight = minimumHeight,
                             .backForwardGestures = gestures,
                             .userAgent = std::move(userAgent)};
    for (auto& [source, atStart] : scripts) {
        options.userScripts.push_back({.source = std::move(source),
                                       .when = atStart ? ScriptInjectionTime::documentStart
                                                       : ScriptInjectionTime::documentEnd});
    }
    Window& window = windows_[id];
    window.view = std::make_unique<WebViewWindow>(toplevels_, storage_, options, eventsOf(id));
    downloads_.watch(storage_.session());
    if (!memory_) {
        memory_.emplace([this] {
            return std::ranges::any_of(windows_, [](const auto& entry) {
                return entry.second.view->window().get_visible();
            });
        });
    }
    menuBars_.add(window.view->window());
}

void WindowProgram::dropWindow(Id id) {
    if (WebViewWindow* const view = find(id)) {
        menuBars_.remove(view->window());
        windows_.erase(id);
    }
}

void WindowProgram::setSize(Id id, std::int32_t width, std::int32_t height, bool maximized) {
    if (WebViewWindow* const view = find(id)) {
        view->setSize(width, height, maximized);
    }
}

void WindowProgram::showWindow(Id id, std::uint64_t turn, const std::string& token) {
    if (WebViewWindow* const view = find(id)) {
        windows_.at(id).turn = turn;
        view->show(token);
    }
}

void WindowProgram::hideWindow(Id id, std::uint64_t turn) {
    if (WebViewWindow* const view = find(id)) {
        windows_.at(id).turn = turn;
        view->hide();
    }
}

void WindowProgram::setTitle(Id id, const std::string& title) {
    if (WebViewWindow* const view = find(id)) {
        view->setTitle(title);
    }
}

void WindowProgram::setNetworkAllowed(Id id, bool allowed) {
    if (WebViewWindow* const view = find(id)) {
        view->setNetworkAllowed(allowed);
    }
}

void WindowProgram::addScriptHandler(Id id, const std::string& name) {
    if (WebViewWindow* const view = find(id)) {
        view->addScriptHandler(name);
    }
}

void WindowProgram::setCookie(Reply reply, Id id, std::string name, std::string value,
                              std::string domain, std::string path, std::int64_t expires,
                              bool secure) {
    if (WebViewWindow* const view = find(id)) {
        const auto held = std::make_shared<Reply>(std::move(reply));
        view->setCookie({.name = std::move(name),
                         .value = std::move(value),
                         .domain = std::move(domain),
                         .path = std::move(path),
                         .expires = WallTime(std::chrono::seconds(expires)),
                         .secure = secure},
                        [held] { (*held)(); });
    }
}

void WindowProgram::setInterests(Id id, bool decides, bool finishes) {
    if (WebViewWindow* const view = find(id)) {
        view->setInterests({.decides = decides, .finishes = finishes});
    }
}

void WindowProgram::loadHtml(Id id, const std::string& html) {
    if (WebViewWindow* const view = find(id)) {
        view->loadHtml(html);
    }
}

void WindowProgram::loadUrl(Id id, const std::string& url, std::uint32_t seconds) {
    if (WebViewWindow* const view = find(id)) {
        view->loadUrl(url, std::chrono::seconds(seconds));
    }
}

void WindowProgram::activate(const std::string& token) {
    toplevels_.present(token);
}

void WindowProgram::showAlert(Reply reply, Id id, std::string message, std::string text,
                              std::vector<std::string> buttons) {
    const auto held = std::make_shared<Reply>(std::move(reply));
    alerts_.show(id,
                 {.message = std::move(message),
                  .informativeText = std::move(text),
                  .buttons = std::move(buttons)},
                 [held](std::uint32_t answer) { (*held)(answer); });
}

void WindowProgram::closeAlert(Id id) {
    alerts_.close(id);
}

void WindowProgram::showPanel(Id id, std::string title, std::string text, std::string linkTitle,
                              std::vector<std::string> buttons, std::uint32_t defaultButton,
                              std::uint32_t closeAnswer, bool showsProgress, std::string token) {
    panel_.reset();
    panelId_ = id;
    panel_ = std::make_unique<PanelWindow>(
        toplevels_,
        PanelWindow::Content{.title = std::move(title),
                             .text = std::move(text),
                             .linkTitle = std::move(linkTitle),
                             .buttons = std::move(buttons),
                             .defaultButton = defaultButton,
                             .closeAnswer = closeAnswer,
                             .showsProgress = showsProgress,
                             .token = std::move(token)},
        [this, id](std::uint32_t answer) { connection_->tell("PanelAnswered", id, answer); },
        [this, id] { connection_->tell("PanelLinkFollowed", id); });
}

void WindowProgram::setPanelProgress(Id id, const std::string& text, double fraction) {
    if (panel_ && id == panelId_) {
        panel_->setProgress(text, fraction < 0 ? std::nullopt : std::optional(fraction));
    }
}

void WindowProgram::raisePanel(Id id) {
    if (panel_ && id == panelId_) {
        panel_->present();
    }
}

void WindowProgram::closePanel(Id id) {
    if (id == panelId_) {
        panel_.reset();
    }
}

void WindowProgram::setClipboard(const std::string& text, const std::string& token) {
    clipboard_.setText(text, token);
}

void WindowProgram::setMainMenu(std::uint64_t edition, const Entries& entries) {
    menuBars_.setMainMenu(connection::menuOf(entries, [this, edition](std::uint32_t item) {
        connection_->tell("ItemChosen", edition, item);
    }));
}

void WindowProgram::setStatusItem(bool shown, std::string symbol, std::string title,
                                  std::string description, std::string toolTip) {
    menuBars_.setStatusItem({.shown = shown,
                             .symbol = std::move(symbol),
                             .title = std::move(title),
                             .description = std::move(description),
                             .toolTip = std::move(toolTip)});
}

void WindowProgram::askForStatusMenu(std::function<void(const Menu&)> show) {
    using Answer = std::optional<std::tuple<std::uint64_t, Entries>>;
    connection_->ask<std::uint64_t, Entries>(
        "OpenStatusMenu", PeerConnection::forEver, [this, show = std::move(show)](Answer answer) {
            if (!answer) {
                return;
            }
            const auto& [edition, entries] = *answer;
            statusEdition_ = edition;
            show(connection::menuOf(entries, [this, edition](std::uint32_t item) {
                connection_->tell("ItemChosen", edition, item);
            }));
        });
}

void WindowProgram::updateStatusMenu(std::uint64_t edition, const Entries& entries) {
    if (edition == statusEdition_) {
        menuBars_.updateStatusMenu(connection::menuOf(entries, [this, edition](std::uint32_t item) {
            connection_->tell("ItemChosen", edition, item);
        }));
    }
}

void WindowProgram::ping() {}

void WindowProgram::finish() {
    ended_ = true;
}

} // namespace platform::gtk
