#include "platform/UrlText.h"

#include <boost/url/ipv4_address.hpp>
#include <boost/url/parse.hpp>

#include <algorithm>
#include <string>

namespace platform {
namespace {

// Where the host of a URL lies, should the text be one; empty without an authority.
struct HostSpan {
    std::size_t begin = 0;
    std::size_t size = 0;
};

HostSpan hostSpan(std::string_view text) {
    const std::size_t scheme = text.find_first_of(":/?#");
    std::size_t mark = 0;
    if (scheme != std::string_view::npos && text[scheme] == ':') {
        mark = scheme + 1;
    }
    if (!text.substr(mark).starts_with("//")) {
        return {};
    }
    std::size_t begin = mark + 2;
    const std::size_t end = std::min(text.find_first_of("/?#", begin), text.size());
    const std::size_t user = text.substr(begin, end - begin).rfind('@');
    if (user != std::string_view::npos) {
        begin += user + 1;
    }
    return {.begin = begin, .size = std::min(text.find(':', begin), end) - begin};
}

bool beginsLikeAnAddress(std::string_view host) {
    return !host.empty() && host.front() >= '0' && host.front() <= '9' &&
           !boost::urls::parse_ipv4_address({host.data(), host.size()});
}

// Boost 1.81 ends an authority where an address or a number ends: of "http://[::1].evil/" it says
// that the host is [::1] and the path ".evil/". After an authority the RFC allows no path but an
// empty one or one that begins with a slash.
bool endsItsAuthority(const boost::urls::url_view& url) {
    return !url.has_authority() || url.encoded_path().empty() ||
           url.encoded_path().starts_with('/');
}

std::optional<boost::urls::url> parse(std::string_view text) {
    const auto parsed = boost::urls::parse_uri_reference({text.data(), text.size()});
    return parsed && endsItsAuthority(*parsed) ? std::optional<boost::urls::url>(*parsed)
                                               : std::nullopt;
}

} // namespace

std::optional<boost::urls::url> parseUrlReference(std::string_view text) {
    const HostSpan span = hostSpan(text);
    const std::string_view host = text.substr(span.begin, span.size);
    if (!beginsLikeAnAddress(host)) {
        return parse(text);
    }
    // A letter in the place of the first digit makes no other difference to what a name may hold,
    // and keeps Boost 1.81 from taking the name's beginning for an address.
    std::string masked(text);
    masked[span.begin] = 'h';
    auto url = parse(masked);
    if (url) {
        url->set_encoded_host({host.data(), host.size()});
    }
    return url;
}

} // namespace platform
