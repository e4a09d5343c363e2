// A client that has said all it wanted, and takes its time to read.
#include "platform/posix/Socket.h"
#include "platform/posix/UniqueFd.h"
#include "tests/ostrad/OstradFixture.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <string_view>
#include <system_error>

namespace ostrad::test {
namespace {

// Asks for the page's program, says that nothing follows, and has room for the least of it.
class SlowReader {
  public:
    SlowReader(std::uint16_t port, std::string_view extraLines)
        : socket_(platform::posix::makeClosedOnExecSocket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int room = 1;
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        const std::string request = requestText(port, "GET", "/app.js", extraLines);
        if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
                0 ||
            platform::posix::sendQuietly(socket_.get(), request.data(), request.size()) < 0 ||
            ::shutdown(socket_.get(), SHUT_WR) != 0) {
            throw std::system_error(errno, std::generic_category(), "a slow reader");
        }
    }

    // Everything up to the end of the connection.
    [[nodiscard]] std::string read() const {
        std::array<char, 4096> chunk{};
        std::string all;
        while (const ssize_t count = ::recv(socket_.get(), chunk.data(), chunk.size(), 0)) {
            if (count < 0) {
                throw std::system_error(errno, std::generic_category(), "reading");
            }
            all.append(chunk.data(), static_cast<std::size_t>(count));
        }
        return all;
    }

  private:
    platform::posix::UniqueFd socket_;
};

class UnreadReply : public OstradTest {
  protected:
    // Connections of the port that both sides have ended, and whose client has not acknowledged
    // that.
    [[nodiscard]] int unacknowledged() const {
        constexpr std::string_view lastAck = "09";
        const std::string address = fmt::format("0100007F:{:04X}", port);
        std::ifstream table("/proc/net/tcp");
        int count = 0;
        std::string line;
        std::getline(table, line); // the heading
        std::string number;
        std::string local;
        std::string remote;
        std::string state;
        while (table >> number >> local >> remote >> state && std::getline(table, line)) {
            count += local == address && state == lastAck ? 1 : 0;
        }
        return count;
    }

    static constexpr const char* keepAlive = "";
    static constexpr const char* close = "Connection: close\r\n";
};

class UnreadReplyAfter : public UnreadReply, public testing::WithParamInterface<int> {};

TEST_P(UnreadReplyAfter, theEndOfTheServerDoesNotHoldThePort) {
    const SlowReader first(port, keepAlive);
    const SlowReader second(port, close);
    ASSERT_TRUE(eventually([this] { return unacknowledged() == 2; }));
    server->signal(GetParam());
    ASSERT_TRUE(server->wait());
    EXPECT_TRUE(canBindPlainly(port));
}

INSTANTIATE_TEST_SUITE_P(Every, UnreadReplyAfter, testing::Values(SIGTERM, SIGKILL));

TEST_F(UnreadReply, arrivesAsAWhole) {
    const std::string whole = get("/app.js").body;
    for (const char* const extraLines : {keepAlive, close}) {
        const SlowReader reader(port, extraLines);
        ASSERT_TRUE(eventually([this] { return unacknowledged() == 1; }));
        EXPECT_TRUE(reader.read().ends_with("\r\n\r\n" + whole));
        EXPECT_TRUE(eventually([this] { return unacknowledged() == 0; }));
    }
}

} // namespace
} // namespace ostrad::test
