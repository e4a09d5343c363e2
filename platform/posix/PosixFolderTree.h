// FolderTree over POSIX calls. The hidden names beside a destination Name are ".Name.new-XXXXXX"
// for a copy in the making, which is locked (flock) as long as its maker lives, and
// ".Name.old-XXXXXX" for the old tree between the two renames.
#pragma once

#include "platform/FolderTree.h"
#include "platform/posix/PlaceTree.h"
#include "platform/posix/SystemCopy.h"

namespace platform {

class PosixFolderTree final : public FolderTree {
  public:
    // The way to exchange two names is the system's; tests give one that cannot.
    explicit PosixFolderTree(posix::ExchangeNames exchange = posix::exchangeNames)
        : exchange_(exchange) {}

    [[nodiscard]] bool isWritableFolder(const std::filesystem::path& folder) const override;
    [[nodiscard]] std::expected<void, FileError>
    replaceWithCopy(const std::filesystem::path& source,
                    const std::filesystem::path& destination) override;
    void clearLeftovers(const std::filesystem::path& destination) override;

  private:
    posix::ExchangeNames exchange_;
};

} // namespace platform
