#include "tests/support/tls/TlsFront.h"

#include "platform/posix/QuietThread.h"
#include "platform/posix/Socket.h"
#include "platform/posix/UniqueFd.h"
#include "tests/support/tls/Free.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {
namespace {

using platform::posix::acceptClosedOnExec;
using platform::posix::makeClosedOnExecSocket;
using platform::posix::sendQuietly;
using platform::posix::UniqueFd;

using Context = std::unique_ptr<SSL_CTX, Free<&SSL_CTX_free>>;
using Session = std::unique_ptr<SSL, Free<&SSL_free>>;
using Bio = std::unique_ptr<BIO, Free<&BIO_free>>;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

UniqueFd makeSocket() {
    UniqueFd socket(makeClosedOnExecSocket(AF_INET, SOCK_STREAM, 0));
    if (!socket) {
        throw std::runtime_error("no socket");
    }
    return socket;
}

Context makeContext(const Certificate& certificate) {
    Context context(SSL_CTX_new(TLS_server_method()));
    const Bio certificateText(BIO_new_mem_buf(certificate.certificate.data(),
                                              static_cast<int>(certificate.certificate.size())));
    const Bio keyText(BIO_new_mem_buf(certificate.privateKey.data(),
                                      static_cast<int>(certificate.privateKey.size())));
    const std::unique_ptr<X509, Free<&X509_free>> x509(
        PEM_read_bio_X509(certificateText.get(), nullptr, nullptr, nullptr));
    const std::unique_ptr<EVP_PKEY, Free<&EVP_PKEY_free>> key(
        PEM_read_bio_PrivateKey(keyText.get(), nullptr, nullptr, nullptr));
    if (!context || SSL_CTX_use_certificate(context.get(), x509.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
        throw std::runtime_error("OpenSSL does not take the certificate");
    }
    return context;
}

// One client, from its handshake to the end of either side. Blocking calls end when the acceptor
// shuts the sockets down.
class Relay {
  public:
    Relay(SSL_CTX* context, int client, int server)
        : session_(SSL_new(context))
        , client_(client)
        , server_(server) {
        SSL_set_fd(session_.get(), client);
    }

    void run() {
        if (SSL_accept(session_.get()) != 1) {
            return;
        }
        while (true) {
            std::array<pollfd, 2> ready{{{client_, POLLIN, 0}, {server_, POLLIN, 0}}};
            const int wait = SSL_pending(session_.get()) > 0 ? 0 : -1;
            if (::poll(ready.data(), ready.size(), wait) < 0) {
                return;
            }
            const bool fromClient = ready[0].revents != 0 || SSL_pending(session_.get()) > 0;
            if ((fromClient && !passToServer()) || (ready[1].revents != 0 && !passToClient())) {
                return;
            }
        }
    }

  private:
    bool passToServer() {
        const int count = SSL_read(session_.get(), buffer_.data(), bufferSize);
        if (count <= 0) {
            return SSL_get_error(session_.get(), count) == SSL_ERROR_WANT_READ;
        }
        return sendQuietly(server_, buffer_.data(), static_cast<std::size_t>(count)) == count;
    }
    bool passToClient() {
        const auto count = ::recv(server_, buffer_.data(), buffer_.size(), 0);
        if (count == 0) {
            SSL_shutdown(session_.get());
        }
        return count > 0 &&
               SSL_write(session_.get(), buffer_.data(), static_cast<int>(count)) == count;
    }

    static constexpr int bufferSize = 16 << 10;
    Session session_;
    int client_;
    int server_;
    std::array<char, bufferSize> buffer_{};
};

} // namespace

class TlsFront::Acceptor {
  public:
    Acceptor(std::uint16_t port, const Certificate& certificate)
        : context_(makeContext(certificate))
        , serverPort_(port) {
        sockaddr_in address = loopback(0);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        if (::bind(listening_.get(), generic, size) != 0 || ::listen(listening_.get(), 16) != 0 ||
            ::getsockname(listening_.get(), generic, &size) != 0) {
            throw std::runtime_error("cannot listen");
        }
        port_ = ntohs(address.sin_port);
        // OpenSSL writes to peers that have gone without asking for silence.
        thread_ = platform::posix::startQuietThread("tls-front", [this] { acceptAll(); });
    }
    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;

    ~Acceptor() {
        ::shutdown(listening_.get(), SHUT_RDWR);
        thread_.join();
        for (const auto& connection : connections_) {
            ::shutdown(connection->client.get(), SHUT_RDWR);
            ::shutdown(connection->server.get(), SHUT_RDWR);
        }
        for (const auto& connection : connections_) {
            connection->thread.join();
        }
    }

    [[nodiscard]] std::uint16_t port() const { return port_; }

  private:
    struct Connection {
        UniqueFd client;
        UniqueFd server;
        std::thread thread;
    };

    void acceptAll() {
        while (true) {
            UniqueFd client(acceptClosedOnExec(listening_.get()));
            if (!client) {
                return;
            }
            UniqueFd server = makeSocket();
            sockaddr_in address = loopback(serverPort_);
            if (::connect(server.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) !=
                0) {
                continue;
            }
            auto connection = std::make_unique<Connection>();
            connection->client = std::move(client);
            connection->server = std::move(server);
            connection->thread =
                platform::posix::startQuietThread("tls-relay", [this, raw = connection.get()] {
                    Relay(context_.get(), raw->client.get(), raw->server.get()).run();
                    ::shutdown(raw->client.get(), SHUT_RDWR);
                    ::shutdown(raw->server.get(), SHUT_RDWR);
                });
            connections_.push_back(std::move(connection));
        }
    }

    Context context_;
    std::uint16_t serverPort_;
    std::uint16_t port_ = 0;
    UniqueFd listening_ = makeSocket();
    std::vector<std::unique_ptr<Connection>> connections_; // the accepting thread's, then ours
    std::thread thread_;
};

TlsFront::TlsFront(std::uint16_t port, const Certificate& certificate)
    : acceptor_(std::make_unique<Acceptor>(port, certificate)) {}

TlsFront::~TlsFront() = default;

std::string TlsFront::url(std::string_view target) const {
    return "https://127.0.0.1:" + std::to_string(acceptor_->port()) + std::string(target);
}

} // namespace test_support
