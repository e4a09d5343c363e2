// One HTTP exchange as a libcurl easy handle: checks the request, sets every option, and collects
// the response within its limits. Made on the caller's thread, then prepared, run and destroyed on
// the client's internal one.
#pragma once

#include "platform/Clock.h"
#include "platform/HttpClient.h"

#include <curl/curl.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace platform::posix {

// What holds for every exchange of a client.
struct CurlSettings {
    std::string noProxy;     // in the form of CURLOPT_NOPROXY
    std::string authorities; // a PEM file; empty: the system's
};

class CurlTransfer {
  public:
    using Completion = std::function<void(HttpResult)>;

    // The time-out counts from `sent`.
    CurlTransfer(HttpRequest request, Completion completion, SteadyTime sent);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;
    ~CurlTransfer() = default;

    // Makes the handle ready to be run, or says why the request cannot be sent.
    [[nodiscard]] std::optional<HttpError> prepare(const CurlSettings& settings);
    [[nodiscard]] CURL* handle() const { return easy_.get(); }
    // When it has timed out if it has not begun by then.
    [[nodiscard]] SteadyTime latestStart() const;
    // When the exchange is given up unless something moves before; nothing without such a limit.
    [[nodiscard]] std::optional<SteadyTime> idleDeadline() const;

    // What an exchange that ended with this code comes to.
    [[nodiscard]] HttpResult result(CURLcode code);
    [[nodiscard]] HttpError error(HttpError::Kind kind, std::string_view reason) const;
    // The completion is called once; the transfer is spent afterwards.
    void complete(HttpResult outcome);

  private:
    struct EasyCleanup {
        void operator()(CURL* handle) const { ::curl_easy_cleanup(handle); }
    };
    struct ListCleanup {
        void operator()(curl_slist* list) const { ::curl_slist_free_all(list); }
    };

    [[nodiscard]] std::optional<std::string> faultOfRequest();
    [[nodiscard]] std::optional<std::string> faultOfUrl();
    [[nodiscard]] bool setProtocol(const CurlSettings& settings);
    [[nodiscard]] bool setSchemes();
    [[nodiscard]] bool setTrust(const std::string& authorities);
    [[nodiscard]] bool setMethod();
    [[nodiscard]] bool setBody();
    [[nodiscard]] bool setHeaders();
    [[nodiscard]] bool setLimits();
    [[nodiscard]] bool setCallbacks();
    [[nodiscard]] bool addHeaderLine(const std::string& line);
    template <typename Value>
    [[nodiscard]] bool set(CURLoption option, Value value);

    [[nodiscard]] bool takeHeaderLine(std::string_view line);
    void takeField(std::string_view line);
    [[nodiscard]] bool takeBody(std::string_view piece);
    [[nodiscard]] bool acceptsCoding();
    [[nodiscard]] bool acceptsDeclaredLength();
    [[nodiscard]] bool fail(HttpError::Kind kind, std::string_view reason);
    static std::size_t onHeader(char* data, std::size_t one, std::size_t size, void* self);
    static std::size_t onBody(char* data, std::size_t one, std::size_t size, void* self);
    static int onProgress(void* self, curl_off_t total, curl_off_t received, curl_off_t,
                          curl_off_t);

    HttpRequest request_;
    Completion completion_;
    SteadyTime deadline_;
    SteadyTime lastMove_;       // of a byte in either direction, as far as the library tells
    curl_off_t bytesMoved_ = 0; // of the bodies
    std::string origin_;        // scheme://host:port, for messages
    std::unique_ptr<CURL, EasyCleanup> easy_;
    std::unique_ptr<curl_slist, ListCleanup> headerLines_;

    HttpResponse response_;
    int sectionStatus_ = 0;        // status of the header section read last
    bool sectionEnded_ = false;    // what comes without a new status line are trailers
    std::size_t sectionBytes_ = 0; // with the interim responses before it
    std::size_t bodyBytes_ = 0;
    std::optional<HttpError> fault_; // why a callback ended the exchange
};

} // namespace platform::posix
