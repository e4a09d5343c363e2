#include "ostrad/Site.h"

#include "ostrad/WebFiles.h"

#include <boost/json.hpp>

namespace ostrad {

namespace json = boost::json;

Site::Site(Settings siteSettings)
    : settings(std::move(siteSettings)) {}

Reply Site::handle(const Request& request) {
    Reply reply;
    if (request.path == "/api/health") {
        json::object health{{"status", "ok"}};
        if (settings.healthNonce) {
            health["nonce"] = *settings.healthNonce;
        }
        reply.headers.emplace_back("Content-Type", "application/json");
        reply.body = json::serialize(health);
        return reply;
    }
    if (request.path == "/") {
        const WebFile& page = webFiles().front();
        reply.headers.emplace_back("Content-Type", "text/html; charset=utf-8");
        reply.body.assign(page.bytes.begin(), page.bytes.end());
        return reply;
    }
    reply.status = 404;
    reply.headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
    reply.body = "Not found\n";
    return reply;
}

} // namespace ostrad
