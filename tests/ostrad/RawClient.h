#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace ostrad::test {

// One TCP connection to 127.0.0.1 that says exactly what it is told to, so that a test can also say
// what no HTTP library would. Reading fails with std::runtime_error after ten seconds of silence.

struct RawReply {
    int status = 0;
    std::map<std::string, std::string> headers; // lower-case names
    std::string body;

    [[nodiscard]] std::string header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
};

class RawClient {
  public:
    explicit RawClient(std::uint16_t port);
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;
    ~RawClient();

    void send(std::string_view bytes);
    void finishSending(); // our end of stream
    RawReply readReply(bool hasBody = true);
    std::string readBytes(std::size_t count);

    // Whether the server ends the connection, by end of stream or reset.
    bool isClosedByServer();
    // Whether the server ends it with an orderly end of stream.
    bool endsOrderly();

  private:
    int fd = -1;
    std::string buffered;
};

// "GET /path HTTP/1.1" with a proper Host and the extra lines, each ended by CRLF.
std::string requestText(std::uint16_t port, std::string_view method, std::string_view target,
                        std::string_view extraLines = {}, std::string_view body = {});

// One exchange on a connection of its own.
RawReply exchange(std::uint16_t port, std::string_view method, std::string_view target,
                  std::string_view extraLines = {}, std::string_view body = {});
RawReply postJson(std::uint16_t port, std::string_view target, std::string_view body,
                  std::string_view extraLines = {});

// Binds without SO_REUSEADDR, as somebody looking for a free port does.
bool canBindPlainly(std::uint16_t port);

} // namespace ostrad::test
