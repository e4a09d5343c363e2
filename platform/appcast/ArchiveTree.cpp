#include "platform/appcast/ArchiveTree.h"

#include "platform/Utf8.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <deque>
#include <utility>

namespace platform::appcast {
namespace {

using Names = std::vector<std::string>;

constexpr std::size_t longestName = 255;
constexpr std::size_t longestPath = 1024;
constexpr std::size_t longestTarget = 1024;
constexpr int mostHops = 40; // as the kernel has it

Names split(std::string_view path) {
    Names names;
    while (true) {
        const auto slash = path.find('/');
        names.emplace_back(path.substr(0, slash));
        if (slash == std::string_view::npos) {
            return names;
        }
        path.remove_prefix(slash + 1);
    }
}

std::string join(const Names& names) {
    return fmt::format("{}", fmt::join(names, "/"));
}

bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.size() <= longestName &&
           isValidUtf8(name) &&
           std::ranges::none_of(name, [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; });
}

std::unexpected<std::string> refused(std::string_view reason) {
    return std::unexpected(fmt::format("the archive holds {}", reason));
}

} // namespace

std::expected<std::filesystem::path, std::string> ArchiveTree::add(std::string_view path, Kind kind,
                                                                   std::string_view linkTarget) {
    while (path.starts_with("./")) {
        path.remove_prefix(2);
    }
    if (kind == Kind::folder && path.ends_with('/')) {
        path.remove_suffix(1);
    }
    if (kind == Kind::folder && (path.empty() || path == ".")) {
        return std::filesystem::path();
    }
    const Names names = split(path);
    if (path.size() > longestPath || !std::ranges::all_of(names, isPlainName)) {
        return refused("a name that is not allowed");
    }
    if (kind == Kind::link && (linkTarget.empty() || linkTarget.starts_with('/') ||
                               linkTarget.size() > longestTarget || !isValidUtf8(linkTarget))) {
        return refused("a link that leads out of it");
    }
    if (const auto parents = addParents(names); !parents) {
        return std::unexpected(parents.error());
    }
    const auto [node, isNew] = nodes_.try_emplace(
        std::string(path),
        Node{.kind = kind, .isImplied = false, .target = std::string(linkTarget)});
    if (!isNew && (kind != Kind::folder || !std::exchange(node->second.isImplied, false))) {
        return refused("the same name twice");
    }
    return std::filesystem::path(path);
}

std::expected<void, std::string> ArchiveTree::addParents(const Names& names) {
    std::string parent;
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        parent += (i == 0 ? "" : "/") + names[i];
        const auto [node, isNew] =
            nodes_.try_emplace(parent, Node{.kind = Kind::folder, .isImplied = true});
        if (node->second.kind != Kind::folder) {
            return refused("something below a name that is no folder");
        }
    }
    return {};
}

// `folder` is the link's own, and later wherever the walk stands.
bool ArchiveTree::staysInside(Names folder, std::string_view target) const {
    const Names first = split(target);
    std::deque<std::string> ahead(first.begin(), first.end());
    int hops = 0;
    while (!ahead.empty()) {
        const std::string name = std::move(ahead.front());
        ahead.pop_front();
        if (name.empty() || name == ".") {
            continue;
        }
        if (name == "..") {
            if (folder.size() <= 1) {
                return false;
            }
            folder.pop_back();
            continue;
        }
        folder.push_back(name);
        const auto node = nodes_.find(join(folder));
        if (node != nodes_.end() && node->second.kind == Kind::link) {
            if (++hops > mostHops) {
                return false;
            }
            folder.pop_back();
            const Names further = split(node->second.target);
            ahead.insert(ahead.begin(), further.begin(), further.end());
        }
    }
    return true;
}

std::expected<void, std::string> ArchiveTree::checkLinks() const {
    for (const auto& [path, node] : nodes_) {
        if (node.kind != Kind::link) {
            continue;
        }
        Names folder = split(path);
        folder.pop_back();
        if (folder.empty() || !staysInside(std::move(folder), node.target)) {
            return refused("a link that leads out of it");
        }
    }
    return {};
}

std::map<std::filesystem::path, std::string> ArchiveTree::links() const {
    std::map<std::filesystem::path, std::string> result;
    for (const auto& [path, node] : nodes_) {
        if (node.kind == Kind::link) {
            result.emplace(path, node.target);
        }
    }
    return result;
}

} // namespace platform::appcast
