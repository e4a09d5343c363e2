// The real file system under DurableFilesContract.
#pragma once

#include "platform/posix/PosixDurableFiles.h"
#include "tests/platform/services/DurableFilesContract.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <sys/stat.h>

class PosixDurableFilesSubject final : public DurableFilesSubject {
  public:
    [[nodiscard]] platform::DurableFiles& files() override { return files_; }
    [[nodiscard]] std::filesystem::path folder() const override { return folder_.path(); }
    void makeLink(const std::filesystem::path& path) override {
        std::filesystem::create_directory_symlink(folder_.path(), path);
    }
    void setMode(const std::filesystem::path& path, unsigned mode) override {
        std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
    }
    [[nodiscard]] unsigned modeOf(const std::filesystem::path& path) const override {
        struct stat status{};
        return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
    }

  private:
    test_support::TemporaryFolder folder_;
    platform::PosixDurableFiles files_;
};
