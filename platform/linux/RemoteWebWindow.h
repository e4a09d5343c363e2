// A window with a web view as the application has it; the window program shows it. Everything that
// is needed to show it anew is kept here: its looks, its size, its scripts and handlers, its
// cookies, and the page it shows. Its size is saved a moment after it changed, when it is hidden,
// and when the object goes. Where the window goes and whether it can be minimised is the window
// manager's business, so center() and `miniaturizable` have no effect. Main thread only.
#pragma once

#include "platform/UserDefaults.h"
#include "platform/WebWindow.h"
#include "platform/linux/ActivationTokens.h"
#include "platform/linux/WebsiteFolders.h"
#include "platform/linux/WindowFrame.h"
#include "platform/linux/WindowHost.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::desktop {

class RemoteWebWindows;

class RemoteWebWindow final : public WebWindow {
  public:
    RemoteWebWindow(RemoteWebWindows& all, const WebWindowOptions& options);
    ~RemoteWebWindow() override;
    RemoteWebWindow(const RemoteWebWindow&) = delete;
    RemoteWebWindow& operator=(const RemoteWebWindow&) = delete;

    void setFrameAutosaveName(std::string_view name) override;
    void center() override {}
    void makeKeyAndOrderFront() override;
    void orderOut() override;
    [[nodiscard]] bool isVisible() const override { return visible_; }
    void setTitle(std::string_view title) override;
    void addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) override;
    void setCookie(const WebCookie& cookie, std::function<void()> completion) override;
    void loadHtml(std::string_view html) override;
    void loadUrl(const std::string& url, std::chrono::seconds timeout) override;
    void reload() override { load(); }
    void setNetworkAllowed(bool allowed) override;

    // What the window program said.
    void closed(std::uint64_t turn);
    void resized(const WindowSize& size);
    void pageChanged(const std::string& url) { shownUrl_ = url; }
    [[nodiscard]] std::optional<ScriptMessageHandler> handlerOf(const std::string& name) const;

    void sayAgain();
    // Whether the page that was on the screen when the window program died cannot be had again.
    [[nodiscard]] bool hasLostItsPage() const;
    void gaveUp();
    void saveSize();

  private:
    struct Cookie {
        WebCookie value;
        std::function<void()> completion; // empty once called
    };
    struct Page {
        std::string url;  // empty: the text
        std::string html; // when there is no url
        std::chrono::seconds timeout{};
    };

    void make();
    void plant(const std::shared_ptr<Cookie>& cookie);
    void load();
    void tellInterests();
    static gboolean onSaveDue(gpointer self);

    RemoteWebWindows& all_;
    WindowHost& host_;
    const std::uint64_t id_;
    WebWindowOptions options_;
    std::map<std::string, ScriptMessageHandler, std::less<>> handlers_;
    std::vector<std::shared_ptr<Cookie>> cookies_;
    std::optional<Page> page_;
    std::string shownUrl_; // as the window program says
    std::optional<WindowFrame> frame_;
    std::optional<WindowSize> size_; // once it is known
    bool visible_ = false;
    bool networkAllowed_ = true;
    std::uint64_t turn_ = 0;
    guint saveTimer_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// All of them: makes them, and hands them what the window program says.
class RemoteWebWindows final : public WebWindowFactory, private WindowClient {
  public:
    // `onWindowClosed` after the user closed a window. Everything outlives this object.
    RemoteWebWindows(WindowHost& host, ActivationTokens& tokens, WebsiteFolders folders,
                     UserDefaults& defaults, std::function<void()> onWindowClosed);

    [[nodiscard]] std::unique_ptr<WebWindow>
    makeWebWindow(const WebWindowOptions& options) override;

    // Takes every window off the screen; nothing is closed.
    void hideAll();
    void saveSizes();

  private:
    friend class RemoteWebWindow;
    using Id = std::uint64_t;

    void sayAgain() override;
    void gaveUp() override;
    [[nodiscard]] bool isOnScreen() const override;

    [[nodiscard]] RemoteWebWindow* find(Id id);
    void provideStorage();

    void windowRefused(Id id, std::string reason);
    void windowClosed(Id id, std::uint64_t turn);
    void windowResized(Id id, std::int32_t width, std::int32_t height, bool maximized);
    void decideNavigation(connection::Reply reply, Id id, std::string url, bool isLink, bool byUser,
                          bool inMainFrame);
    void newWindowRequested(Id id, std::string url, bool isLink, bool byUser);
    void pageChanged(Id id, std::string url);
    void pageFinished(Id id, std::string title);
    void pageDied(Id id);
    void scriptMessage(Id id, std::string name, std::string body);

    WindowHost& host_;
    ActivationTokens& tokens_;
    WebsiteFolders folders_;
    UserDefaults& defaults_;
    std::function<void()> onWindowClosed_;
    std::optional<WebsiteFolders::Places> places_;
    std::map<Id, RemoteWebWindow*> windows_;
};

} // namespace platform::desktop
