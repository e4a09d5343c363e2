// An appcast: an RSS 2.0 feed whose items carry a version of an application each, in the dialect
// of Sparkle 2 with its elements under the prefix "sparkle". What is read here is as untrusted as
// the network; trust begins with the signature of an archive. Pure functions; any thread.
//
// A feed is UTF-8 of at most 1 MiB without a document type. Of its items those count that have a
// version and are of the default channel, and of an item's enclosures those that are complete: an
// https URL, a length, and an Ed25519 signature (sparkle:edSignature). Anything else is left out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::appcast {

using Signature = std::array<std::uint8_t, 64>;

inline constexpr std::size_t largestFeed = std::size_t{1} << 20;
inline constexpr std::uint64_t largestArchive = std::uint64_t{1} << 30;

// One enclosure with what its item says.
struct AppcastItem {
    std::string version;              // compared with CFBundleVersion; printable ASCII, no blanks
    std::string displayVersion;       // for people; the version where the feed has none
    std::string minimumSystemVersion; // may be empty
    std::string system;               // sparkle:os; empty means macOS
    std::string releaseNotesUrl;      // https, or empty
    std::string url;                  // https
    std::uint64_t length = 0;         // bytes, 1 to largestArchive
    Signature signature{};
};

// What an item is chosen for.
struct SystemDescription {
    std::vector<std::string> names; // values of sparkle:os that mean this system
    std::string version;            // compared with sparkle:minimumSystemVersion
};

// Whether the version `a` is newer than `than`.
using IsNewer = std::function<bool(std::string_view a, std::string_view than)>;

// The items in the order of the feed, or why it is none.
[[nodiscard]] std::expected<std::vector<AppcastItem>, std::string>
parseAppcast(std::string_view feed);

// The newest item for this system that is newer than what is installed; of equals the first.
[[nodiscard]] std::optional<AppcastItem> newestItem(const std::vector<AppcastItem>& items,
                                                    std::string_view installedVersion,
                                                    const SystemDescription& system,
                                                    const IsNewer& isNewer);

} // namespace platform::appcast
