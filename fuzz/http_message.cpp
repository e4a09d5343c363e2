// A request as bytes: what the HTTP library makes of it under the server's limits, in pieces of the
// size that the first byte says, and what the server makes of that.
#include "fuzz/Fuzzing.h"
#include "ostrad/HttpMessage.h"
#include "ostrad/RequestBody.h"
#include "ostrad/RequestParameters.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>

#include <algorithm>
#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t piece = data[0] + std::size_t{1};
    std::string pending;
    boost::beast::http::request_parser<boost::beast::http::string_body> parser;
    parser.header_limit(16 * 1024);
    parser.body_limit(64 * 1024);
    for (std::size_t at = 1; at < size && !parser.is_done(); at += piece) {
        pending.append(reinterpret_cast<const char*>(data) + at, std::min(piece, size - at));
        boost::beast::error_code error;
        const std::size_t used = parser.put(boost::asio::buffer(pending), error);
        if (error && error != boost::beast::http::error::need_more) {
            return 0;
        }
        pending.erase(0, used);
    }
    if (!parser.is_header_done()) {
        return 0;
    }
    const auto request = ostrad::requestOf(parser.get());
    if (request) {
        require(request->path.starts_with('/'), "the path is one");
        require(request->path.find('\0') == std::string::npos, "the path is text");
        for (const auto& [name, value] : request->headers) {
            require(std::ranges::none_of(name, [](char c) { return c >= 'A' && c <= 'Z'; }),
                    "header names are in lower case");
            require(value.find_first_of("\r\n") == std::string::npos, "a header is one line");
        }
        static_cast<void>(ostrad::jsonBody(*request));
        static_cast<void>(ostrad::cookie(*request, "session"));
        static_cast<void>(ostrad::entityQuery(request->query));
    }
    return 0;
}
