#include "platform/appcast/Download.h"

#include "platform/ErrnoText.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::appcast {
namespace {

constexpr std::chrono::hours longestDownload{6};
constexpr std::chrono::seconds longestSilence{30};
constexpr int mostRedirects = 5;

std::string describe(HttpError::Kind kind) {
    switch (kind) {
    case HttpError::Kind::badRequest:
        return "the address is not a valid one";
    case HttpError::Kind::cannotConnect:
        return "the update server cannot be reached";
    case HttpError::Kind::timedOut:
        return "the update server does not answer";
    case HttpError::Kind::bodyTooLarge:
        return "the update server sends more than it may";
    case HttpError::Kind::protocol:
        return "the update server gives no usable answer";
    case HttpError::Kind::cancelled:
        return "it was cancelled";
    }
    return {};
}

} // namespace

Download::Download(posix::UniqueFd file, std::uint64_t length)
    : file_(std::move(file))
    , length_(length)
    , cancellation_(posix::makePipe().value_or(posix::Pipe())) {}

void Download::cancel() {
    if (!cancelled_.exchange(true)) {
        static_cast<void>(::write(cancellation_.writeEnd.get(), "", 1));
    }
}

HttpRequest Download::request(const std::shared_ptr<Download>& download, const std::string& url,
                              std::function<void()> progressed) {
    HttpRequest request;
    request.url = url;
    request.timeout = longestDownload;
    request.stallTimeout = longestSilence;
    request.maxBodyBytes = download->length_;
    request.maxRedirects = mostRedirects;
    request.onlyHttps = true;
    request.bodySink = [download, progressed = std::move(progressed)](std::string_view piece) {
        const bool taken = download->take(piece);
        progressed();
        return taken;
    };
    return request;
}

bool Download::take(std::string_view piece) {
    while (!piece.empty()) {
        if (cancelled_) {
            return false;
        }
        const auto count = ::write(file_.get(), piece.data(), piece.size());
        if (count < 0 && errno != EINTR) {
            writeError_ = errno;
            return false;
        }
        if (count > 0) {
            piece.remove_prefix(static_cast<std::size_t>(count));
            received_ += static_cast<std::uint64_t>(count);
        }
    }
    return true;
}

std::string Download::failure(const HttpResult& result) const {
    if (writeError_ != 0) {
        return fmt::format("the download cannot be saved: {}", errnoText(writeError_));
    }
    auto text = httpFailure(result);
    return text.empty() && received_ != length_ ? "the download is not complete" : text;
}

std::string httpFailure(const HttpResult& result) {
    if (!result) {
        return describe(result.error().kind);
    }
    return result->status == 200
               ? std::string()
               : fmt::format("the update server answers with status {}", result->status);
}

} // namespace platform::appcast
