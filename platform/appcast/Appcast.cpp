#include "platform/appcast/Appcast.h"

#include "platform/Base64.h"
#include "platform/Utf8.h"
#include "platform/appcast/VersionOrder.h"

#include <curl/curl.h>
#include <pugixml.hpp>

#include <algorithm>
#include <charconv>

namespace platform::appcast {
namespace {

constexpr std::size_t longestVersion = 64;
constexpr std::size_t longestUrl = 2048;
constexpr std::size_t mostConditions = 100;
constexpr std::chrono::seconds longestRolloutInterval = std::chrono::hours(24 * 365);

bool isPrintableAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c > ' ' && c < '\x7F'; });
}

bool isVersion(std::string_view text) {
    return !text.empty() && text.size() <= longestVersion && isPrintableAscii(text);
}

bool isForPeople(std::string_view text) {
    return !text.empty() && text.size() <= longestVersion &&
           std::ranges::none_of(text, [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; });
}

bool isHttpsUrl(std::string_view text) {
    constexpr std::string_view scheme = "https://";
    return text.starts_with(scheme) && text.size() > scheme.size() && text.size() <= longestUrl &&
           isPrintableAscii(text);
}

std::string childText(const pugi::xml_node& node, const char* name) {
    return std::string(trimmed(node.child(name).child_value()));
}

std::string attributeText(const pugi::xml_node& node, const char* name) {
    return std::string(trimmed(node.attribute(name).value()));
}

// A whole number from 0 to `most`; 0 for anything else.
std::uint64_t numberIn(std::string_view text, std::uint64_t most) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && value <= most ? value : 0;
}

std::optional<Signature> signatureIn(std::string_view text) {
    const auto bytes = decodeBase64(text);
    Signature signature{};
    if (!bytes || bytes->size() != signature.size()) {
        return std::nullopt;
    }
    std::ranges::copy(*bytes, signature.begin());
    return signature;
}

// The version may stand in the item or, as in old feeds, at its enclosure.
std::string itemOrEnclosure(const pugi::xml_node& item, const pugi::xml_node& enclosure,
                            const char* name) {
    auto text = childText(item, name);
    return text.empty() ? attributeText(enclosure, name) : text;
}

std::string httpsUrlIn(const pugi::xml_node& item, const char* name) {
    auto text = childText(item, name);
    return isHttpsUrl(text) ? text : std::string();
}

// RFC 822, as RSS has it.
std::optional<std::int64_t> dateIn(const std::string& text) {
    const auto seconds = ::curl_getdate(text.c_str(), nullptr);
    return text.empty() || seconds < 0 ? std::nullopt : std::optional<std::int64_t>(seconds);
}

// Critical for every version, or for those below one; old feeds have it among their tags.
VersionCondition criticalFor(const pugi::xml_node& item) {
    VersionCondition condition;
    const auto element = item.child("sparkle:criticalUpdate");
    if (const auto below = attributeText(element, "sparkle:version"); !below.empty()) {
        condition.below.push_back(below);
    } else {
        condition.always = element || item.child("sparkle:tags").child("sparkle:criticalUpdate");
    }
    return condition;
}

VersionCondition informationalFor(const pugi::xml_node& item) {
    VersionCondition condition;
    const auto element = item.child("sparkle:informationalUpdate");
    for (const auto& child : element.children()) {
        auto version = std::string(trimmed(child.child_value()));
        if (condition.exactly.size() + condition.below.size() == mostConditions) {
            break;
        }
        if (child.name() == std::string_view("sparkle:version")) {
            condition.exactly.push_back(std::move(version));
        } else if (child.name() == std::string_view("sparkle:belowVersion")) {
            condition.below.push_back(std::move(version));
        }
    }
    condition.always = element && condition.exactly.empty() && condition.below.empty();
    return condition;
}

// Everything but the archive.
AppcastItem readItem(const pugi::xml_node& item, const pugi::xml_node& enclosure) {
    AppcastItem result{.version = itemOrEnclosure(item, enclosure, "sparkle:version"),
                       .displayVersion =
                           itemOrEnclosure(item, enclosure, "sparkle:shortVersionString"),
                       .minimumSystemVersion = childText(item, "sparkle:minimumSystemVersion"),
                       .maximumSystemVersion = childText(item, "sparkle:maximumSystemVersion"),
                       .minimumUpdateVersion = childText(item, "sparkle:minimumUpdateVersion"),
                       .system = attributeText(enclosure, "sparkle:os"),
                       .releaseNotesUrl = httpsUrlIn(item, "sparkle:releaseNotesLink"),
                       .page = httpsUrlIn(item, "link"),
                       .critical = criticalFor(item),
                       .informational = informationalFor(item),
                       .publishedAt = dateIn(childText(item, "pubDate")),
                       .phasedRolloutInterval = std::chrono::seconds(
                           numberIn(childText(item, "sparkle:phasedRolloutInterval"),
                                    static_cast<std::uint64_t>(longestRolloutInterval.count()))),
                       .url = {}};
    if (!isForPeople(result.displayVersion)) {
        result.displayVersion = result.version;
    }
    if (result.page.empty()) {
        result.page = result.releaseNotesUrl;
    }
    return result;
}

std::optional<AppcastItem> readEnclosure(const pugi::xml_node& item,
                                         const pugi::xml_node& enclosure) {
    auto result = readItem(item, enclosure);
    if (!isVersion(result.version)) {
        return std::nullopt;
    }
    const auto url = attributeText(enclosure, "url");
    const auto length = numberIn(attributeText(enclosure, "length"), largestArchive);
    const auto signature = signatureIn(attributeText(enclosure, "sparkle:edSignature"));
    if (signature && length != 0 && isHttpsUrl(url)) {
        result.url = url;
        result.length = length;
        result.signature = *signature;
    } else if (result.informational == VersionCondition()) {
        return std::nullopt;
    }
    return result;
}

bool hasDocumentType(const pugi::xml_document& document) {
    return std::ranges::any_of(document.children(), [](const pugi::xml_node& node) {
        return node.type() == pugi::node_doctype;
    });
}

} // namespace

std::expected<std::vector<AppcastItem>, std::string> parseAppcast(std::string_view feed) {
    if (feed.size() > largestFeed) {
        return std::unexpected("it is too large");
    }
    if (!isValidUtf8(feed) || feed.find('\0') != std::string_view::npos) {
        return std::unexpected("it is not UTF-8 text");
    }
    pugi::xml_document document;
    const auto parsed = document.load_buffer(
        feed.data(), feed.size(), pugi::parse_default | pugi::parse_doctype, pugi::encoding_utf8);
    if (!parsed) {
        return std::unexpected("it is not well-formed XML");
    }
    const auto channel = document.child("rss").child("channel");
    if (hasDocumentType(document) || !channel) {
        return std::unexpected("it is no appcast");
    }
    std::vector<AppcastItem> items;
    for (const auto& item : channel.children("item")) {
        if (item.child("sparkle:channel")) {
            continue;
        }
        for (const auto& enclosure : item.children("enclosure")) {
            if (auto read = readEnclosure(item, enclosure)) {
                items.push_back(*std::move(read));
            }
        }
    }
    return items;
}

bool VersionCondition::holdsFor(std::string_view installedVersion) const {
    return always || std::ranges::find(exactly, installedVersion) != exactly.end() ||
           std::ranges::any_of(below, [&](const std::string& version) {
               return isNewerVersion(version, installedVersion);
           });
}

namespace {

// A limit that is not there holds; one that cannot be read does not.
bool isAtLeast(std::string_view version, std::string_view minimum) {
    return minimum.empty() || (isReadableVersion(minimum) && !isNewerVersion(minimum, version));
}

bool isAtMost(std::string_view version, std::string_view maximum) {
    return maximum.empty() || (isReadableVersion(maximum) && !isNewerVersion(version, maximum));
}

bool hasReached(const AppcastItem& item, const Installation& installation) {
    if (!installation.rolloutGroup || !item.publishedAt ||
        item.phasedRolloutInterval.count() == 0 || item.critical.holdsFor(installation.version)) {
        return true;
    }
    return installation.now - *item.publishedAt >=
           item.phasedRolloutInterval.count() * *installation.rolloutGroup;
}

bool mayTake(const AppcastItem& item, const Installation& installation) {
    const auto& [names, systemVersion] = installation.system;
    return std::ranges::find(names, item.system) != names.end() &&
           isAtLeast(systemVersion, item.minimumSystemVersion) &&
           isAtMost(systemVersion, item.maximumSystemVersion) &&
           isAtLeast(installation.version, item.minimumUpdateVersion) &&
           (item.informational.holdsFor(installation.version) ? !item.page.empty()
                                                              : item.length != 0) &&
           hasReached(item, installation);
}

} // namespace

std::optional<AppcastItem> newestItem(const std::vector<AppcastItem>& items,
                                      const Installation& installation) {
    const AppcastItem* best = nullptr;
    for (const auto& item : items) {
        const auto& newest = best == nullptr ? installation.version : best->version;
        if (isNewerVersion(item.version, newest) && mayTake(item, installation)) {
            best = &item;
        }
    }
    return best == nullptr ? std::nullopt : std::optional(*best);
}

} // namespace platform::appcast
