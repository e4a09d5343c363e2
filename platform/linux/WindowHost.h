// Keeps a window program running while something is to be shown, and replaces one that died: what
// it showed is said again to the next by those who want it shown. After three deaths within a
// minute nothing is shown any more until the user asks for it; that is logged once. A program that
// does not answer for ten seconds is given up, and if that was while it started the web engine, the
// next one does without the engine's sandbox. One that does not answer while the session bus does
// not either waits for it, as the toolkit does without end, and the next one does without the bus.
//
// A display that has gone is waited for, half a minute long. Main thread only, which iterates
// GLib's default main context.
#pragma once

#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/linux/WindowProcess.h"
#include "platform/linux/WindowSpawn.h"
#include "platform/linux/connection/PeerConnection.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform::desktop {

// Somebody who has something shown.
class WindowClient {
  public:
    virtual ~WindowClient() = default;

    // To a window program that knows nothing yet.
    virtual void sayAgain() = 0;
    virtual void programDied() {}
    // Nothing is shown until the user asks for it.
    virtual void gaveUp() {}
    // Whether the user sees something of it.
    [[nodiscard]] virtual bool isOnScreen() const { return false; }
    // Whether a window program is needed for it.
    [[nodiscard]] virtual bool isNeeded() const { return isOnScreen(); }
};

class WindowHost {
  public:
    struct Setup {
        std::filesystem::path executable;
        std::string applicationId;
        Environment environment;
    };
    struct About {
        std::string name;
        std::string version;
        std::string copyright;
        std::string iconFolder;
    };

    WindowHost(Setup setup, Log& log);
    ~WindowHost();
    WindowHost(const WindowHost&) = delete;
    WindowHost& operator=(const WindowHost&) = delete;

    // Starts the window program ahead of need, so that it loads beside this process, unless that
    // was done before this process was loaded (WindowStartedFirst.h).
    [[nodiscard]] std::expected<void, LaunchError> startAhead();
    void setAbout(About about);

    // Clients and their answers; each outlives the host's use of it.
    void add(WindowClient& client) { clients_.push_back(&client); }
    [[nodiscard]] connection::Calls& calls() { return calls_; }
    [[nodiscard]] std::uint64_t newId() { return ++lastId_; }

    // A window program is needed from now on, whatever happened before.
    void require();
    [[nodiscard]] bool isRunning() const { return connection_ != nullptr; }
    // Lost when none is running: the client says it again.
    template <typename... Arguments>
    void tell(const char* method, const Arguments&... arguments) {
        if (connection_) {
            connection_->tell(method, arguments...);
        }
    }
    // `done` is called once, later; with nothing when there is no answer.
    template <typename... Results, typename... Arguments>
    void ask(const char* method, connection::Answered<Results...> done,
             const Arguments&... arguments) {
        if (connection_) {
            connection_->ask<Results...>(method, connection::PeerConnection::forEver,
                                         std::move(done), arguments...);
        } else {
            done(std::nullopt);
        }
    }
    // What was just asked for may make the window program hang.
    void watch();
    // Whether a session bus is there that does not answer.
    void setBusIsSilent(bool silent);

    [[nodiscard]] bool showsAnything() const;
    [[nodiscard]] bool isAwaitingDisplay() const { return displayTimer_ != 0; }
    void activate(const std::string& token) { tell("Activate", token); }

    // The display cannot be opened; `isFirst` when it never was.
    std::function<void(bool isFirst)> onDisplayGone;
    // Whether the session is over, so that a display that has gone will not come back.
    std::function<bool()> sessionIsOver;

    // Everything goes off the screen and the program ends. conclude() does not wait; finish() does,
    // and kills it when that takes longer.
    void conclude();
    void finish(std::chrono::milliseconds patience);

  private:
    using Steady = std::chrono::steady_clock;

    [[nodiscard]] std::expected<void, LaunchError> start();
    [[nodiscard]] std::expected<void, LaunchError> join(SpawnedWindow spawned);
    void died();
    void revive();
    void giveUp();
    void stuck();
    void awaitDisplay();
    static gboolean onDisplayTick(gpointer self);
    static gboolean onRevive(gpointer self);
    void awaitAnswerWithoutBus();
    static gboolean onBusPatienceOver(gpointer self);
    void displayMissing();
    void engineStarting();
    void engineStarted();
    void sandboxMissing(const std::string& reason);

    Setup setup_;
    Log& log_;
    About about_;
    std::vector<WindowClient*> clients_;
    connection::Calls calls_{connection::Side::owner};
    std::uint64_t lastId_ = 0;
    std::unique_ptr<WindowProcess> process_;
    std::unique_ptr<connection::PeerConnection> connection_;
    std::uint64_t run_ = 0; // which window program it is
    bool hasEverAnswered_ = false;
    bool engineIsStarting_ = false;
    bool hasSandbox_ = true;
    bool sandboxHasWorked_ = false; // in the window program that was there last
    bool toldOfSandbox_ = false;
    bool watching_ = false;
    bool busIsSilent_ = false;
    bool hasBus_ = true;
    bool displayIsMissing_ = false;
    bool concluded_ = false;
    std::deque<Steady::time_point> deaths_;
    Steady::time_point displayGoneSince_;
    guint displayTimer_ = 0;
    guint busTimer_ = 0;
    guint revival_ = 0;
};

} // namespace platform::desktop
