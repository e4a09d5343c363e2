// Chooses among the servers that an update has staged beside the bundled one. A staged file is
// named prefix + version; a version is a list of non-negative integers with "." between them.
// Pure functions of names: what the files really are is for the caller to find out. Any thread.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ostra {

struct StagedPayloads {
    static constexpr std::string_view defaultPrefix = "ostrad-";

    struct Candidate {
        std::string name;    // of the file in the staging folder
        std::string version; // the part after the prefix, as written

        bool operator==(const Candidate&) const = default;
    };

    // The version in a file name, as written; nothing without the prefix or with any other rest.
    [[nodiscard]] static std::optional<std::string> version(std::string_view fromName,
                                                            std::string_view prefix);

    // The newest of the names that is strictly newer than that version; of equal ones the first.
    [[nodiscard]] static std::optional<Candidate> pickBest(std::span<const std::string> names,
                                                           std::string_view newerThan,
                                                           std::string_view prefix);

    // Whether a is a newer version than b. A missing position counts as 0; false when either is
    // not a version.
    [[nodiscard]] static bool isNewer(std::string_view a, std::string_view b);
};

} // namespace ostra
