#pragma once

#include "ostrad/UniqueFd.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ostrad {

// One HTTP exchange as the server's own code sees it (RFC 9110): plain values, free of the HTTP
// library, so that everything above the sockets can be tested without them. Header names are
// stored in lower case. A body is bytes, or a slice of an open file that the connection streams.

enum class Method { get, head, post, del, other };

struct Request {
    Method method = Method::get;
    std::string path;                                       // percent-decoded, begins with '/'
    std::vector<std::pair<std::string, std::string>> query; // decoded, in order
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    [[nodiscard]] std::optional<std::string_view> header(std::string_view lowerCaseName) const;
    [[nodiscard]] std::optional<std::string_view> parameter(std::string_view name) const;
};

struct FileSlice {
    UniqueFd file;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

struct Reply {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    std::optional<FileSlice> file; // when present, body is empty

    // One of them present: this is no reply yet, the function makes it. `onWorker` may block, so it
    // runs on another thread and owns what it touches; `onServer` runs where the handler did.
    std::function<Reply()> onWorker;
    std::function<Reply()> onServer;
};

// The reply once everything that was put off has run, on the caller's thread.
Reply finished(Reply reply);

struct Target {
    std::string path;
    std::vector<std::pair<std::string, std::string>> query;
    std::optional<std::string> authority; // of an absolute-form target; replaces Host
};

// A request target in origin-form or absolute-form (RFC 9112, 3.2). Nothing for every other form,
// for broken percent-encoding and for an encoded NUL.
std::optional<Target> parseTarget(std::string_view target);

std::string_view reasonPhrase(int status);

// An IMF-fixdate (RFC 9110, 5.6.7) of seconds since the epoch.
std::string httpDate(std::int64_t secondsSinceEpoch);

} // namespace ostrad
