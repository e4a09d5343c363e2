// The system's libcurl under the HTTP contract.
#include "tests/platform/services/HttpContract.h"

#include "platform/posix/CurlHttpClient.h"

namespace {

std::unique_ptr<platform::HttpClient> curl() {
    return std::make_unique<platform::CurlHttpClient>();
}

INSTANTIATE_TEST_SUITE_P(Curl, HttpContract, testing::Values(curl));

} // namespace
