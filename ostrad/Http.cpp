#include "ostrad/Http.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>

namespace ostrad {

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::optional<std::string_view> find(const Pairs& pairs, std::string_view name) {
    const auto found = std::ranges::find(pairs, name, &Pairs::value_type::first);
    if (found == pairs.end()) {
        return std::nullopt;
    }
    return found->second;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<std::string> decode(std::string_view text, bool plusIsSpace) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+' && plusIsSpace) {
            decoded += ' ';
        } else if (text[i] != '%') {
            decoded += text[i];
        } else {
            const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
            if (high < 0 || low < 0 || (high == 0 && low == 0)) {
                return std::nullopt;
            }
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        }
    }
    return decoded;
}

bool parseQuery(std::string_view text, Pairs& pairs) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('&'), text.size());
        const std::string_view pair = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (pair.empty()) {
            continue;
        }
        const std::size_t equals = std::min(pair.find('='), pair.size());
        auto name = decode(pair.substr(0, equals), true);
        auto value = decode(pair.substr(std::min(equals + 1, pair.size())), true);
        if (!name || !value) {
            return false;
        }
        pairs.emplace_back(std::move(*name), std::move(*value));
    }
    return true;
}

} // namespace

std::optional<std::string_view> Request::header(std::string_view lowerCaseName) const {
    return find(headers, lowerCaseName);
}

std::optional<std::string_view> Request::parameter(std::string_view name) const {
    return find(query, name);
}

std::optional<Target> parseTarget(std::string_view target) {
    Target parsed;
    constexpr std::string_view scheme = "http://";
    if (target.starts_with(scheme)) {
        target.remove_prefix(scheme.size());
        const std::size_t end = std::min(target.find_first_of("/?"), target.size());
        parsed.authority = target.substr(0, end);
        target.remove_prefix(end);
        if (target.empty()) {
            target = "/";
        }
    }
    if (!target.starts_with('/')) {
        return std::nullopt;
    }
    const std::size_t question = std::min(target.find('?'), target.size());
    auto path = decode(target.substr(0, question), false);
    if (!path || !parseQuery(target.substr(std::min(question + 1, target.size())), parsed.query)) {
        return std::nullopt;
    }
    parsed.path = std::move(*path);
    return parsed;
}

std::string_view reasonPhrase(int status) {
    struct Entry {
        int status;
        std::string_view phrase;
    };
    static constexpr std::array<Entry, 22> kPhrases{{
        {100, "Continue"},
        {200, "OK"},
        {201, "Created"},
        {202, "Accepted"},
        {204, "No Content"},
        {206, "Partial Content"},
        {304, "Not Modified"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {409, "Conflict"},
        {410, "Gone"},
        {413, "Content Too Large"},
        {415, "Unsupported Media Type"},
        {416, "Range Not Satisfiable"},
        {422, "Unprocessable Content"},
        {431, "Request Header Fields Too Large"},
        {500, "Internal Server Error"},
        {501, "Not Implemented"},
        {503, "Service Unavailable"},
    }};
    const auto found = std::ranges::find(kPhrases, status, &Entry::status);
    return found == kPhrases.end() ? std::string_view("Unknown") : found->phrase;
}

std::string httpDate(std::int64_t secondsSinceEpoch) {
    static constexpr std::array<const char*, 7> kDays{"Sun", "Mon", "Tue", "Wed",
                                                      "Thu", "Fri", "Sat"};
    static constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto time = static_cast<std::time_t>(secondsSinceEpoch);
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    return fmt::format("{}, {:02} {} {:04} {:02}:{:02}:{:02} GMT",
                       kDays[static_cast<std::size_t>(parts.tm_wday)], parts.tm_mday,
                       kMonths[static_cast<std::size_t>(parts.tm_mon)], parts.tm_year + 1900,
                       parts.tm_hour, parts.tm_min, parts.tm_sec);
}

Reply finished(Reply reply) {
    while (reply.onWorker || reply.onServer) {
        const auto rest = std::move(reply.onWorker ? reply.onWorker : reply.onServer);
        reply = rest();
    }
    return reply;
}

} // namespace ostrad
