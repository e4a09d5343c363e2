#include "platform/posix/CurlHttpClient.h"

#include "platform/posix/CurlTransfer.h"
#include "platform/posix/ProgramStart.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <map>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr long keptConnections = 16;
constexpr std::size_t mostAtOnce = 128; // for the sake of their buffers
constexpr std::size_t leastAtOnce = 4;

// An exchange takes its socket and for a while what finding the host takes. The rest of the
// process has to get by, too.
std::size_t exchangesWithin(int descriptors) {
    constexpr int ofTheRest = 40;
    constexpr int ofAnExchange = 2;
    const int within = std::max(0, (descriptors - ofTheRest) / ofAnExchange);
    return std::clamp(static_cast<std::size_t>(within), leastAtOnce, mostAtOnce);
}

// The environment's own exceptions still hold for other hosts. Read here, on the thread that
// makes the client: the environment must not be read while somebody changes it.
std::string hostsWithoutProxy() {
    const char* lower = std::getenv("no_proxy"); // NOLINT(concurrency-mt-unsafe)
    const char* upper = std::getenv("NO_PROXY"); // NOLINT(concurrency-mt-unsafe)
    std::string others = lower != nullptr ? lower : upper != nullptr ? upper : "";
    if (others == "*") {
        return others;
    }
    return "localhost,127.0.0.1,127.0.0.0/8,::1,::ffff:127.0.0.0/104" +
           (others.empty() ? "" : "," + others);
}

void initialiseLibrary() {
    static const CURLcode outcome = ::curl_global_init(CURL_GLOBAL_DEFAULT);
    if (outcome != CURLE_OK) {
        throw std::runtime_error("libcurl cannot be initialised");
    }
}

struct MultiCleanup {
    void operator()(CURLM* multi) const { ::curl_multi_cleanup(multi); }
};

} // namespace

class CurlHttpClient::Engine {
  public:
    explicit Engine(const CurlHttpOptions& options)
        : settings_{.noProxy = hostsWithoutProxy(), .authorities = options.authorities.native()}
        , startThread_(options.startThread)
        , multi_(::curl_multi_init()) {
        if (!multi_) {
            throw std::runtime_error("libcurl cannot be initialised");
        }
        ::curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS,
                            std::min(keptConnections, static_cast<long>(mostAtOnce_)));
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    ~Engine() {
        {
            const std::scoped_lock lock(mutex_);
            stopping_ = true;
        }
        wake();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    void send(std::unique_ptr<posix::CurlTransfer> transfer) {
        if (!isServed()) {
            transfer->complete(std::unexpected(transfer->error(HttpError::Kind::cannotConnect,
                                                               "the system has no thread for it")));
            return;
        }
        {
            const std::scoped_lock lock(mutex_);
            inbox_.push_back(std::move(transfer));
        }
        wake();
    }

  private:
    using Transfers = std::vector<std::unique_ptr<posix::CurlTransfer>>;

    bool isServed() {
        const std::scoped_lock lock(mutex_);
        if (!thread_.joinable()) {
            try {
                thread_ = startThread_("http", [this] { run(); });
            } catch (const std::system_error&) {
                return false;
            }
        }
        return true;
    }

    void wake() {
        arrived_.notify_one();
        ::curl_multi_wakeup(multi_.get());
    }

    void run() {
        while (startArrived()) {
            int running = 0;
            ::curl_multi_perform(multi_.get(), &running);
            completeFinished();
            const int rest = std::min(millisecondsBeforeIdleEnds(), millisecondsToWait());
            if (!active_.empty() &&
                ::curl_multi_poll(multi_.get(), nullptr, 0, rest, nullptr) != CURLM_OK) {
                abandonAll(HttpError::Kind::protocol, "libcurl cannot wait for its sockets");
            }
        }
        abandonAll(HttpError::Kind::cancelled, "cancelled");
    }

    // Sleeps while there is nothing to do; false when it is time to stop.
    bool startArrived() {
        Transfers arrived;
        {
            std::unique_lock lock(mutex_);
            arrived_.wait(lock, [this] {
                return stopping_ || !inbox_.empty() || !active_.empty() || !waiting_.empty();
            });
            if (stopping_) {
                return false;
            }
            arrived.swap(inbox_);
        }
        for (auto& transfer : arrived) {
            const SteadyTime latest = transfer->latestStart();
            waiting_.emplace(latest, std::move(transfer));
        }
        while (canStartWaiting()) {
            start(std::move(waiting_.extract(waiting_.begin()).mapped()));
        }
        return true;
    }

    // One whose time is over is started too: that is how it learns of it.
    [[nodiscard]] bool canStartWaiting() const {
        return !waiting_.empty() && (active_.size() < mostAtOnce_ ||
                                     waiting_.begin()->first <= std::chrono::steady_clock::now());
    }

    // Before one that waits can start.
    [[nodiscard]] int millisecondsToWait() const {
        constexpr int longest = std::numeric_limits<int>::max();
        if (waiting_.empty()) {
            return longest;
        }
        if (canStartWaiting()) {
            return 0;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            waiting_.begin()->first - std::chrono::steady_clock::now());
        return static_cast<int>(
            std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, longest));
    }

    void start(std::unique_ptr<posix::CurlTransfer> transfer) {
        if (auto fault = transfer->prepare(settings_)) {
            transfer->complete(std::unexpected(std::move(*fault)));
            return;
        }
        CURL* const handle = transfer->handle();
        if (::curl_multi_add_handle(multi_.get(), handle) != CURLM_OK) {
            transfer->complete(std::unexpected(
                transfer->error(HttpError::Kind::protocol, "libcurl cannot start it")));
            return;
        }
        active_.emplace(handle, std::move(transfer));
    }

    void completeFinished() {
        int left = 0;
        while (const CURLMsg* message = ::curl_multi_info_read(multi_.get(), &left)) {
            if (message->msg != CURLMSG_DONE) {
                continue;
            }
            const CURLcode code = message->data.result;
            auto finished = active_.extract(message->easy_handle);
            auto& transfer = *finished.mapped();
            ::curl_multi_remove_handle(multi_.get(), transfer.handle());
            transfer.complete(transfer.result(code));
        }
    }

    // Ends what has been idle for too long; how long the others may go on being idle.
    int millisecondsBeforeIdleEnds() {
        using std::chrono::milliseconds;
        milliseconds rest{std::numeric_limits<int>::max()};
        const auto now = std::chrono::steady_clock::now();
        for (auto entry = active_.begin(); entry != active_.end();) {
            const auto current = entry++;
            const auto deadline = current->second->idleDeadline();
            if (!deadline) {
                continue;
            }
            if (*deadline > now) {
                rest = std::min(rest, std::chrono::ceil<milliseconds>(*deadline - now));
                continue;
            }
            auto idle = active_.extract(current);
            auto& transfer = *idle.mapped();
            ::curl_multi_remove_handle(multi_.get(), transfer.handle());
            transfer.complete(std::unexpected(
                transfer.error(HttpError::Kind::timedOut, "nothing moved for too long")));
        }
        return static_cast<int>(rest.count());
    }

    void abandonAll(HttpError::Kind kind, const char* reason) {
        for (auto& [handle, transfer] : std::exchange(active_, {})) {
            ::curl_multi_remove_handle(multi_.get(), handle);
            transfer->complete(std::unexpected(transfer->error(kind, reason)));
        }
        for (auto& [latest, transfer] : std::exchange(waiting_, {})) {
            transfer->complete(std::unexpected(transfer->error(kind, reason)));
        }
        while (true) {
            Transfers waiting;
            {
                const std::scoped_lock lock(mutex_);
                waiting.swap(inbox_);
            }
            if (waiting.empty()) {
                return;
            }
            for (auto& transfer : waiting) {
                transfer->complete(std::unexpected(transfer->error(kind, reason)));
            }
        }
    }

    const posix::CurlSettings settings_;
    const posix::StartThread startThread_;
    const std::size_t mostAtOnce_ = exchangesWithin(posix::descriptorLimit());
    const std::unique_ptr<CURLM, MultiCleanup> multi_;
    // Both for the internal thread only. Those that wait for their turn stand in the order of
    // their latest starts.
    std::map<CURL*, std::unique_ptr<posix::CurlTransfer>> active_;
    std::multimap<SteadyTime, std::unique_ptr<posix::CurlTransfer>> waiting_;

    std::mutex mutex_;
    std::condition_variable arrived_;
    Transfers inbox_;
    bool stopping_ = false;
    std::thread thread_;
};

CurlHttpClient::CurlHttpClient(const CurlHttpOptions& options) {
    initialiseLibrary();
    engine_ = std::make_unique<Engine>(options);
}

CurlHttpClient::~CurlHttpClient() = default;

void CurlHttpClient::send(HttpRequest request, std::function<void(HttpResult)> completion) {
    engine_->send(std::make_unique<posix::CurlTransfer>(std::move(request), std::move(completion),
                                                        std::chrono::steady_clock::now()));
}

} // namespace platform
