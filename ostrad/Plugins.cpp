#include "ostrad/Plugins.h"

#include "ostrad/Log.h"
#include "ostrad/Modes.h"
#include "ostrad/Naming.h"
#include "ostrad/ToolRunner.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace ostrad {

namespace fs = std::filesystem;
namespace json = boost::json;

namespace {

constexpr std::int64_t kProtocol = 1;
constexpr std::size_t kMostPlugins = 16;
constexpr std::size_t kMostTypes = 32;
constexpr std::size_t kLongestName = 100;
constexpr std::size_t kLongestTitle = 500;
constexpr std::size_t kLongestSummary = 8000;
constexpr int kMostFailures = 5; // one after the other
constexpr ToolLimits kLimits{.time = std::chrono::seconds(5),
                             .maxOutput = 64UL * 1024,
                             .bounds = {.memory = std::size_t{512} << 20U, .niceness = 10}};

json::string jsonText(std::string_view bytes) {
    const std::string valid = validUtf8(bytes);
    return json::string(valid.data(), valid.size());
}

// Cut at `most` bytes; nothing when it is missing, no text, or blank.
std::optional<std::string> textAt(const json::object& from, std::string_view name,
                                  std::size_t most) {
    const json::value* const member = from.if_contains({name.data(), name.size()});
    const json::string* const text = member == nullptr ? nullptr : member->if_string();
    if (text == nullptr) {
        return std::nullopt;
    }
    std::string cut = validUtf8({text->data(), std::min(text->size(), most)});
    std::ranges::replace_if(
        cut, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, ' ');
    const std::size_t first = cut.find_first_not_of(' ');
    if (first == std::string::npos) {
        return std::nullopt;
    }
    return cut.substr(first, cut.find_last_not_of(' ') - first + 1);
}

std::optional<int> numberAt(const json::object& from, std::string_view name, int most) {
    const json::value* const member = from.if_contains({name.data(), name.size()});
    const std::int64_t* const number = member == nullptr ? nullptr : member->if_int64();
    return number != nullptr && *number >= 0 && *number <= most
               ? std::optional(static_cast<int>(*number))
               : std::nullopt;
}

std::optional<json::object> objectIn(std::string_view text) {
    boost::system::error_code error;
    json::value document = json::parse({text.data(), text.size()}, error);
    json::object* const root = error ? nullptr : document.if_object();
    return root == nullptr ? std::nullopt : std::optional(std::move(*root));
}

// Nobody but the user and root may have written what is about to be executed.
bool isTrusted(const struct stat& status) {
    return (status.st_uid == ::geteuid() || status.st_uid == 0) && (status.st_mode & 022U) == 0;
}

std::string itemJson(const PluginItem& item) {
    json::object object{{"plugin", kProtocol},
                        {"type", jsonText(item.type)},
                        {"title", jsonText(item.title)},
                        {"libraryPath", jsonText(item.libraryPath)},
                        {"path", jsonText(item.path)}};
    if (item.number) {
        object["number"] = *item.number;
    }
    if (item.year) {
        object["year"] = *item.year;
    }
    return json::serialize(object);
}

template <class Value>
void fill(std::optional<Value>& known, std::optional<Value>&& more) {
    if (!known) {
        known = std::move(more);
    }
}

} // namespace

std::optional<PluginDescription> parsePluginDescription(std::string_view text) {
    const auto root = objectIn(text);
    const json::value* const protocol = root ? root->if_contains("plugin") : nullptr;
    const json::value* const types = root ? root->if_contains("types") : nullptr;
    if (protocol == nullptr || *protocol != kProtocol || types == nullptr || !types->is_array()) {
        return std::nullopt;
    }
    PluginDescription description{.name = textAt(*root, "name", kLongestName).value_or(""),
                                  .version = textAt(*root, "version", kLongestName).value_or(""),
                                  .types = {}};
    for (const json::value& type : types->get_array()) {
        const json::string* const id = type.if_string();
        if (id != nullptr && findEntityType({id->data(), id->size()}) != nullptr &&
            description.types.size() < kMostTypes) {
            description.types.emplace_back(id->data(), id->size());
        }
    }
    return description.name.empty() || description.types.empty() ? std::nullopt
                                                                 : std::optional(description);
}

std::optional<PluginFacts> parsePluginFacts(std::string_view text) {
    const auto root = objectIn(text);
    if (!root) {
        return std::nullopt;
    }
    return PluginFacts{.title = textAt(*root, "title", kLongestTitle),
                       .summary = textAt(*root, "summary", kLongestSummary),
                       .number = numberAt(*root, "number", 99'999),
                       .year = numberAt(*root, "year", 9999)};
}

Plugins::Plugins(const std::string& folder, const std::atomic<bool>& stop) {
    struct stat status{};
    if (folder.empty() || ::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return;
    }
    if (!isTrusted(status)) {
        logLine(fmt::format("no plug-ins: others may write to {}", folder));
        return;
    }
    std::vector<std::string> programs;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string path = entry->path().string();
        if (!entry->path().filename().string().starts_with('.') &&
            ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
            (status.st_mode & 0111U) != 0) {
            if (isTrusted(status)) {
                programs.push_back(path);
            } else {
                logLine(fmt::format("plug-in {} is not used: others may write to it", path));
            }
        }
    }
    std::ranges::sort(programs);
    programs.resize(std::min(programs.size(), kMostPlugins));
    for (const std::string& program : programs) {
        const auto answer = runTool({program, "describe"}, kLimits, stop);
        auto description = answer ? parsePluginDescription(*answer) : std::nullopt;
        if (stop) {
            return;
        }
        if (!description) {
            logLine(fmt::format("plug-in {} is not used: it does not describe itself", program));
            continue;
        }
        logLine(
            fmt::format("plug-in {} {} ({})", description->name, description->version, program));
        plugins.push_back({.program = program, .description = *std::move(description)});
    }
}

std::string Plugins::identity() const {
    std::string all;
    for (const Plugin& plugin : plugins) {
        all += fmt::format("{} {};", plugin.program, plugin.description.version);
    }
    return all;
}

PluginFacts Plugins::ask(const PluginItem& item, const std::atomic<bool>& stop) {
    PluginFacts facts;
    for (Plugin& plugin : plugins) {
        const auto& types = plugin.description.types;
        if (plugin.failures == kMostFailures ||
            std::ranges::find(types, item.type) == types.end()) {
            continue;
        }
        const auto answer = runTool({plugin.program, "metadata"}, kLimits, stop, itemJson(item));
        auto more = answer ? parsePluginFacts(*answer) : std::nullopt;
        if (stop) {
            return facts;
        }
        if (!more) {
            if (++plugin.failures == kMostFailures) {
                logLine(fmt::format("plug-in {} failed {} times and is not asked any more",
                                    plugin.description.name, kMostFailures));
            }
            continue;
        }
        plugin.failures = 0;
        fill(facts.title, std::move(more->title));
        fill(facts.summary, std::move(more->summary));
        fill(facts.number, std::move(more->number));
        fill(facts.year, std::move(more->year));
    }
    return facts;
}

} // namespace ostrad
