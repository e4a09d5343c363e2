#include "mac/OstraCore/AccountLink.h"

#include "mac/OstraCore/JsonReply.h"

#include <chrono>
#include <cstddef>
#include <utility>

namespace ostra {
namespace {

constexpr std::chrono::seconds longestAccountExchange{60};
constexpr std::size_t longestAccountReply = std::size_t{1} << 20;

std::optional<Url> urlMember(const boost::json::object& object, std::string_view name) {
    const auto text = stringMember(object, name);
    return text ? parseUrl(*text) : std::nullopt;
}

template <typename Record>
void fetch(const Url& url, platform::HttpClient& session,
           std::optional<Record> (*parse)(std::string_view),
           std::function<void(std::optional<Record>)> completion) {
    platform::HttpRequest request;
    request.url = url.buffer();
    request.timeout = longestAccountExchange;
    request.maxBodyBytes = longestAccountReply;
    session.send(std::move(request),
                 [parse, completion = std::move(completion)](const platform::HttpResult& reply) {
                     completion(reply ? parse(reply->body) : std::nullopt);
                 });
}

} // namespace

std::string AccountStatus::menuLine() const {
    if (linked) {
        return "Account: linked";
    }
    if (pending && code) {
        return "Account: linking\u2026 " + *code;
    }
    return "Account: not linked";
}

void AccountLink::fetchStatus(const Url& base, platform::HttpClient& session,
                              std::function<void(std::optional<AccountStatus>)> completion) {
    fetch(appendingPath(base, "api/account/link/status"), session, &parseStatus,
          std::move(completion));
}

void AccountLink::startLink(const Url& base, platform::HttpClient& session,
                            std::function<void(std::optional<LinkStart>)> completion) {
    fetch(appendingPath(base, "api/account/link/start"), session, &parseStart,
          std::move(completion));
}

std::optional<AccountStatus> AccountLink::parseStatus(std::string_view data) {
    const auto reply = parseReply(data);
    const auto* const object = reply ? reply->if_object() : nullptr;
    const auto linked = object != nullptr ? boolMember(*object, "linked") : std::nullopt;
    if (!linked) {
        return std::nullopt;
    }
    return AccountStatus{.linked = *linked,
                         .pending = boolMember(*object, "pending").value_or(false),
                         .code = stringMember(*object, "code"),
                         .verifyURL = urlMember(*object, "verifyUrl"),
                         .origin = urlMember(*object, "origin"),
                         .serverName = stringMember(*object, "serverName")};
}

std::optional<LinkStart> AccountLink::parseStart(std::string_view data) {
    const auto reply = parseReply(data);
    const auto* const object = reply ? reply->if_object() : nullptr;
    if (object == nullptr) {
        return std::nullopt;
    }
    auto code = stringMember(*object, "code");
    auto verifyURL = urlMember(*object, "verifyUrl");
    if (!code || code->empty() || !verifyURL) {
        return std::nullopt;
    }
    return LinkStart{.code = *std::move(code), .verifyURL = *std::move(verifyURL)};
}

std::optional<Url> AccountLink::accountPageURL(const std::optional<AccountStatus>& status) {
    if (!status || !status->origin) {
        return std::nullopt;
    }
    return appendingPath(*status->origin, "account");
}

} // namespace ostra
