#include "ostrad/Site.h"

#include "ostrad/ApiJson.h"
#include "ostrad/Folders.h"
#include "ostrad/Log.h"
#include "ostrad/Modes.h"
#include "ostrad/Naming.h"
#include "ostrad/Replies.h"
#include "ostrad/RequestBody.h"
#include "ostrad/RequestRules.h"
#include "ostrad/SafeFile.h"
#include "ostrad/WebFiles.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <expected>
#include <limits>

namespace ostrad {

namespace json = boost::json;

namespace {

constexpr std::int64_t kMostEntities = 500;
constexpr std::size_t kLongestName = 200;

struct Page {
    std::string_view path;
    std::string_view file;
};
constexpr std::array<Page, 8> kPages{{
    {"/", "index.html"},
    {"/account", "account.html"},
    {"/link", "link.html"},
    {"/connect", "connect.html"},
    {"/app.css", "app.css"},
    {"/app.js", "app.js"},
    {"/account.js", "account.js"},
    {"/icon.svg", "icon.svg"},
}};

const WebFile* findWebFile(std::string_view name) {
    const auto files = webFiles();
    const auto found = std::ranges::find(files, name, &WebFile::name);
    return found == files.end() ? nullptr : &*found;
}

Reply webFileReply(const WebFile& file) {
    const std::string_view bytes(reinterpret_cast<const char*>(file.bytes.data()),
                                 file.bytes.size());
    Reply reply = pageReply(200, bytes);
    const std::string_view type = file.name.ends_with(".css")   ? "text/css; charset=utf-8"
                                  : file.name.ends_with(".js")  ? "text/javascript; charset=utf-8"
                                  : file.name.ends_with(".svg") ? "image/svg+xml"
                                                                : "text/html; charset=utf-8";
    std::ranges::find(reply.headers, "Content-Type", [](const auto& field) {
        return std::string_view(field.first);
    })->second = type;
    return reply;
}

Reply ok(const json::value& body) {
    return jsonReply(200, json::serialize(body));
}

std::optional<std::int64_t> number(std::string_view text, std::int64_t most) {
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stoppedAt, error] = std::from_chars(text.data(), end, value);
    const bool valid = !text.empty() && error == std::errc{} && stoppedAt == end;
    return valid && value >= 0 && value <= most ? std::optional(value) : std::nullopt;
}

constexpr std::int64_t kMostId = std::numeric_limits<std::int64_t>::max();

std::expected<EntityQuery, ApiError> entityQuery(const Request& request) {
    EntityQuery query;
    const auto bad = [](std::string sentence) {
        return std::unexpected(ApiError{400, std::move(sentence)});
    };
    for (const auto& [name, value] : request.query) {
        std::optional<std::int64_t> parsed;
        if (name == "type") {
            if (findEntityType(value) == nullptr) {
                return bad(fmt::format("There is no entity type \"{}\".", validUtf8(value)));
            }
            query.type = value;
        } else if (name == "limit") {
            if (!(parsed = number(value, kMostEntities))) {
                return bad(fmt::format("limit must be a number from 0 to {}.", kMostEntities));
            }
            query.limit = *parsed;
        } else if (name == "offset") {
            if (!(parsed = number(value, kMostId))) {
                return bad("offset must be a number from 0 up.");
            }
            query.offset = *parsed;
        } else if (name == "libraryId" || name == "parentId") {
            if (!(parsed = number(value, kMostId))) {
                return bad(fmt::format("{} must be a number.", name));
            }
            (name == "libraryId" ? query.libraryId : query.parentId) = parsed;
        } else if (name == "inLibrary") {
            // Every entity belongs to a library, so both values select the same.
            if (value != "0" && value != "1") {
                return bad("inLibrary must be 0 or 1.");
            }
        } else if (name == "search") {
            query.search = validUtf8(value);
        }
    }
    if (query.type.empty() && !query.parentId) {
        return bad("type is required unless parentId is given.");
    }
    return query;
}

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

std::optional<std::string_view> matchRoute(std::string_view path, std::string_view prefix,
                                           std::string_view tail) {
    if (!prefix.ends_with('/')) {
        return path == prefix ? std::optional<std::string_view>("") : std::nullopt;
    }
    if (!path.starts_with(prefix) || !path.ends_with(tail) ||
        path.size() <= prefix.size() + tail.size()) {
        return std::nullopt;
    }
    const std::string_view argument =
        path.substr(prefix.size(), path.size() - prefix.size() - tail.size());
    return argument.find('/') == std::string_view::npos ? std::optional(argument) : std::nullopt;
}

std::string_view methodName(Method method) {
    return method == Method::get ? "GET, HEAD" : method == Method::post ? "POST" : "DELETE";
}

} // namespace

std::span<const Site::Route> Site::routes() {
    static constexpr std::array<Route, 22> kRoutes{{
        {Method::get, "/api/health", "", &Site::health},
        {Method::get, "/api/modes", "", &Site::listModes},
        {Method::get, "/api/libraries", "", &Site::listLibraries},
        {Method::post, "/api/libraries", "", &Site::addLibrary},
        {Method::del, "/api/libraries/", "", &Site::removeLibrary},
        {Method::post, "/api/libraries/", "/scan", &Site::rescanLibrary},
        {Method::get, "/api/scan", "", &Site::scanProgress},
        {Method::get, "/api/entities", "", &Site::listEntities},
        {Method::get, "/api/entities/", "", &Site::oneEntity},
        {Method::get, "/api/folders", "", &Site::folders},
        {Method::get, "/api/account/link/status", "", &Site::linkStatus},
        {Method::get, "/api/account/link/start", "", &Site::linkStart},
        {Method::post, "/api/account/link/approve", "", &Site::linkApprove},
        {Method::post, "/api/account/link/deny", "", &Site::linkDeny},
        {Method::post, "/api/account/unlink", "", &Site::unlink},
        {Method::post, "/api/link/start", "", &Site::deviceStart},
        {Method::post, "/api/link/poll", "", &Site::devicePoll},
        {Method::get, "/api/link/session", "", &Site::sessionStatus},
        {Method::post, "/api/link/session", "", &Site::sessionAllow},
        {Method::post, "/api/link/mint", "", &Site::mint},
        {Method::get, "/media/", "", &Site::media},
        {Method::get, "/art/", "", &Site::art},
    }};
    return kRoutes;
}

Site::Site(Settings siteSettings, Catalogue& siteCatalogue, Scanner& siteScanner,
           AccountLink& accountLink, DeviceLinks& deviceLinks, WriteTurn& writeTurn)
    : settings(std::move(siteSettings))
    , catalogue(siteCatalogue)
    , scanner(siteScanner)
    , account(accountLink)
    , devices(deviceLinks)
    , turn(writeTurn) {}

Reply Site::handle(const Request& request) {
    if (!isOwnHost(request.header("host"), settings.address.port)) {
        return errorReply(403, "This server answers to its own loopback address only.");
    }
    const bool isFile = request.path.starts_with("/api/") || request.path.starts_with("/media/") ||
                        request.path.starts_with("/art/");
    if (isForeign(request, settings.address.port) && (isFile || !isPageVisit(request))) {
        return errorReply(403, "Requests from other web sites are refused.");
    }
    try {
        return dispatch(request);
    } catch (const DatabaseError& error) {
        logLine(error.what());
        return errorReply(500, "The database could not be used.");
    }
}

Reply Site::dispatch(const Request& request) {
    const bool reads = request.method == Method::get || request.method == Method::head;
    std::string allowed;
    for (const Route& route : routes()) {
        const auto argument = matchRoute(request.path, route.path, route.tail);
        if (!argument) {
            continue;
        }
        if (route.method == request.method || (reads && route.method == Method::get)) {
            return (this->*route.run)({request, *argument});
        }
        allowed += allowed.empty() ? "" : ", ";
        allowed += methodName(route.method);
    }
    const auto page = std::ranges::find(kPages, request.path, &Page::path);
    if (page != kPages.end() && reads) {
        if (const WebFile* const file = findWebFile(page->file)) {
            return webFileReply(*file);
        }
    }
    if (page != kPages.end()) {
        allowed = methodName(Method::get);
    }
    if (!allowed.empty()) {
        Reply reply = errorReply(405, "This address does not take that method.");
        reply.headers.emplace_back("Allow", allowed);
        return reply;
    }
    return request.path.starts_with("/api/") ? errorReply(404, "There is nothing at this address.")
                                             : notFoundPage();
}

std::string Site::origin() const {
    const std::string& host = settings.address.host;
    return fmt::format("http://{}:{}", host == "::1" ? "[::1]" : host, settings.address.port);
}

Reply Site::health(const Call&) {
    json::object body{{"status", "ok"}};
    if (settings.healthNonce) {
        body["nonce"] = *settings.healthNonce;
    }
    return ok(body);
}

Reply Site::listModes(const Call&) {
    return ok(modesJson(modes()));
}

Reply Site::listLibraries(const Call&) {
    const ScanProgress scan = scanner.progress();
    json::array body;
    for (const Library& library : catalogue.libraries()) {
        body.push_back(libraryJson(library, scan));
    }
    return ok(body);
}

Reply Site::addLibrary(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const auto modeId = stringMember(*body, "modeId");
    const Mode* const mode = modeId ? findMode(*modeId) : nullptr;
    if (mode == nullptr) {
        return errorReply(400, "Choose one of the media modes.");
    }
    const auto path = resolveFolder(trimmed(stringMember(*body, "path").value_or("")));
    if (!path) {
        return errorReply(400, path.error());
    }
    std::string name = trimmed(stringMember(*body, "name").value_or(""));
    if (name.size() > kLongestName) {
        return errorReply(400, fmt::format("The name is longer than {} bytes.", kLongestName));
    }
    if (name.empty()) {
        name = folderName(*path);
    }
    const auto held = turn.request();
    const auto library = catalogue.addLibrary(mode->id, name, *path);
    if (!library) {
        return errorReply(409, library.error());
    }
    scanner.scan(library->id);
    return jsonReply(201, json::serialize(libraryJson(*library, scanner.progress())));
}

Reply Site::removeLibrary(const Call& call) {
    const auto id = number(call.argument, kMostId);
    const auto held = turn.request();
    if (!id || !catalogue.removeLibrary(*id)) {
        return errorReply(404, "There is no such library.");
    }
    return jsonReply(200, "{}");
}

Reply Site::rescanLibrary(const Call& call) {
    const auto id = number(call.argument, kMostId);
    if (!id || !catalogue.library(*id)) {
        return errorReply(404, "There is no such library.");
    }
    scanner.scan(*id);
    return jsonReply(202, json::serialize(progressJson(scanner.progress())));
}

Reply Site::scanProgress(const Call&) {
    return ok(progressJson(scanner.progress()));
}

Reply Site::listEntities(const Call& call) {
    const auto query = entityQuery(call.request);
    if (!query) {
        return errorReply(query.error().status, query.error().sentence);
    }
    const EntityPage page = catalogue.entities(*query);
    json::array body;
    for (const Entity& entity : page.entities) {
        body.push_back(entityJson(entity));
    }
    Reply reply = ok(body);
    reply.headers.emplace_back("X-Total-Count", std::to_string(page.total));
    return reply;
}

Reply Site::oneEntity(const Call& call) {
    const auto id = number(call.argument, kMostId);
    const auto entity = id ? catalogue.entity(*id) : std::nullopt;
    return entity ? ok(entityJson(*entity)) : errorReply(404, "There is no such entity.");
}

Reply Site::folders(const Call& call) {
    const auto listing = listFolders(call.request.parameter("path").value_or(""));
    return listing ? ok(foldersJson(*listing)) : errorReply(400, listing.error());
}

Reply Site::media(const Call& call) {
    const auto id = number(call.argument, kMostId);
    const auto file = id ? catalogue.mediaFile(*id) : std::nullopt;
    const Mode* const mode = file ? findMode(file->modeId) : nullptr;
    const FileKind* const kind = mode == nullptr ? nullptr : fileKind(*mode, file->path);
    if (kind == nullptr) {
        return errorReply(404, "There is no such file.");
    }
    return fileReply(call.request, openFileBeneath(file->libraryPath, file->path),
                     kind->contentType);
}

Reply Site::art(const Call& call) {
    if (settings.artworkPath.empty() || !Artwork::isPictureName(call.argument)) {
        return errorReply(404, "There is no such picture.");
    }
    return fileReply(call.request, openFileBeneath(settings.artworkPath, call.argument),
                     "image/jpeg");
}

} // namespace ostrad
