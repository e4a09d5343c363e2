// An appcast: an RSS 2.0 feed whose items carry a version of an application each, in the dialect
// of Sparkle 2 with its elements under the prefix "sparkle", which mean what Sparkle's
// documentation says. What is read here is as untrusted as the network; trust begins with the
// signature of an archive. Pure functions; any thread.
//
// A feed is UTF-8 of at most 1 MiB without a document type. Of its items those count that have a
// version and are of the default channel, and of an item's enclosures those that are complete: an
// https URL, a length, and an Ed25519 signature (sparkle:edSignature). An enclosure that is
// incomplete counts only where the item is an informational one, for the system that it names.
// Anything else is left out.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::appcast {

using Signature = std::array<std::uint8_t, 64>;

inline constexpr std::size_t largestFeed = std::size_t{1} << 20;
inline constexpr std::uint64_t largestArchive = std::uint64_t{1} << 30;

// Which installed versions something is meant for.
struct VersionCondition {
    bool always = false;
    std::vector<std::string> exactly = {};
    std::vector<std::string> below = {};

    [[nodiscard]] bool holdsFor(std::string_view installedVersion) const;
    bool operator==(const VersionCondition&) const = default;
};

// One enclosure with what its item says.
struct AppcastItem {
    std::string version;              // compared with CFBundleVersion; printable ASCII, no blanks
    std::string displayVersion;       // for people; the version where the feed has none
    std::string minimumSystemVersion; // may be empty, as the two below
    std::string maximumSystemVersion;
    std::string minimumUpdateVersion; // the oldest installed version that may take this one
    std::string system;               // sparkle:os; empty means macOS
    std::string releaseNotesUrl;      // https, or empty
    std::string page;                 // the item's link, else its release notes
    VersionCondition critical;        // must not be skipped
    VersionCondition informational;   // nothing to install: the page says what to do
    std::optional<std::int64_t> publishedAt = {}; // seconds since 1970
    std::chrono::seconds phasedRolloutInterval{0};
    std::string url;          // https
    std::uint64_t length = 0; // bytes, 1 to largestArchive; 0: there is nothing to install
    Signature signature{};
};

// What an item is chosen for.
struct SystemDescription {
    std::vector<std::string> names; // values of sparkle:os that mean this system
    std::string version;            // compared with sparkle:minimumSystemVersion
};

inline constexpr std::int64_t rolloutGroups = 7;

struct Installation {
    std::string version;
    SystemDescription system;
    std::int64_t now = 0; // seconds since 1970
    // Of a scheduled check, 0 to 6: an update with a phased rollout reaches each group one interval
    // after the one before it. A user who asks is not made to wait, nor is a critical update.
    std::optional<std::int64_t> rolloutGroup = {};
};

// The items in the order of the feed, or why it is none.
[[nodiscard]] std::expected<std::vector<AppcastItem>, std::string>
parseAppcast(std::string_view feed);

// The newest item that this installation may take and that is newer than it; of equals the first.
[[nodiscard]] std::optional<AppcastItem> newestItem(const std::vector<AppcastItem>& items,
                                                    const Installation& installation);

} // namespace platform::appcast
