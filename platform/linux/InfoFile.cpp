#include "platform/linux/InfoFile.h"

#include "platform/ErrnoText.h"
#include "platform/Utf8.h"
#include "platform/posix/ReadFile.h"

#include <fmt/format.h>
#include <plist/plist.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

namespace platform {
namespace {

constexpr std::size_t largestInfoFile = std::size_t{1} << 20;

// The parser goes one call deeper for each level of a binary list, whose levels are tiny, and looks
// at all levels above each time: a smaller bound limits the stack and the time that takes.
bool hasBearableSize(const std::string& content) {
    constexpr std::size_t largestBinaryInfo = std::size_t{64} << 10;
    return !content.starts_with("bplist") || content.size() <= largestBinaryInfo;
}

struct PlistFree {
    void operator()(void* node) const { ::plist_free(node); }
};
struct CFree {
    void operator()(char* text) const { std::free(text); }
};
using Plist = std::unique_ptr<void, PlistFree>;
using CText = std::unique_ptr<char, CFree>;

Plist parsePropertyList(const std::string& content) {
    plist_t root = nullptr;
    if (hasBearableSize(content)) {
        const auto* const data = content.data();
        const auto size = static_cast<std::uint32_t>(content.size());
        // libplist's own choice between the two takes other arguments in each release.
        if (content.starts_with("bplist")) {
            ::plist_from_bin(data, size, &root);
        } else {
            ::plist_from_xml(data, size, &root);
        }
    }
    return Plist(root);
}

InfoDictionary valuesOf(plist_t dictionary) {
    InfoDictionary values;
    plist_dict_iter cursor = nullptr;
    ::plist_dict_new_iter(dictionary, &cursor);
    const CText cursorOwner(static_cast<char*>(cursor));
    while (true) {
        char* rawKey = nullptr;
        plist_t node = nullptr;
        ::plist_dict_next_item(dictionary, cursor, &rawKey, &node);
        const CText key(rawKey);
        if (node == nullptr) {
            return values;
        }
        char* rawText = nullptr;
        if (::plist_get_node_type(node) == PLIST_STRING) {
            ::plist_get_string_val(node, &rawText);
        }
        const CText text(rawText);
        if (key && isValidUtf8(key.get())) {
            const bool isText = text && isValidUtf8(text.get());
            values.emplace(key.get(),
                           isText ? std::optional<std::string>(text.get()) : std::nullopt);
        }
    }
}

} // namespace

std::expected<InfoDictionary, std::string> readInfoFile(const std::filesystem::path& path) {
    const auto content = posix::readFile(path, largestInfoFile);
    if (!content) {
        return std::unexpected(
            fmt::format("cannot read {}: {}", path.native(), errnoText(content.error())));
    }
    const auto root = parsePropertyList(*content);
    if (!root || ::plist_get_node_type(root.get()) != PLIST_DICT) {
        return std::unexpected(fmt::format(
            "cannot use {}: it is no property list that holds a dictionary", path.native()));
    }
    return valuesOf(root.get());
}

} // namespace platform
