#include "platform/testing/InMemoryDurableFiles.h"

#include <cerrno>
#include <utility>

namespace platform::testing {
namespace {

constexpr mode_t ownerOnlyFolder = 0700;
constexpr mode_t ownerOnlyFile = 0600;

std::unexpected<FileError> failure(const std::filesystem::path& path, int errnoValue) {
    return std::unexpected(
        FileError{.attempt = "cannot work on " + path.native(), .errnoValue = errnoValue});
}

std::filesystem::path withoutTrailingSlashes(const std::filesystem::path& path) {
    return path.has_filename() ? path : path.parent_path();
}

class CountedLock final : public FolderLock {
  public:
    explicit CountedLock(int& locks)
        : locks_(locks) {
        ++locks_;
    }
    CountedLock(const CountedLock&) = delete;
    CountedLock& operator=(const CountedLock&) = delete;
    ~CountedLock() override { --locks_; }

  private:
    int& locks_;
};

} // namespace

class InMemoryPrivateFile final : public PrivateFile {
  public:
    InMemoryPrivateFile(InMemoryDurableFiles& files, std::filesystem::path path)
        : files_(files)
        , path_(std::move(path)) {}

    [[nodiscard]] DurableFiles::Result writeAll(std::string_view bytes) override {
        return onFile("write", [&](auto& node) {
            node.content += bytes;
            node.flushed = bytes.empty() && node.flushed;
        });
    }
    [[nodiscard]] DurableFiles::Result flush() override {
        return onFile("flush", [](auto& node) { node.flushed = true; });
    }
    [[nodiscard]] DurableFiles::Result close() override {
        return onFile("close", [](auto&) {});
    }

  private:
    template <class Action>
    DurableFiles::Result onFile(std::string_view operation, Action action) {
        if (const int error = files_.begin(operation, path_); error != 0) {
            return failure(path_, error);
        }
        if (auto* const node = files_.find(path_, InMemoryDurableFiles::Kind::file)) {
            action(*node);
        }
        return {};
    }

    InMemoryDurableFiles& files_;
    std::filesystem::path path_;
};

int InMemoryDurableFiles::begin(std::string_view operation,
                                const std::filesystem::path& path) const {
    operations.push_back(std::string(operation) + " " + path.native());
    return fault ? fault(operation, path) : 0;
}

InMemoryDurableFiles::Node* InMemoryDurableFiles::find(const std::filesystem::path& path,
                                                       Kind kind) {
    const auto found = nodes.find(path);
    return found == nodes.end() || found->second.kind != kind ? nullptr : &found->second;
}

const InMemoryDurableFiles::Node* InMemoryDurableFiles::find(const std::filesystem::path& path,
                                                             Kind kind) const {
    const auto found = nodes.find(path);
    return found == nodes.end() || found->second.kind != kind ? nullptr : &found->second;
}

void InMemoryDurableFiles::namesChanged(const std::filesystem::path& folder) {
    if (auto* const node = find(folder, Kind::folder)) {
        node->flushed = false;
    }
}

DurableFiles::Result
InMemoryDurableFiles::ensurePrivateFolder(const std::filesystem::path& folder) {
    const auto path = withoutTrailingSlashes(folder);
    if (const int error = begin("ensure", path); error != 0) {
        return failure(path, error);
    }
    std::filesystem::path above;
    for (const auto& part : path) {
        above /= part;
        const auto [node, isNew] =
            nodes.try_emplace(above, Node{.kind = Kind::folder, .mode = ownerOnlyFolder});
        if (node->second.kind != Kind::folder) {
            return failure(path, ENOTDIR);
        }
    }
    nodes.at(path).mode = ownerOnlyFolder;
    return {};
}

std::expected<std::unique_ptr<PrivateFile>, FileError>
InMemoryDurableFiles::createPrivateFile(const std::filesystem::path& path) {
    if (const int error = begin("create", path); error != 0) {
        return failure(path, error);
    }
    if (find(path.parent_path(), Kind::folder) == nullptr) {
        return failure(path, ENOENT);
    }
    if (!nodes.try_emplace(path, Node{.kind = Kind::file, .mode = ownerOnlyFile}).second) {
        return failure(path, EEXIST);
    }
    namesChanged(path.parent_path());
    return std::make_unique<InMemoryPrivateFile>(*this, path);
}

DurableFiles::Result InMemoryDurableFiles::rename(const std::filesystem::path& from,
                                                  const std::filesystem::path& to) {
    if (const int error = begin("rename", to); error != 0) {
        return failure(to, error);
    }
    const auto found = nodes.find(from);
    if (found == nodes.end()) {
        return failure(to, ENOENT);
    }
    if (find(to, Kind::folder) != nullptr) {
        return failure(to, EISDIR);
    }
    nodes[to] = std::move(found->second);
    nodes.erase(from);
    namesChanged(from.parent_path());
    namesChanged(to.parent_path());
    return {};
}

DurableFiles::Result InMemoryDurableFiles::makePrivate(const std::filesystem::path& file) {
    if (const int error = begin("chmod", file); error != 0) {
        return failure(file, error);
    }
    const auto found = nodes.find(file);
    if (found == nodes.end()) {
        return failure(file, ENOENT);
    }
    found->second.mode = ownerOnlyFile;
    return {};
}

DurableFiles::Result InMemoryDurableFiles::remove(const std::filesystem::path& file) {
    if (const int error = begin("remove", file); error != 0) {
        return failure(file, error);
    }
    if (find(file, Kind::folder) != nullptr) {
        return failure(file, EISDIR);
    }
    if (nodes.erase(file) == 0) {
        return failure(file, ENOENT);
    }
    namesChanged(file.parent_path());
    return {};
}

std::expected<void, FolderFlushError>
InMemoryDurableFiles::flushFolder(const std::filesystem::path& folder) {
    using Stage = FolderFlushError::Stage;
    int error = begin("open folder", folder);
    Node* const node = find(folder, Kind::folder);
    if (error == 0 && node == nullptr) {
        error = ENOENT;
    }
    if (error != 0) {
        return std::unexpected(
            FolderFlushError{.stage = Stage::open, .error = failure(folder, error).error()});
    }
    if (error = begin("flush folder", folder); error != 0) {
        return std::unexpected(
            FolderFlushError{.stage = Stage::flush, .error = failure(folder, error).error()});
    }
    node->flushed = true;
    return {};
}

std::expected<std::vector<std::string>, FileError>
InMemoryDurableFiles::fileNames(const std::filesystem::path& folder) const {
    if (const int error = begin("list", folder); error != 0) {
        return failure(folder, error);
    }
    if (find(folder, Kind::folder) == nullptr) {
        return failure(folder, ENOENT);
    }
    std::vector<std::string> names;
    for (const auto& [path, node] : nodes) {
        if (path.parent_path() == folder && node.kind == Kind::file) {
            names.push_back(path.filename());
        }
    }
    return names;
}

std::expected<std::string, FileError> InMemoryDurableFiles::read(const std::filesystem::path& file,
                                                                 std::size_t maxBytes) const {
    if (const int error = begin("read", file); error != 0) {
        return failure(file, error);
    }
    const auto found = nodes.find(file);
    if (found == nodes.end()) {
        return failure(file, ENOENT);
    }
    if (found->second.kind != Kind::file) {
        return failure(file, found->second.kind == Kind::link     ? ELOOP
                             : found->second.kind == Kind::folder ? EISDIR
                                                                  : EINVAL);
    }
    if (found->second.content.size() > maxBytes) {
        return failure(file, EFBIG);
    }
    return found->second.content;
}

std::expected<std::unique_ptr<FolderLock>, FileError>
InMemoryDurableFiles::lockFolder(const std::filesystem::path& folder) {
    if (const int error = begin("lock", folder); error != 0) {
        return failure(folder, error);
    }
    if (find(folder, Kind::folder) == nullptr) {
        return failure(folder, ENOENT);
    }
    return std::make_unique<CountedLock>(locks);
}

std::vector<std::string>
InMemoryDurableFiles::pathsBelow(const std::filesystem::path& folder) const {
    std::vector<std::string> paths;
    for (const auto& [path, node] : nodes) {
        const std::filesystem::path relative = path.lexically_relative(folder);
        if (!relative.empty() && relative != "." && *relative.begin() != "..") {
            paths.push_back(relative);
        }
    }
    return paths;
}

} // namespace platform::testing
