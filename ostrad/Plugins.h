#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Programs of the user that know more about an item than its file says. Each is an executable file
// in one folder. `PROGRAM describe` says on standard output what it is for; then, for each item of
// those types, `PROGRAM metadata` gets the item on standard input and writes what it knows. Both
// are JSON, bounded in time and size; what a program may not do is in ToolProcess.h. What it says
// is checked like everything that comes from elsewhere. Blocks; see runTool for stopping.

struct PluginDescription {
    std::string name;
    std::string version;
    std::vector<std::string> types; // of entities
};

struct PluginItem {
    std::string_view type;
    std::string_view title;
    std::optional<std::int64_t> number;
    std::optional<std::int64_t> year;
    std::string_view libraryPath;
    std::string_view path; // relative
};

struct PluginFacts {
    std::optional<std::string> title;
    std::optional<std::string> summary;
    std::optional<int> number;
    std::optional<int> year;
};

class Plugins {
  public:
    Plugins() = default;
    // Asks every executable in the folder; says in the log which are used, and which are not, and
    // why.
    Plugins(const std::string& folder, const std::atomic<bool>& stop);

    [[nodiscard]] bool empty() const { return plugins.empty(); }
    // Differs when others would answer.
    [[nodiscard]] std::string identity() const;

    // What the first one that knows says, member by member. A plug-in that fails again and again is
    // not asked any more.
    PluginFacts ask(const PluginItem& item, const std::atomic<bool>& stop);

  private:
    struct Plugin {
        std::string program;
        PluginDescription description;
        int failures = 0;
    };

    std::vector<Plugin> plugins;
};

// Pure. Nothing when it is no such answer; members that make no sense are left out.
std::optional<PluginDescription> parsePluginDescription(std::string_view text);
std::optional<PluginFacts> parsePluginFacts(std::string_view text);

} // namespace ostrad
