#pragma once

#include "ostrad/Http.h"
#include "ostrad/UniqueFd.h"

#include <boost/json/value.hpp>

#include <functional>
#include <string>
#include <string_view>

namespace ostrad {

// The replies that every route is built from, with the headers each kind of content needs.

struct ApiError {
    int status;
    std::string sentence;
};

Reply jsonReply(int status, std::string body);
Reply okReply(const boost::json::value& body);           // 200
Reply errorReply(int status, std::string_view sentence); // {"error": sentence}
Reply pageReply(int status, std::string_view html);      // under the content policy of our pages
Reply notFoundPage();

// A reply yet to be made, by a function that may wait for a disk or a tool: on another thread.
Reply onWorker(std::function<Reply()> make);

// A regular file, whole or in part as Range and If-Range ask, or 304 as If-None-Match asks
// (RFC 9110). Content types are the server's own and never sniffed.
Reply fileReply(const Request& request, UniqueFd file, std::string_view contentType);

} // namespace ostrad
