#include "platform/appcast/Appcast.h"

#include "platform/Base64.h"
#include "platform/Utf8.h"

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>

namespace platform::appcast {
namespace {

constexpr std::size_t longestVersion = 64;
constexpr std::size_t longestUrl = 2048;

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

std::uint64_t lengthIn(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && value <= largestArchive ? value : 0;
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

std::optional<AppcastItem> readEnclosure(const pugi::xml_node& item,
                                         const pugi::xml_node& enclosure) {
    const auto signature = signatureIn(attributeText(enclosure, "sparkle:edSignature"));
    AppcastItem result{.version = itemOrEnclosure(item, enclosure, "sparkle:version"),
                       .displayVersion =
                           itemOrEnclosure(item, enclosure, "sparkle:shortVersionString"),
                       .minimumSystemVersion = childText(item, "sparkle:minimumSystemVersion"),
                       .system = attributeText(enclosure, "sparkle:os"),
                       .releaseNotesUrl = childText(item, "sparkle:releaseNotesLink"),
                       .url = attributeText(enclosure, "url"),
                       .length = lengthIn(attributeText(enclosure, "length")),
                       .signature = signature.value_or(Signature{})};
    if (!signature || result.length == 0 || !isVersion(result.version) || !isHttpsUrl(result.url)) {
        return std::nullopt;
    }
    if (!isForPeople(result.displayVersion)) {
        result.displayVersion = result.version;
    }
    if (!isHttpsUrl(result.releaseNotesUrl)) {
        result.releaseNotesUrl.clear();
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

std::optional<AppcastItem> newestItem(const std::vector<AppcastItem>& items,
                                      std::string_view installedVersion,
                                      const SystemDescription& system, const IsNewer& isNewer) {
    const AppcastItem* best = nullptr;
    for (const auto& item : items) {
        const bool fits = std::ranges::find(system.names, item.system) != system.names.end() &&
                          !isNewer(item.minimumSystemVersion, system.version);
        // Versions that cannot be read are newer than each other: then the feed's order decides.
        const bool better = best == nullptr || (isNewer(item.version, best->version) &&
                                                !isNewer(best->version, item.version));
        if (fits && better && isNewer(item.version, installedVersion)) {
            best = &item;
        }
    }
    return best == nullptr ? std::nullopt : std::optional(*best);
}

} // namespace platform::appcast
