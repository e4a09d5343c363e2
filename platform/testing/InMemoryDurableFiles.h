// DurableFiles in memory, with a hook before every operation that can make it fail. What is not
// flushed is remembered as such, so that a test can ask what a loss of power would leave. For
// tests; one thread only.
#pragma once

#include "platform/DurableFiles.h"

#include <functional>
#include <map>

namespace platform::testing {

class InMemoryDurableFiles final : public DurableFiles {
  public:
    enum class Kind { folder, file, link, other };
    struct Node {
        Kind kind = Kind::file;
        mode_t mode = 0600;
        std::string content = {};
        bool flushed = true; // of a file: its bytes; of a folder: its names
    };

    [[nodiscard]] Result ensurePrivateFolder(const std::filesystem::path& folder) override;
    [[nodiscard]] std::expected<std::unique_ptr<PrivateFile>, FileError>
    createPrivateFile(const std::filesystem::path& path) override;
    [[nodiscard]] Result rename(const std::filesystem::path& from,
                                const std::filesystem::path& to) override;
    [[nodiscard]] Result makePrivate(const std::filesystem::path& file) override;
    [[nodiscard]] Result remove(const std::filesystem::path& file) override;
    [[nodiscard]] std::expected<void, FolderFlushError>
    flushFolder(const std::filesystem::path& folder) override;
    [[nodiscard]] std::expected<std::vector<std::string>, FileError>
    fileNames(const std::filesystem::path& folder) const override;
    [[nodiscard]] std::expected<std::string, FileError> read(const std::filesystem::path& file,
                                                             std::size_t maxBytes) const override;
    [[nodiscard]] std::expected<std::unique_ptr<FolderLock>, FileError>
    lockFolder(const std::filesystem::path& folder) override;

    // Everything below `folder`, relative to it, in the order of the names.
    [[nodiscard]] std::vector<std::string> pathsBelow(const std::filesystem::path& folder) const;

    std::map<std::filesystem::path, Node> nodes{{"/", {.kind = Kind::folder, .mode = 0755}}};
    // Asked before each operation, with one of "ensure", "create", "write", "flush", "close",
    // "rename", "chmod", "remove", "open folder", "flush folder", "list", "read" and "lock". An
    // errno value other than 0 is the operation's failure, and nothing happens.
    std::function<int(std::string_view operation, const std::filesystem::path& path)> fault;
    mutable std::vector<std::string> operations; // "rename /a/b", in the order they came
    int locks = 0;                               // held now

  private:
    friend class InMemoryPrivateFile;

    [[nodiscard]] int begin(std::string_view operation, const std::filesystem::path& path) const;
    [[nodiscard]] Node* find(const std::filesystem::path& path, Kind kind);
    [[nodiscard]] const Node* find(const std::filesystem::path& path, Kind kind) const;
    void namesChanged(const std::filesystem::path& folder);
};

} // namespace platform::testing
