// The routes of the account link, and of the tokens for other programs.
#include "ostrad/Naming.h"
#include "ostrad/Replies.h"
#include "ostrad/RequestBody.h"
#include "ostrad/Site.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>
#include <ctime>

namespace ostrad {

namespace json = boost::json;

namespace {

constexpr int kPollSeconds = 2;
constexpr std::string_view kAppHeader = "x-ostrad-app"; // only a page's own script can send it

std::string internetDateTime(std::chrono::system_clock::time_point time) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}",
                       fmt::gmtime(std::chrono::system_clock::to_time_t(time)));
}

std::string_view statusName(DeviceLinks::Status status) {
    switch (status) {
    case DeviceLinks::Status::pending:
        return "pending";
    case DeviceLinks::Status::approved:
        return "approved";
    case DeviceLinks::Status::denied:
        return "denied";
    case DeviceLinks::Status::expired:
    case DeviceLinks::Status::unknown:
        break;
    }
    return "expired";
}

Reply linkReply(AccountLink::Outcome outcome) {
    switch (outcome) {
    case AccountLink::Outcome::done:
        return jsonReply(200, "{}");
    case AccountLink::Outcome::wrongCode:
        return errorReply(400, "This is not the code that is waiting.");
    case AccountLink::Outcome::nothingPending:
        break;
    }
    return errorReply(409, "No code is waiting: it was used, or its ten minutes are over.");
}

} // namespace

std::string Site::linkUrl(std::string_view code) const {
    return fmt::format("{}/link?code={}", origin(), code);
}

Reply Site::linkStatus(const Call&) {
    const bool linked = account.isLinked();
    const auto code = linked ? std::nullopt : account.pendingCode();
    json::object body{{"linked", linked}, {"pending", code.has_value()}};
    if (code) {
        body["code"] = *code;
        body["verifyUrl"] = linkUrl(*code);
    }
    if (linked) {
        body["origin"] = origin();
        body["serverName"] = validUtf8(settings.serverName);
    }
    return okReply(body);
}

Reply Site::linkStart(const Call&) {
    if (account.isLinked()) {
        return errorReply(409, "This server is already linked.");
    }
    const std::string code = account.start();
    return okReply(json::object{{"code", code}, {"verifyUrl", linkUrl(code)}});
}

Reply Site::linkApprove(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const std::string code = stringMember(*body, "code").value_or("");
    if (devices.approve(code)) {
        return jsonReply(200, "{}");
    }
    const auto held = turn.request();
    return wrongOrDone(account.approve(code));
}

Reply Site::linkDeny(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const std::string code = stringMember(*body, "code").value_or("");
    if (devices.deny(code)) {
        return jsonReply(200, "{}");
    }
    return wrongOrDone(account.deny(code));
}

Reply Site::unlink(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const auto held = turn.request();
    account.unlink();
    return jsonReply(200, "{}");
}

Reply Site::wrongOrDone(AccountLink::Outcome outcome) {
    if (outcome == AccountLink::Outcome::wrongCode ||
        outcome == AccountLink::Outcome::nothingPending) {
        devices.wrongCode();
    }
    return linkReply(outcome);
}

Reply Site::deviceStart(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const auto name = displayName(stringMember(*body, "name").value_or(""));
    if (!name) {
        return errorReply(400, "The device needs a name.");
    }
    const DeviceLinks::Started started = devices.start(*name);
    return okReply(json::object{
        {"code", started.code},
        {"pollToken", started.pollToken},
        {"verifyUrl", linkUrl(started.code)},
        {"expiresAt", internetDateTime(std::chrono::system_clock::now() + started.life)},
        {"interval", kPollSeconds}});
}

Reply Site::devicePoll(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const auto polled = devices.poll(stringMember(*body, "pollToken").value_or(""));
    if (polled.status == DeviceLinks::Status::unknown) {
        return errorReply(404, "There is no such link.");
    }
    const std::string_view name = statusName(polled.status);
    json::object reply{{"status", json::string_view(name.data(), name.size())}};
    if (polled.status == DeviceLinks::Status::approved) {
        reply["token"] = polled.token;
        reply["tokenName"] = polled.tokenName;
    }
    return okReply(reply);
}

// Cookies do not know ports: without the port in its name, another server on this computer would
// replace the session of this one.
std::string Site::sessionCookieName() const {
    return fmt::format("ostrad_session_{}", settings.address.port);
}

std::string Site::session(const Request& request) const {
    return cookie(request, sessionCookieName());
}

Reply Site::sessionStatus(const Call& call) {
    return okReply(json::object{{"allowed", devices.isAllowed(session(call.request))}});
}

Reply Site::sessionAllow(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    Reply reply = jsonReply(200, "{}");
    reply.headers.emplace_back("Set-Cookie",
                               fmt::format("{}={}; Path=/; HttpOnly; SameSite=Strict",
                                           sessionCookieName(), devices.allowSession()));
    return reply;
}

Reply Site::mint(const Call& call) {
    if (!call.request.header(kAppHeader)) {
        return errorReply(400, "Tokens are for pages in an application's window.");
    }
    const auto token = devices.mint(session(call.request));
    if (!token) {
        return errorReply(401, "This window has not been allowed yet.");
    }
    const auto name = displayName(call.request.header("x-app-device").value_or(""));
    return okReply(json::object{
        {"token", *token}, {"origin", origin()}, {"tokenName", name.value_or("This device")}});
}

} // namespace ostrad
