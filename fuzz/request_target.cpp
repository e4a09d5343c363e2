// What ostrad reads of a request before any route sees it: the target in the first line of the
// input, then the fields Host, Origin, Sec-Fetch-Site, Sec-Fetch-Mode and Content-Type, one a line.
#include "fuzz/Fuzzing.h"
#include "ostrad/Http.h"
#include "ostrad/RequestRules.h"

#include <string>

using fuzzing::require;

namespace {

constexpr std::uint16_t port = 4280;

bool holdsNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto text = fuzzing::textOf(data, size);
    const auto line = fuzzing::takeLine(text);
    if (holdsNul(std::string(text)) || holdsNul(std::string(line))) {
        return 0; // the HTTP parser lets none through
    }
    ostrad::Request request;
    if (auto target = ostrad::parseTarget(line)) {
        require(target->path.starts_with('/') && !holdsNul(target->path), "the path is one");
        for (const auto& [name, value] : target->query) {
            require(!holdsNul(name) && !holdsNul(value), "the query is text");
        }
        request.path = std::move(target->path);
        request.query = std::move(target->query);
    }
    for (const char* const name :
         {"host", "origin", "sec-fetch-site", "sec-fetch-mode", "content-type"}) {
        if (!text.empty()) {
            request.headers.emplace_back(name, fuzzing::takeLine(text));
        }
    }
    const auto host = request.header("host");
    if (ostrad::isOwnHost(host, port)) {
        require(host->ends_with(":4280"), "the own host names the own port");
    }
    static_cast<void>(ostrad::isForeign(request, port));
    static_cast<void>(ostrad::isPageVisit(request));
    static_cast<void>(ostrad::isJson(request.header("content-type")));
    return 0;
}
