// Wrong usage, in words: which word is wrong, and which was meant perhaps.
#pragma once

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// The name among `known` that `word` is a slip of, if one is near enough.
[[nodiscard]] std::optional<std::string> nearest(std::string_view word,
                                                 const std::vector<std::string>& known);

// The command that these words lead to, from `app` down; or one sentence about the first that does
// not lead on.
struct Way {
    const CLI::App* command = nullptr;
    std::string wrong;
};
[[nodiscard]] Way followWords(const CLI::App& app, const std::vector<std::string>& words);

// One sentence about a command line that was refused with `refusal`.
[[nodiscard]] std::string describeWrongUsage(const CLI::App& app,
                                             const std::vector<std::string>& arguments,
                                             const std::string& refusal);

// "tessel credentials show".
[[nodiscard]] std::string fullName(const CLI::App& command);

// The help of a command, with the options of the groups it belongs to.
[[nodiscard]] std::string helpOf(const CLI::App& command);

// A name that becomes part of a path: neither empty nor "." nor ".." and without a slash.
[[nodiscard]] CLI::Validator pathComponent();
// A whole number from 1 up.
[[nodiscard]] CLI::Validator atLeastOne();

} // namespace tool
