// Puts TLS in front of a plain server on 127.0.0.1: accepts on a port of its own, decrypts, and
// passes the bytes on in both directions, so that every way in which LoopbackServer misbehaves is
// there over https too. Each connection has a thread; the destructor ends and joins them all.
#pragma once

#include "tests/support/tls/Certificate.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace test_support {

class TlsFront {
  public:
    // `port` is the plain server's.
    TlsFront(std::uint16_t port, const Certificate& certificate);
    ~TlsFront();
    TlsFront(const TlsFront&) = delete;
    TlsFront& operator=(const TlsFront&) = delete;

    // "https://127.0.0.1:PORT" and the target.
    [[nodiscard]] std::string url(std::string_view target = "/") const;

  private:
    class Acceptor;

    std::unique_ptr<Acceptor> acceptor_;
};

} // namespace test_support
