#include "ostrad/Replies.h"

#include "ostrad/ByteRange.h"

#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>
#include <sys/stat.h>

namespace ostrad {

namespace {

constexpr std::string_view kPagePolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "media-src 'self' blob:; connect-src 'self'; form-action 'none'; base-uri 'none'; "
    "frame-ancestors 'none'";

void addCommon(Reply& reply, std::string_view contentType, std::string_view cacheControl) {
    reply.headers.emplace_back("Content-Type", contentType);
    reply.headers.emplace_back("Cache-Control", cacheControl);
    reply.headers.emplace_back("X-Content-Type-Options", "nosniff");
    reply.headers.emplace_back("Referrer-Policy", "no-referrer");
    reply.headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
}

} // namespace

Reply jsonReply(int status, std::string body) {
    Reply reply;
    reply.status = status;
    addCommon(reply, "application/json", "no-store");
    reply.body = std::move(body);
    return reply;
}

Reply okReply(const boost::json::value& body) {
    return jsonReply(200, boost::json::serialize(body));
}

Reply errorReply(int status, std::string_view sentence) {
    return jsonReply(status,
                     boost::json::serialize(boost::json::value{
                         {"error", boost::json::string_view(sentence.data(), sentence.size())}}));
}

Reply pageReply(int status, std::string_view html) {
    Reply reply;
    reply.status = status;
    addCommon(reply, "text/html; charset=utf-8", "no-cache");
    reply.headers.emplace_back("Content-Security-Policy", kPagePolicy);
    reply.headers.emplace_back("X-Frame-Options", "DENY");
    reply.body = html;
    return reply;
}

Reply notFoundPage() {
    return pageReply(404, "<!doctype html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n"
                          "<title>Not found - Zorvane</title>\n"
                          "<link rel=\"stylesheet\" href=\"/app.css\">\n"
                          "<main class=\"card-page\"><h1>Not found</h1>\n"
                          "<p>There is nothing at this address.</p>\n"
                          "<p><a href=\"/\">Go to your libraries</a></p></main>\n</html>\n");
}

Reply onWorker(std::function<Reply()> make) {
    Reply reply;
    reply.onWorker = std::move(make);
    return reply;
}

Reply fileReply(const Request& request, UniqueFd file, std::string_view contentType) {
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0) {
        return errorReply(404, "The file is not there.");
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    const auto modified = static_cast<std::int64_t>(status.st_mtime);
    const std::string tag = fmt::format("\"{:x}-{:x}-{:x}\"", status.st_ino, size, modified);

    Reply reply;
    addCommon(reply, contentType, "private, no-cache");
    reply.headers.emplace_back("Accept-Ranges", "bytes");
    reply.headers.emplace_back("ETag", tag);
    reply.headers.emplace_back("Last-Modified", httpDate(modified));
    if (request.header("if-none-match") == std::string_view(tag)) {
        reply.status = 304;
        return reply;
    }
    const auto rangeHeader = request.header("range");
    const auto condition = request.header("if-range");
    const bool applies = rangeHeader && (!condition || *condition == tag);
    const ByteRange range = applies ? parseRange(*rangeHeader, size) : ByteRange{};
    switch (range.kind) {
    case ByteRange::Kind::whole:
        reply.file = FileSlice{std::move(file), 0, size};
        break;
    case ByteRange::Kind::slice:
        reply.status = 206;
        reply.headers.emplace_back(
            "Content-Range",
            fmt::format("bytes {}-{}/{}", range.first, range.first + range.length - 1, size));
        reply.file = FileSlice{std::move(file), range.first, range.length};
        break;
    case ByteRange::Kind::unsatisfiable:
        reply.status = 416;
        reply.headers.emplace_back("Content-Range", fmt::format("bytes */{}", size));
        break;
    }
    return reply;
}

} // namespace ostrad
