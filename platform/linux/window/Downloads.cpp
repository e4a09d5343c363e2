#include "platform/linux/window/Downloads.h"

#include "platform/DownloadBounds.h"
#include "platform/DownloadName.h"
#include "platform/DownloadTexts.h"
#include "platform/linux/GObjectPtr.h"
#include "platform/linux/window/PageMemory.h"
#include "platform/linux/window/PanelWindow.h"
#include "platform/linux/window/PlaceFile.h"

#include <fmt/format.h>
#include <giomm/file.h>
#include <gtkmm/dialog.h>
#include <gtkmm/filechoosernative.h>

#include <chrono>
#include <limits>
#include <optional>
#include <stop_token>
#include <system_error>
#include <thread>
#include <utility>

namespace platform::gtk {
namespace {

constexpr std::uint32_t noButton = std::numeric_limits<std::uint32_t>::max();
constexpr unsigned tickSeconds = 2;

// The user's folder for downloads, or the home folder where there is none.
std::string firstFolder() {
    const char* const downloads = g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD);
    return downloads != nullptr ? downloads : g_get_home_dir();
}

std::string sizeText(std::uint64_t bytes) {
    const GMemory<char> text(g_format_size(bytes));
    return text.get();
}

} // namespace

class Downloads::Transfer {
  public:
    Transfer(Downloads& owner, WebKitDownload* download)
        : owner_(owner)
        , download_(WEBKIT_DOWNLOAD(g_object_ref(download)))
        , network_(networkProcess())
        , part_(owner.folder_ / "part") {
        g_signal_connect(download, "decide-destination", G_CALLBACK(onDecideDestination), this);
        g_signal_connect(download, "received-data", G_CALLBACK(onReceived), this);
        g_signal_connect(download, "failed", G_CALLBACK(onFailed), this);
        g_signal_connect(download, "finished", G_CALLBACK(onFinished), this);
    }
    ~Transfer() {
        g_signal_handlers_disconnect_by_data(download_.get(), this);
        stop();
        if (chooser_) {
            chooser_->hide();
        }
        if (ticks_ != 0) {
            g_source_remove(ticks_);
        }
        placing_ = {}; // which waits
        if (placed_ != 0) {
            g_source_remove(placed_);
        }
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

  private:
    static gboolean onDecideDestination(WebKitDownload* /*download*/, const char* suggested,
                                        gpointer self) {
        static_cast<Transfer*>(self)->askWhere(suggested == nullptr ? "" : suggested);
        return TRUE; // it waits until the place is known
    }
    static void onReceived(WebKitDownload* /*download*/, guint64 count, gpointer self) {
        static_cast<Transfer*>(self)->received(count);
    }
    static void onFailed(WebKitDownload* /*download*/, GError* error, gpointer data) {
        auto* const self = static_cast<Transfer*>(data);
        self->stopped_ = true;
        if (!self->cancelled_ && !self->failure_) {
            self->failure_ = error->message;
        }
    }
    // Also after a failure.
    static void onFinished(WebKitDownload* /*download*/, gpointer data) {
        auto* const self = static_cast<Transfer*>(data);
        self->stopped_ = true;
        if (!self->cancelled_ && !self->failure_ && self->isCutShort()) {
            self->failure_ = "The connection has ended before the file was complete.";
        }
        if (self->target_.empty() || self->cancelled_ || self->failure_) {
            self->end();
        } else {
            self->received_ = true;
            self->place();
        }
    }

    // The engine takes the end of a connection for the end of the file.
    [[nodiscard]] bool isCutShort() const {
        WebKitURIResponse* const response = webkit_download_get_response(download_.get());
        if (response == nullptr) {
            return false;
        }
        SoupMessageHeaders* const headers = webkit_uri_response_get_http_headers(response);
        const bool isPacked = headers != nullptr &&
                              soup_message_headers_get_one(headers, "Content-Encoding") != nullptr;
        return !isPacked && count_ < webkit_uri_response_get_content_length(response);
    }

    void askWhere(std::string_view suggested) {
        name_ = downloadName(suggested);
        Gtk::Window* const parent = owner_.toplevels_.lastUsed();
        if (parent == nullptr || !owner_.limit_.admits(std::chrono::steady_clock::now())) {
            cancel();
            return;
        }
        chooser_ = Gtk::FileChooserNative::create(
            "Save File", *parent, Gtk::FileChooser::Action::SAVE, "_Save", "_Cancel");
        chooser_->set_modal(true);
        chooser_->set_current_folder(Gio::File::create_for_path(firstFolder()));
        chooser_->set_current_name(name_);
        chooser_->signal_response().connect([this](int response) { answered(response); });
        chooser_->show();
    }

    void answered(int response) {
        const auto file = chooser_->get_file();
        if (response != static_cast<int>(Gtk::ResponseType::ACCEPT) || !file ||
            file->get_path().empty()) {
            cancel();
            return;
        }
        target_ = file->get_path();
        name_ = target_.filename().native();
        std::error_code ignored;
        // The chooser has asked about that.
        replaces_ = std::filesystem::exists(target_, ignored);
        panel_.emplace(
            owner_.toplevels_,
            PanelWindow::Content{.title = savingText(name_),
                                 .text = "In " + target_.parent_path().native(),
                                 .linkTitle = {},
                                 .buttons = {std::string(cancelSavingText)},
                                 .defaultButton = noButton,
                                 .closeAnswer = 0,
                                 .showsProgress = true,
                                 .token = {}},
            [this](std::uint32_t) { cancel(); }, [] {});
        webkit_download_set_destination(download_.get(), part_.c_str());
        bounds_.emplace(std::chrono::steady_clock::now());
        ticks_ = g_timeout_add_seconds(tickSeconds, onTick, this);
    }

    // Nobody tells of the death of the engine's network process.
    static gboolean onTick(gpointer data) {
        auto* const self = static_cast<Transfer*>(data);
        if (self->received_ || self->failure_) {
            return G_SOURCE_CONTINUE;
        }
        const auto trouble =
            self->isServed() ? self->trouble() : std::optional(DownloadBounds::stalled);
        if (trouble) {
            self->failure_ = *trouble;
            self->stop();
            self->end();
        }
        return G_SOURCE_CONTINUE;
    }

    [[nodiscard]] std::optional<std::string_view> trouble() {
        if (!bounds_) {
            return std::nullopt;
        }
        return bounds_->trouble(
            count_, std::chrono::steady_clock::now(), [this]() -> std::optional<std::uintmax_t> {
                std::error_code failed;
                const auto space = std::filesystem::space(owner_.folder_, failed);
                return failed ? std::nullopt : std::optional(space.available);
            });
    }

    // By the process that it began in; the engine aborts over a download that is not.
    [[nodiscard]] bool isServed() const { return networkProcess() == network_; }

    void received(std::uint64_t count) {
        count_ += count;
        if (const auto found = trouble()) {
            failure_ = *found;
            stop();
            return;
        }
        if (panel_) {
            const std::uint64_t size = webkit_uri_response_get_content_length(
                webkit_download_get_response(download_.get()));
            panel_->setProgress(
                size == 0 ? sizeText(count_)
                          : fmt::format("{} of {}", sizeText(count_), sizeText(size)),
                size == 0 ? std::nullopt
                          : std::optional(static_cast<double>(count_) / static_cast<double>(size)));
        }
    }

    // A copy to another volume takes its time.
    void place() {
        placing_ = std::jthread([this](const std::stop_token& stop) {
            problem_ = placeFile(part_, target_, replaces_, stop);
            placed_ = g_idle_add(onPlaced, this);
        });
    }
    static gboolean onPlaced(gpointer data) {
        auto* const self = static_cast<Transfer*>(data);
        self->placing_.join();
        self->placed_ = 0;
        if (!self->problem_.empty() && !self->cancelled_) {
            self->failure_ = self->problem_;
        }
        self->end();
        return G_SOURCE_REMOVE;
    }

    void cancel() {
        cancelled_ = true;
        stop();
        if (target_.empty() || (!received_ && !isServed())) {
            end(); // nothing is left that would say that it is over
        }
    }

    void stop() {
        placing_.request_stop();
        if (!received_ && !std::exchange(stopped_, true) && isServed()) {
            webkit_download_cancel(download_.get());
        }
    }

    void end() {
        if (const auto failure = std::exchange(failure_, std::nullopt)) {
            owner_.failed(name_, *failure);
        }
        panel_.reset();
        owner_.done();
    }

    Downloads& owner_;
    GObjectPtr<WebKitDownload> download_;
    const pid_t network_;
    const std::filesystem::path part_;
    std::string name_;
    Glib::RefPtr<Gtk::FileChooserNative> chooser_;
    std::filesystem::path target_; // once it is known
    bool replaces_ = false;
    bool cancelled_ = false;
    bool received_ = false;
    bool stopped_ = false;
    std::optional<std::string> failure_;
    std::uint64_t count_ = 0;
    std::optional<DownloadBounds> bounds_; // once it may come
    guint ticks_ = 0;
    std::optional<PanelWindow> panel_;
    std::string problem_; // of the thread that places the file
    guint placed_ = 0;
    std::jthread placing_;
};

Downloads::Downloads(Toplevels& toplevels)
    : toplevels_(toplevels)
    , alerts_(toplevels) {}

Downloads::~Downloads() {
    end();
}

void Downloads::end() {
    if (ending_ != 0) {
        g_source_remove(std::exchange(ending_, 0));
    }
    if (WebKitNetworkSession* const session = std::exchange(session_, nullptr)) {
        g_signal_handlers_disconnect_by_data(session, this);
    }
    transfer_.reset();
    clear();
}

void Downloads::setFolder(std::filesystem::path folder) {
    folder_ = std::move(folder);
    clear();
}

void Downloads::clear() {
    if (folder_.empty()) {
        return;
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
    std::filesystem::create_directory(folder_, ignored);
    std::filesystem::permissions(folder_, std::filesystem::perms::owner_all, ignored);
}

void Downloads::watch(WebKitNetworkSession* session) {
    if (session_ == nullptr) {
        session_ = session;
        g_signal_connect(session, "download-started", G_CALLBACK(onStarted), this);
    }
}

void Downloads::onStarted(WebKitNetworkSession* /*session*/, WebKitDownload* download,
                          gpointer data) {
    auto* const self = static_cast<Downloads*>(data);
    if (self->transfer_ || self->folder_.empty()) {
        webkit_download_cancel(download);
    } else {
        self->transfer_ = std::make_unique<Transfer>(*self, download);
    }
}

void Downloads::failed(const std::string& name, const std::string& why) {
    alerts_.show(++lastAlert_,
                 {.message = notSavedText(name), .informativeText = why, .buttons = {}},
                 [](std::uint32_t) {});
}

// Later, when the engine and the toolkit are done with what called.
void Downloads::done() {
    if (ending_ == 0) {
        ending_ = g_idle_add(onDone, this);
    }
}

gboolean Downloads::onDone(gpointer data) {
    auto* const self = static_cast<Downloads*>(data);
    self->ending_ = 0;
    self->transfer_.reset();
    self->clear();
    return G_SOURCE_REMOVE;
}

} // namespace platform::gtk
