#include "ostrad/HttpMessage.h"

#include <boost/beast/http/field.hpp>

#include <algorithm>
#include <string>
#include <string_view>

namespace ostrad {

namespace beast = boost::beast;
namespace http = beast::http;

namespace {

Method methodOf(http::verb verb) {
    switch (verb) {
    case http::verb::get:
        return Method::get;
    case http::verb::head:
        return Method::head;
    case http::verb::post:
        return Method::post;
    case http::verb::delete_:
        return Method::del;
    default:
        return Method::other;
    }
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    });
    return lower;
}

std::string_view view(beast::string_view text) {
    return {text.data(), text.size()};
}

} // namespace

std::optional<Request> requestOf(const http::request<http::string_body>& message) {
    auto target = parseTarget(view(message.target()));
    const std::size_t hosts = message.count(http::field::host);
    if (!target || hosts > 1 || (hosts == 0 && message.version() >= 11)) {
        return std::nullopt;
    }
    Request request;
    request.method = methodOf(message.method());
    request.path = std::move(target->path);
    request.query = std::move(target->query);
    for (const auto& field : message) {
        request.headers.emplace_back(lowerCase(view(field.name_string())),
                                     std::string(view(field.value())));
    }
    if (target->authority) {
        std::erase_if(request.headers, [](const auto& field) { return field.first == "host"; });
        request.headers.emplace_back("host", std::move(*target->authority));
    }
    request.body = message.body();
    return request;
}

} // namespace ostrad
