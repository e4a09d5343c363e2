// POSIX private files under their contract, on this system's file system.
#include "tests/platform/services/PrivateFilesContract.h"

#include "platform/posix/PosixPrivateFiles.h"

namespace {

std::unique_ptr<platform::PrivateFiles> posixPrivateFiles() {
    return std::make_unique<platform::PosixPrivateFiles>();
}

INSTANTIATE_TEST_SUITE_P(Posix, PrivateFilesContract, ::testing::Values(posixPrivateFiles));

} // namespace
