// What an archive's entries come to, before any of them touches the disk: a tree in which every
// name is plain and appears once, nothing lies below something that is no folder, and no symbolic
// link, followed as the kernel would, leaves the top-level folder it lies in. A value without
// access to the system; not for sharing between threads.
#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace platform::appcast {

class ArchiveTree {
  public:
    enum class Kind { folder, file, link };

    // The entry's path below the unpacking folder, empty for that folder itself ("./"); or why the
    // archive is refused.
    [[nodiscard]] std::expected<std::filesystem::path, std::string>
    add(std::string_view path, Kind kind, std::string_view linkTarget = {});

    // Once everything was added: what is wrong with a symbolic link.
    [[nodiscard]] std::expected<void, std::string> checkLinks() const;

    // Path and target of every symbolic link.
    [[nodiscard]] std::map<std::filesystem::path, std::string> links() const;

  private:
    struct Node {
        Kind kind = Kind::folder;
        bool isImplied = false; // a folder that only its content mentions
        std::string target{};
    };
    using Names = std::vector<std::string>;

    [[nodiscard]] std::expected<void, std::string> addParents(const Names& names);
    [[nodiscard]] bool staysInside(Names folder, std::string_view target) const;

    std::map<std::string, Node, std::less<>> nodes_; // by path with "/"
};

} // namespace platform::appcast
