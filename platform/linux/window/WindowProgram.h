// What the window program shows, by the application's word: answers every method of
// app.zorvane.WindowProgram and tells the application what the user and the pages do. It decides
// nothing and keeps nothing; when the connection ends, so does it. Main thread only.
#pragma once

#include "platform/linux/connection/MenuEntries.h"
#include "platform/linux/connection/PeerConnection.h"
#include "platform/linux/window/AlertDialogs.h"
#include "platform/linux/window/Clipboard.h"
#include "platform/linux/window/ColourScheme.h"
#include "platform/linux/window/Downloads.h"
#include "platform/linux/window/MenuBars.h"
#include "platform/linux/window/PageMemory.h"
#include "platform/linux/window/PanelWindow.h"
#include "platform/linux/window/SandboxCheck.h"
#include "platform/linux/window/Toplevels.h"
#include "platform/linux/window/WebStorage.h"
#include "platform/linux/window/WebViewWindow.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace platform::gtk {

class WindowProgram {
  public:
    // GTK must be initialised. `mayUseSandbox` is false when an earlier window program hung in it.
    WindowProgram(posix::UniqueFd socket, SandboxCheck& sandbox, bool mayUseSandbox);
    ~WindowProgram();
    WindowProgram(const WindowProgram&) = delete;
    WindowProgram& operator=(const WindowProgram&) = delete;

    // Until the application has gone or says Finish.
    void run();

  private:
    using Id = std::uint64_t;
    using Entries = std::vector<connection::MenuEntry>;
    using Script = std::tuple<std::string, bool>;

    struct Window {
        std::uint64_t turn = 0;
        std::unique_ptr<WebViewWindow> view;
    };

    void answerCalls();
    WebViewWindow* find(Id id);
    [[nodiscard]] WindowEvents eventsOf(Id id);
    // Whether pages of such a window may be shown.
    [[nodiscard]] std::optional<std::string> prepareEngine(std::uint32_t sandbox);
    // The same for a message that a page can cause without end: dropped while too many are under
    // way.
    template <typename... Arguments>
    void tellUnlessFlooded(const char* method, const Arguments&... arguments);

    void configure(std::string name, std::string version, std::string copyright,
                   const std::string& iconFolder);
    void setStorage(std::string dataFolder, std::string cacheFolder, std::string cookieFile);
    void makeWindow(Id id, std::string title, std::int32_t width, std::int32_t height,
                    std::int32_t minimumWidth, std::int32_t minimumHeight, bool closable,
                    bool resizable, bool inspectable, bool gestures, std::string userAgent,
                    std::vector<Script> scripts, std::uint32_t sandbox);
    void dropWindow(Id id);
    void setSize(Id id, std::int32_t width, std::int32_t height, bool maximized);
    void showWindow(Id id, std::uint64_t turn, const std::string& token);
    void hideWindow(Id id, std::uint64_t turn);
    void setTitle(Id id, const std::string& title);
    void setNetworkAllowed(Id id, bool allowed);
    void addScriptHandler(Id id, const std::string& name);
    void setCookie(connection::Reply reply, Id id, std::string name, std::string value,
                   std::string domain, std::string path, std::int64_t expires, bool secure);
    void setInterests(Id id, bool decides, bool finishes);
    void loadHtml(Id id, const std::string& html);
    void loadUrl(Id id, const std::string& url, std::uint32_t seconds);
    void activate(const std::string& token);
    void showAlert(connection::Reply reply, Id id, std::string message, std::string text,
                   std::vector<std::string> buttons);
    void closeAlert(Id id);
    void showPanel(Id id, std::string title, std::string text, std::string linkTitle,
                   std::vector<std::string> buttons, std::uint32_t defaultButton,
                   std::uint32_t closeAnswer, bool showsProgress, std::string token);
    void setPanelProgress(Id id, const std::string& text, double fraction);
    void raisePanel(Id id);
    void closePanel(Id id);
    void setClipboard(const std::string& text, const std::string& token);
    void setMainMenu(std::uint64_t edition, const Entries& entries);
    void setStatusItem(bool shown, std::string symbol, std::string title, std::string description,
                       std::string toolTip);
    void ping();
    void finish();

    void decideNavigation(Id id, const NavigationAction& action, std::function<void(bool)> answer);
    void updateStatusMenu(std::uint64_t edition, const Entries& entries);
    void endPages();
    void askForStatusMenu(std::function<void(const Menu&)> show);

    SandboxCheck& sandbox_;
    bool mayUseSandbox_;
    enum class Engine { none, sandboxed, open } engine_ = Engine::none;
    ColourScheme colourScheme_;
    Toplevels toplevels_;
    MenuBars menuBars_;
    Clipboard clipboard_;
    AlertDialogs alerts_{toplevels_};
    WebStorage storage_;
    Downloads downloads_{toplevels_};
    std::optional<PageMemory> memory_; // once there are pages
    std::uint64_t statusEdition_ = 0;  // of the menu that was opened last
    std::map<Id, Window> windows_;
    Id panelId_ = 0;
    std::unique_ptr<PanelWindow> panel_;
    bool ended_ = false;
    connection::Calls calls_{connection::Side::program};
    std::unique_ptr<connection::PeerConnection> connection_;
};

} // namespace platform::gtk
