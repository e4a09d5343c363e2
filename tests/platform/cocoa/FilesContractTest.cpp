// POSIX files under the file contract, on this system's file system.
#include "tests/platform/services/FilesContract.h"

#include "platform/posix/PosixFileSystem.h"

namespace {

std::unique_ptr<platform::FileSystem> posix(const std::filesystem::path& supportFolder) {
    return std::make_unique<platform::PosixFileSystem>(supportFolder);
}

INSTANTIATE_TEST_SUITE_P(Posix, FilesContract, testing::Values(posix));

} // namespace
