#include "mac/Tessel/Link/ServerOrigin.h"

namespace tessel {
namespace {

std::optional<Url> withHost(const std::string& text) {
    auto url = parseUrl(text);
    return url && urlHost(*url) ? url : std::nullopt;
}

std::optional<Url> originOf(const std::string& text) {
    auto url = withHost(text);
    if (!url || !urlScheme(*url)) {
        return std::nullopt;
    }
    url->remove_userinfo();
    url->set_encoded_path("");
    url->remove_query();
    url->remove_fragment();
    if (!urlPort(*url)) {
        url->remove_port();
    }
    return url;
}

} // namespace

Url ServerOrigin::resolve(const std::string& environmentKey,
                          const std::optional<Credentials>& credentials, const Url& placeholder,
                          const platform::Environment& environment,
                          const std::optional<platform::InfoDictionary>& infoDictionary) {
    if (const auto entry = environment.find(environmentKey); entry != environment.end()) {
        if (const auto url = withHost(entry->second)) {
            return *url;
        }
    }
    if (credentials) {
        if (const auto url = withHost(credentials->serverOrigin)) {
            return *url;
        }
    }
    const auto feed =
        infoDictionary ? platform::infoString(*infoDictionary, "SUFeedURL") : std::nullopt;
    const auto origin = feed ? originOf(*feed) : std::nullopt;
    return origin ? *origin : placeholder;
}

} // namespace tessel
