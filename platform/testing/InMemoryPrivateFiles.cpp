#include "platform/testing/InMemoryPrivateFiles.h"

#include <cerrno>

namespace platform::testing {
namespace {

std::unexpected<FileError> failed(const std::string& attempt, const std::filesystem::path& path,
                                  int errnoValue) {
    return std::unexpected(FileError{attempt + " " + path.string(), errnoValue});
}

} // namespace

bool InMemoryPrivateFiles::exists(const std::filesystem::path& path) const {
    return contents.contains(path);
}

std::expected<std::string, FileError> InMemoryPrivateFiles::read(const std::filesystem::path& path,
                                                                 std::size_t maxBytes) const {
    const auto found = contents.find(path);
    if (found == contents.end()) {
        return failed("cannot read the file", path, ENOENT);
    }
    if (found->second.size() > maxBytes) {
        return failed("cannot read the file", path, EFBIG);
    }
    return found->second;
}

std::expected<void, FileError> InMemoryPrivateFiles::replace(const std::filesystem::path& path,
                                                             std::string_view content) {
    if (failure) {
        return failed("cannot write the file", path, *failure);
    }
    contents.insert_or_assign(path, std::string(content));
    return {};
}

std::expected<void, FileError> InMemoryPrivateFiles::remove(const std::filesystem::path& path) {
    if (failure || !contents.contains(path)) {
        return failed("cannot remove the file", path, failure.value_or(ENOENT));
    }
    contents.erase(path);
    return {};
}

std::expected<void, FileError> InMemoryPrivateFiles::move(const std::filesystem::path& from,
                                                          const std::filesystem::path& to) {
    if (beforeMove) {
        beforeMove(to);
    }
    if (failure || !contents.contains(from)) {
        return failed("cannot move to", to, failure.value_or(ENOENT));
    }
    if (contents.contains(to)) {
        return failed("cannot move to", to, EEXIST);
    }
    contents[to] = contents.extract(from).mapped();
    return {};
}

} // namespace platform::testing
