#include "ostrad/Site.h"

#include "ostrad/ApiJson.h"
#include "ostrad/Folders.h"
#include "ostrad/Log.h"
#include "ostrad/Modes.h"
#include "ostrad/Replies.h"
#include "ostrad/RequestBody.h"
#include "ostrad/RequestParameters.h"
#include "ostrad/RequestRules.h"
#include "ostrad/SafeFile.h"
#include "ostrad/WebFiles.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace ostrad {

namespace json = boost::json;

namespace {

constexpr std::size_t kLongestLibraryName = 200;

struct Page {
    std::string_view path;
    std::string_view file;
};
constexpr std::array<Page, 10> kPages{{
    {"/", "index.html"},
    {"/account", "account.html"},
    {"/link", "link.html"},
    {"/connect", "connect.html"},
    {"/app.css", "app.css"},
    {"/app.js", "app.js"},
    {"/list.js", "list.js"},
    {"/stream.js", "stream.js"},
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

Reply pageOf(const EntityPage& page) {
    json::array body;
    for (const Entity& entity : page.entities) {
        body.push_back(entityJson(entity));
    }
    Reply reply = okReply(body);
    reply.headers.emplace_back("X-Total-Count", std::to_string(page.total));
    return reply;
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
    static constexpr std::array<Route, 28> kRoutes{{
        {Method::get, "/api/health", "", &Site::health},
        {Method::get, "/api/modes", "", &Site::listModes},
        {Method::get, "/api/libraries", "", &Site::listLibraries},
        {Method::post, "/api/libraries", "", &Site::addLibrary},
        {Method::del, "/api/libraries/", "", &Site::removeLibrary},
        {Method::post, "/api/libraries/", "/scan", &Site::rescanLibrary},
        {Method::get, "/api/scan", "", &Site::scanProgress},
        {Method::get, "/api/entities", "", &Site::listEntities},
        {Method::get, "/api/entities/", "", &Site::oneEntity},
        {Method::get, "/api/entities/", "/tracks", &Site::tracks},
        {Method::get, "/api/entities/", "/subtitles", &Site::subtitles},
        {Method::post, "/api/entities/", "/stream", &Site::openStream},
        {Method::post, "/api/entities/", "/progress", &Site::setProgress},
        {Method::del, "/api/streams/", "", &Site::closeStream},
        {Method::get, "/hls/", "", &Site::streamPart},
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
    , turn(writeTurn)
    , finder(std::make_shared<Finder>(siteCatalogue.path())) {}

Reply Site::handle(const Request& request) {
    if (!isOwnHost(request.header("host"), settings.address.port)) {
        return errorReply(403, "This server answers to its own loopback address only.");
    }
    constexpr std::array<std::string_view, 4> files{"/api/", "/media/", "/art/", "/hls/"};
    const bool isFile = std::ranges::any_of(
        files, [&](std::string_view folder) { return request.path.starts_with(folder); });
    if (isForeign(request, settings.address.port) && (isFile || !isPageVisit(request))) {
        return errorReply(403, "Requests from other web sites are refused.");
    }
    return guarded([&] { return dispatch(request); });
}

Reply Site::guarded(const std::function<Reply()>& answer) {
    try {
        return answer();
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
    return okReply(body);
}

Reply Site::listModes(const Call&) {
    return okReply(modesJson(modes()));
}

Reply Site::listLibraries(const Call&) {
    const ScanProgress scan = scanner.progress();
    json::array body;
    for (const Library& library : catalogue.libraries()) {
        body.push_back(libraryJson(library, scan));
    }
    return okReply(body);
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
    std::string name = trimmed(stringMember(*body, "name").value_or(""));
    if (name.size() > kLongestLibraryName) {
        return errorReply(400,
                          fmt::format("The name is longer than {} bytes.", kLongestLibraryName));
    }
    return onWorker([this, mode, name = std::move(name),
                     wanted = trimmed(stringMember(*body, "path").value_or(""))] {
        auto path = resolveFolder(wanted);
        if (!path) {
            return errorReply(400, path.error());
        }
        Reply rest;
        rest.onServer = [this, mode, name, path = *std::move(path)] {
            return guarded([&] { return addResolvedLibrary(*mode, name, path); });
        };
        return rest;
    });
}

Reply Site::addResolvedLibrary(const Mode& mode, const std::string& name, const std::string& path) {
    const auto held = turn.request();
    const auto library =
        catalogue.addLibrary(mode.id, name.empty() ? folderName(path) : name, path);
    if (!library) {
        return errorReply(409, library.error());
    }
    scanner.scan(library->id);
    return jsonReply(201, json::serialize(libraryJson(*library, scanner.progress())));
}

Reply Site::removeLibrary(const Call& call) {
    const auto id = wholeNumber(call.argument);
    const auto held = turn.request();
    if (!id || !catalogue.removeLibrary(*id)) {
        return errorReply(404, "There is no such library.");
    }
    return jsonReply(200, "{}");
}

Reply Site::rescanLibrary(const Call& call) {
    const auto id = wholeNumber(call.argument);
    if (!id || !catalogue.library(*id)) {
        return errorReply(404, "There is no such library.");
    }
    scanner.scan(*id);
    return jsonReply(202, json::serialize(progressJson(scanner.progress())));
}

Reply Site::scanProgress(const Call&) {
    return okReply(progressJson(scanner.progress()));
}

Reply Site::listEntities(const Call& call) {
    const auto query = entityQuery(call.request.query);
    if (!query) {
        return errorReply(query.error().status, query.error().sentence);
    }
    if (query->search.empty()) {
        return pageOf(catalogue.entities(*query));
    }
    return onWorker([found = finder, wanted = *query] {
        return guarded([&] { return pageOf(found->find(wanted)); });
    });
}

Reply Site::oneEntity(const Call& call) {
    const auto id = wholeNumber(call.argument);
    const auto entity = id ? catalogue.entity(*id) : std::nullopt;
    return entity ? okReply(entityJson(*entity)) : errorReply(404, "There is no such entity.");
}

Reply Site::folders(const Call& call) {
    return onWorker([path = std::string(call.request.parameter("path").value_or(""))] {
        const auto listing = listFolders(path);
        return listing ? okReply(foldersJson(*listing)) : errorReply(400, listing.error());
    });
}

Reply Site::media(const Call& call) {
    const auto id = wholeNumber(call.argument);
    const auto file = id ? catalogue.mediaFile(*id) : std::nullopt;
    if (!file) {
        return errorReply(404, "There is no such file.");
    }
    const Mode* const mode = findMode(file->modeId);
    const FileKind* const kind = mode == nullptr ? nullptr : fileKind(*mode, file->path);
    if (kind == nullptr) {
        return errorReply(404, "There is no such file.");
    }
    return onWorker([request = call.request, file = *file, kind] {
        return fileReply(request, openFileBeneath(file.libraryPath, file.path), kind->contentType);
    });
}

Reply Site::art(const Call& call) {
    if (settings.artworkPath.empty() || !Artwork::isPictureName(call.argument)) {
        return errorReply(404, "There is no such picture.");
    }
    return onWorker(
        [request = call.request, folder = settings.artworkPath, name = std::string(call.argument)] {
            return fileReply(request, openFileBeneath(folder, name), "image/jpeg");
        });
}

} // namespace ostrad
