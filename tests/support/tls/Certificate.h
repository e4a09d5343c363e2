// A certificate for 127.0.0.1 and localhost that signs itself, with its private key, as PEM text:
// whoever trusts it as an authority trusts a server that shows it. Made anew each time; throws
// std::runtime_error when OpenSSL fails.
#pragma once

#include <string>

namespace test_support {

struct Certificate {
    std::string certificate;
    std::string privateKey;
};

[[nodiscard]] Certificate makeCertificate();

} // namespace test_support
