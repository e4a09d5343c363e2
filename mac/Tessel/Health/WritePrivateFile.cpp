#include "mac/Tessel/Health/WritePrivateFile.h"

#include "mac/Tessel/Health/AppHealthStoreError.h"

#include <cerrno>
#include <utility>

namespace tessel {
namespace {

void passOn(platform::DurableFiles::Result result) {
    if (!result) {
        throw AppHealthFileError(std::move(result.error()));
    }
}

// Removes a temporary file unless it got its final name.
class TemporaryFile {
  public:
    TemporaryFile(platform::DurableFiles& files, const std::filesystem::path& path)
        : files_(files)
        , path_(path) {}
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (isThere_) {
            static_cast<void>(files_.remove(path_));
        }
    }

    void fill(std::string_view data) {
        const auto file = files_.createPrivateFile(path_);
        if (!file) {
            throw AppHealthStoreError::unableToCreatePrivateFile();
        }
        isThere_ = true;
        passOn((*file)->writeAll(data));
        passOn((*file)->flush());
        passOn((*file)->close());
    }

    void becomes(const std::filesystem::path& file) {
        if (const auto renamed = files_.rename(path_, file); !renamed) {
            throw AppHealthStoreError::posixFailure("rename", renamed.error().errnoValue);
        }
        isThere_ = false;
    }

  private:
    platform::DurableFiles& files_;
    const std::filesystem::path& path_;
    bool isThere_ = false;
};

} // namespace

void ensurePrivateFolder(platform::DurableFiles& files, const std::filesystem::path& folder) {
    passOn(files.ensurePrivateFolder(folder));
}

void syncFolder(platform::DurableFiles& files, const std::filesystem::path& folder) {
    using Stage = platform::FolderFlushError::Stage;
    const auto flushed = files.flushFolder(folder);
    if (flushed) {
        return;
    }
    const int error = flushed.error().error.errnoValue;
    if (flushed.error().stage == Stage::open) {
        throw AppHealthStoreError::posixFailure("open directory", error);
    }
    if (error != EINVAL) {
        throw AppHealthStoreError::posixFailure("sync directory", error);
    }
}

void writePrivateFile(platform::DurableFiles& files, const std::filesystem::path& file,
                      const std::filesystem::path& temporary, std::string_view data) {
    ensurePrivateFolder(files, file.parent_path());
    TemporaryFile newFile(files, temporary);
    newFile.fill(data);
    newFile.becomes(file);
    passOn(files.makePrivate(file));
    syncFolder(files, file.parent_path());
}

} // namespace tessel
