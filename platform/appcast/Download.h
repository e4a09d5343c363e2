// One archive on its way to a file without a name: written piece by piece on the HTTP client's
// thread, watched and cancelled from the main thread. Shared by the two; the file is read only
// after the exchange has ended.
#pragma once

#include "platform/HttpClient.h"
#include "platform/posix/Pipe.h"
#include "platform/posix/UniqueFd.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace platform::appcast {

class Download {
  public:
    Download(posix::UniqueFd file, std::uint64_t length);

    // The request that fills `download`. `progressed` is called on the client's thread.
    [[nodiscard]] static HttpRequest request(const std::shared_ptr<Download>& download,
                                             const std::string& url,
                                             std::function<void()> progressed);

    // Any thread. No piece is taken any more.
    void cancel();
    [[nodiscard]] bool isCancelled() const { return cancelled_; }
    // Can be read once it was cancelled. Negative when there was no descriptor left for it.
    [[nodiscard]] int cancellation() const { return cancellation_.readEnd.get(); }
    [[nodiscard]] std::uint64_t received() const { return received_; }
    [[nodiscard]] std::uint64_t length() const { return length_; }

    // Once the exchange has ended: why the file is not there, or nothing.
    [[nodiscard]] std::string failure(const HttpResult& result) const;
    [[nodiscard]] int file() const { return file_.get(); }

  private:
    [[nodiscard]] bool take(std::string_view piece);

    posix::UniqueFd file_;
    const std::uint64_t length_;
    std::atomic<std::uint64_t> received_ = 0;
    std::atomic<bool> cancelled_ = false;
    const posix::Pipe cancellation_;
    std::atomic<int> writeError_ = 0;
};

// What went wrong, in the user's words and without a full stop; empty for a 200 response.
[[nodiscard]] std::string httpFailure(const HttpResult& result);

} // namespace platform::appcast
