// Durable files and SHA-256 under their contracts; here F_FULLFSYNC and CommonCrypto.
#include "tests/platform/services/DurableFilesSubjects.h"
#include "tests/platform/services/Sha256Contract.h"

namespace {

std::unique_ptr<DurableFilesSubject> posix() {
    return std::make_unique<PosixDurableFilesSubject>();
}

INSTANTIATE_TEST_SUITE_P(Posix, DurableFilesContract, testing::Values(posix));

} // namespace
