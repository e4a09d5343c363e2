#include "platform/posix/CurlTransfer.h"

#include "platform/ErrnoText.h"
#include "platform/posix/Socket.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <type_traits>
#include <utility>

namespace platform::posix {
namespace {

using Kind = HttpError::Kind;

constexpr std::size_t mostHeaderBytes = std::size_t{64} << 10;
constexpr long receiveBufferBytes = 64L << 10;
constexpr std::chrono::hours longestTimeout{24 * 365};

bool isTokenCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, isTokenCharacter);
}

bool isPrintableAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c > ' ' && c < '\x7F'; });
}

// libcurl forgives any number of slashes before the host, RFC 3986 wants two.
bool hasAuthority(std::string_view url) {
    const auto separator = url.find(':');
    const auto rest = url.substr(separator == std::string_view::npos ? url.size() : separator);
    return rest.starts_with("://") && !rest.starts_with(":///");
}

bool isFieldValue(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool sameName(std::string_view a, std::string_view b) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return std::ranges::equal(a, b, {}, lower, lower);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value)
                                                                    : std::nullopt;
}

bool mayBeSentTwice(std::string_view method) {
    constexpr std::string_view idempotent[] = {"GET", "HEAD", "OPTIONS", "TRACE", "PUT", "DELETE"};
    return std::ranges::find(idempotent, method) != std::end(idempotent);
}

struct UrlCleanup {
    void operator()(CURLU* url) const { ::curl_url_cleanup(url); }
};

std::string partOf(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    if (::curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) {
        return {};
    }
    std::string copy = text;
    ::curl_free(text);
    return copy;
}

curl_socket_t openSocket(void* /*self*/, curlsocktype /*purpose*/, curl_sockaddr* address) {
    return makeClosedOnExecSocket(address->family, address->socktype, address->protocol);
}

Kind kindOf(CURLcode code) {
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
        return Kind::timedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
        return Kind::cannotConnect;
    default:
        return Kind::protocol;
    }
}

} // namespace

CurlTransfer::CurlTransfer(HttpRequest request, Completion completion, SteadyTime sent)
    : request_(std::move(request))
    , completion_(std::move(completion))
    , deadline_(sent + std::clamp<std::chrono::milliseconds>(request_.timeout, {}, longestTimeout))
    , lastMove_(sent) {}

std::optional<SteadyTime> CurlTransfer::idleDeadline() const {
    if (!request_.idleTimeout) {
        return std::nullopt;
    }
    return lastMove_ +
           std::clamp<std::chrono::milliseconds>(*request_.idleTimeout, {}, longestTimeout);
}

SteadyTime CurlTransfer::latestStart() const {
    return std::min(deadline_, idleDeadline().value_or(deadline_));
}

std::optional<HttpError> CurlTransfer::prepare(const CurlSettings& settings) {
    if (const auto fault = faultOfRequest()) {
        return error(Kind::badRequest, *fault);
    }
    if (std::chrono::steady_clock::now() >= latestStart()) {
        return error(Kind::timedOut, "no time left");
    }
    easy_.reset(::curl_easy_init());
    if (!easy_ || !setProtocol(settings) || !setMethod() || !setHeaders() || !setLimits() ||
        !setCallbacks()) {
        return error(Kind::protocol, "libcurl lacks an option or memory");
    }
    return std::nullopt;
}

std::optional<std::string> CurlTransfer::faultOfRequest() {
    if (!isToken(request_.method)) {
        return "the method is no token";
    }
    if (auto fault = faultOfUrl()) {
        return fault;
    }
    if (request_.method == "HEAD" && !request_.body.empty()) {
        return "a HEAD request has no body";
    }
    for (const auto& [name, value] : request_.headers) {
        if (!isToken(name) || !isFieldValue(value)) {
            return "a header field is malformed";
        }
        if (sameName(name, "Content-Length") || sameName(name, "Transfer-Encoding")) {
            return "the framing of the body is not the caller's";
        }
    }
    return std::nullopt;
}

std::optional<std::string> CurlTransfer::faultOfUrl() {
    const std::unique_ptr<CURLU, UrlCleanup> url(::curl_url());
    if (!url || !isPrintableAscii(request_.url) || !hasAuthority(request_.url) ||
        ::curl_url_set(url.get(), CURLUPART_URL, request_.url.c_str(), 0) != CURLUE_OK) {
        return "the URL is malformed";
    }
    const auto scheme = partOf(url.get(), CURLUPART_SCHEME);
    const auto host = partOf(url.get(), CURLUPART_HOST);
    if (scheme != "http" && scheme != "https") {
        return "the URL is neither http nor https";
    }
    if (request_.onlyHttps && scheme != "https") {
        return "the URL is not https";
    }
    if (host.empty() || !partOf(url.get(), CURLUPART_USER).empty() ||
        !partOf(url.get(), CURLUPART_PASSWORD).empty()) {
        return "the URL has no host or holds user information";
    }
    origin_ = fmt::format("{}://{}:{}", scheme, host, partOf(url.get(), CURLUPART_PORT));
    return std::nullopt;
}

template <typename Value>
bool CurlTransfer::set(CURLoption option, Value value) {
    // The library reads its variable arguments as long, never as int.
    static_assert(!std::is_same_v<Value, int> && !std::is_same_v<Value, bool>);
    return ::curl_easy_setopt(easy_.get(), option, value) == CURLE_OK;
}

bool CurlTransfer::setProtocol(const CurlSettings& settings) {
    // Without QUICK_EXIT, giving up on a slow name lookup would wait for it and hold up every
    // other exchange of this thread. Releases before 7.87 do not know it.
    static_cast<void>(set(CURLOPT_QUICK_EXIT, 1L));
    return set(CURLOPT_URL, request_.url.c_str()) &&
           set(CURLOPT_NOPROXY, settings.noProxy.c_str()) && setSchemes() &&
           setTrust(settings.authorities) &&
           set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}) &&
           set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2}) &&
           set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L) && set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L) &&
           set(CURLOPT_NOSIGNAL, 1L) &&
           set(CURLOPT_FOLLOWLOCATION, request_.maxRedirects > 0 ? 1L : 0L) &&
           set(CURLOPT_MAXREDIRS, long{std::max(request_.maxRedirects, 0)});
}

bool CurlTransfer::setSchemes() {
    const char* const names = request_.onlyHttps ? "https" : "http,https";
    if (set(CURLOPT_PROTOCOLS_STR, names) && set(CURLOPT_REDIR_PROTOCOLS_STR, names)) {
        return true;
    }
    // Releases before 7.85, which macOS 13.0 comes with, know only the forms that the ones above
    // replaced; named by number, because the names are marked as deprecated.
    constexpr auto protocols = static_cast<CURLoption>(CURLOPTTYPE_LONG + 181);
    constexpr auto redirectionProtocols = static_cast<CURLoption>(CURLOPTTYPE_LONG + 182);
    const long bits = CURLPROTO_HTTPS | (request_.onlyHttps ? 0L : long{CURLPROTO_HTTP});
    return set(protocols, bits) && set(redirectionProtocols, bits);
}

bool CurlTransfer::setTrust(const std::string& authorities) {
    return authorities.empty() || set(CURLOPT_CAINFO, authorities.c_str());
}

bool CurlTransfer::setMethod() {
    if (!mayBeSentTwice(request_.method) && !set(CURLOPT_FRESH_CONNECT, 1L)) {
        return false;
    }
    if (request_.method == "HEAD") {
        return set(CURLOPT_NOBODY, 1L);
    }
    if (request_.method == "POST") {
        return setBody();
    }
    if (request_.method == "GET" && request_.body.empty()) {
        return set(CURLOPT_HTTPGET, 1L);
    }
    return (request_.body.empty() || setBody()) &&
           set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
}

// The bytes stay where they are; the request lives as long as the handle.
bool CurlTransfer::setBody() {
    return set(CURLOPT_POST, 1L) &&
           set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size())) &&
           set(CURLOPT_POSTFIELDS, request_.body.c_str());
}

bool CurlTransfer::addHeaderLine(const std::string& line) {
    curl_slist* longer = ::curl_slist_append(headerLines_.get(), line.c_str());
    if (longer == nullptr) {
        return false;
    }
    if (!headerLines_) { // else the list's first line stayed what it was
        headerLines_.reset(longer);
    }
    return true;
}

bool CurlTransfer::setHeaders() {
    bool hasContentType = false;
    for (const auto& [name, value] : request_.headers) {
        hasContentType = hasContentType || sameName(name, "Content-Type");
        // The library's way to send a field without a value is a semicolon.
        if (!addHeaderLine(trimmed(value).empty() ? name + ";"
                                                  : fmt::format("{}: {}", name, value))) {
            return false;
        }
    }
    // A name without a value takes the library's own field away: no form type that nobody asked
    // for, no round trip before a body is sent.
    if ((!hasContentType && !addHeaderLine("Content-Type:")) || !addHeaderLine("Expect:")) {
        return false;
    }
    return set(CURLOPT_HTTPHEADER, headerLines_.get());
}

bool CurlTransfer::setLimits() {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    const long milliseconds = static_cast<long>(std::clamp<std::chrono::milliseconds::rep>(
        left.count(), 1, std::numeric_limits<int>::max()));
    return set(CURLOPT_TIMEOUT_MS, milliseconds) && set(CURLOPT_CONNECTTIMEOUT_MS, milliseconds) &&
           set(CURLOPT_BUFFERSIZE, receiveBufferBytes) &&
           (request_.stallTimeout <= std::chrono::seconds(0) ||
            (set(CURLOPT_LOW_SPEED_LIMIT, 1L) &&
             set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(request_.stallTimeout.count()))));
}

bool CurlTransfer::setCallbacks() {
    return set(CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader) && set(CURLOPT_HEADERDATA, this) &&
           set(CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody) && set(CURLOPT_WRITEDATA, this) &&
           set(CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress) &&
           set(CURLOPT_XFERINFODATA, this) && set(CURLOPT_NOPROGRESS, 0L) &&
           set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
}

bool CurlTransfer::fail(Kind kind, std::string_view reason) {
    fault_ = error(kind, reason);
    return false;
}

// One line of a response's header section, of an interim response's, or of the trailers.
bool CurlTransfer::takeHeaderLine(std::string_view line) {
    lastMove_ = std::chrono::steady_clock::now();
    const bool opensSection = line.starts_with("HTTP/");
    if (opensSection && sectionStatus_ >= 200) {
        sectionBytes_ = 0; // a redirect was followed
    }
    sectionBytes_ += line.size();
    if (sectionBytes_ > mostHeaderBytes) {
        return fail(Kind::protocol, "the response's header is too large");
    }
    if (opensSection) {
        const auto code = line.find(' ');
        sectionStatus_ = code == std::string_view::npos
                             ? 0
                             : numberIn<int>(line.substr(code + 1, 3)).value_or(0);
        sectionEnded_ = false;
        response_.headers.clear();
        return true;
    }
    if (sectionEnded_) {
        return true;
    }
    if (trimmed(line).empty()) {
        sectionEnded_ = true;
        return acceptsCoding() && acceptsDeclaredLength();
    }
    takeField(line);
    return true;
}

void CurlTransfer::takeField(std::string_view line) {
    const bool continues = line.front() == ' ' || line.front() == '\t';
    if (continues && !response_.headers.empty()) {
        response_.headers.back().second.append(" ").append(trimmed(line));
        return;
    }
    const auto colon = line.find(':');
    if (colon != std::string_view::npos) {
        response_.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    }
}

// No coding but "chunked" was asked for (RFC 9112, 6.1): one that unpacks has no bounds, and
// libcurl reads it in some releases and refuses it in others.
bool CurlTransfer::acceptsCoding() {
    for (const auto& [name, value] : response_.headers) {
        if (sameName(name, "Transfer-Encoding") && !sameName(value, "chunked")) {
            return fail(Kind::protocol, "the body is in a coding that was not asked for");
        }
    }
    return true;
}

bool CurlTransfer::acceptsDeclaredLength() {
    const bool hasBody = sectionStatus_ >= 200 && sectionStatus_ != 204 && sectionStatus_ != 304 &&
                         request_.method != "HEAD" && !response_.header("Transfer-Encoding");
    const auto declared = response_.header("Content-Length");
    if (!hasBody || !declared) {
        return true;
    }
    const auto length = numberIn<std::uint64_t>(*declared);
    return (length && *length <= request_.maxBodyBytes) ||
           fail(length ? Kind::bodyTooLarge : Kind::protocol, "the declared length is too large");
}

bool CurlTransfer::takeBody(std::string_view piece) {
    if (piece.size() > request_.maxBodyBytes - bodyBytes_) {
        return fail(Kind::bodyTooLarge, "the body is too large");
    }
    bodyBytes_ += piece.size();
    if (request_.bodySink && sectionStatus_ >= 200 && sectionStatus_ < 300) {
        return request_.bodySink(piece) || fail(Kind::cancelled, "its receiver wants no more");
    }
    response_.body.append(piece);
    return true;
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t one, std::size_t size, void* self) {
    return static_cast<CurlTransfer*>(self)->takeHeaderLine({data, one * size}) ? one * size : 0;
}

std::size_t CurlTransfer::onBody(char* data, std::size_t one, std::size_t size, void* self) {
    // Nothing taken must not look like success when the piece is empty.
    return static_cast<CurlTransfer*>(self)->takeBody({data, one * size}) ? one * size
                                                                          : one * size + 1;
}

// Sees the bodies that are read only to be skipped, those of redirects.
int CurlTransfer::onProgress(void* self, curl_off_t /*total*/, curl_off_t received,
                             curl_off_t /*toSend*/, curl_off_t sent) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (received + sent != transfer.bytesMoved_) {
        transfer.bytesMoved_ = received + sent;
        transfer.lastMove_ = std::chrono::steady_clock::now();
    }
    const bool fits = static_cast<std::uint64_t>(std::max<curl_off_t>(received, 0)) <=
                      transfer.request_.maxBodyBytes;
    return fits || transfer.fail(Kind::bodyTooLarge, "the body is too large") ? 0 : 1;
}

HttpResult CurlTransfer::result(CURLcode code) {
    if (fault_) {
        return std::unexpected(std::move(*fault_));
    }
    if (code == CURLE_OK) {
        long status = 0;
        ::curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
        response_.status = static_cast<int>(status);
        return std::move(response_);
    }
    std::string reason = ::curl_easy_strerror(code);
    long osError = 0;
    if (code == CURLE_COULDNT_CONNECT &&
        ::curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &osError) == CURLE_OK && osError != 0) {
        reason = errnoText(static_cast<int>(osError));
    }
    return std::unexpected(error(kindOf(code), reason));
}

HttpError CurlTransfer::error(Kind kind, std::string_view reason) const {
    std::string_view method = request_.method;
    if (!isToken(method)) {
        method = "request";
    }
    return {.kind = kind,
            .message = origin_.empty() ? fmt::format("{}: {}", method, reason)
                                       : fmt::format("{} {}: {}", method, origin_, reason)};
}

void CurlTransfer::complete(HttpResult outcome) {
    std::exchange(completion_, {})(std::move(outcome));
}

} // namespace platform::posix
