#include "ostrad/HttpServer.h"

#include "tests/ostrad/RawClient.h"
#include "tests/ostrad/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <system_error>
#include <thread>

namespace ostrad {
namespace {

using namespace std::chrono_literals;
using test::RawClient;
using test::requestText;

// Answers with the method, path and body it was given; "/file" with a slice of a file.
class HttpServerTest : public testing::Test {
  protected:
    void start(HttpLimits limits = {}) {
        server = std::make_unique<HttpServer>(ListenAddress{"127.0.0.1", 0}, limits);
        port = server->address().port;
        thread = std::thread(
            [this] { server->run([this](const Request& request) { return answer(request); }); });
    }

    void TearDown() override {
        if (server) {
            server->stop();
            thread.join();
            server.reset();
            EXPECT_TRUE(test::canBindPlainly(port));
        }
    }

    Reply answer(const Request& request) const {
        Reply reply;
        if (request.path == "/file") {
            reply.file = FileSlice{UniqueFd(::open(filePath.c_str(), O_RDONLY | O_CLOEXEC)),
                                   fileOffset, fileLength};
        } else if (request.path == "/nothing") {
            reply.status = 304;
        } else {
            reply.body = request.path + "|" + request.body;
        }
        return reply;
    }

    std::unique_ptr<HttpServer> server;
    std::uint16_t port = 0;
    std::string filePath;
    std::uint64_t fileOffset = 0;
    std::uint64_t fileLength = 0;

  private:
    std::thread thread;
};

TEST_F(HttpServerTest, answersManyRequestsOnOneConnection) {
    start();
    RawClient client(port);
    for (int i = 0; i < 50; ++i) {
        client.send(requestText(port, "GET", "/a"));
        const auto reply = client.readReply();
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(reply.body, "/a|");
        EXPECT_EQ(reply.header("connection"), "keep-alive");
        EXPECT_NE(reply.header("date"), "");
    }
}

TEST_F(HttpServerTest, answersPipelinedRequestsInOrder) {
    start();
    RawClient client(port);
    client.send(requestText(port, "GET", "/1") + requestText(port, "POST", "/2", "", "body") +
                requestText(port, "GET", "/3"));
    EXPECT_EQ(client.readReply().body, "/1|");
    EXPECT_EQ(client.readReply().body, "/2|body");
    EXPECT_EQ(client.readReply().body, "/3|");
}

TEST_F(HttpServerTest, readsARequestThatComesInPieces) {
    start();
    RawClient client(port);
    for (const char c : requestText(port, "POST", "/slow", "", "body")) {
        client.send(std::string_view(&c, 1));
    }
    EXPECT_EQ(client.readReply().body, "/slow|body");
}

TEST_F(HttpServerTest, readsAChunkedBody) {
    start();
    RawClient client(port);
    client.send(requestText(port, "POST", "/c", "Transfer-Encoding: chunked\r\n") +
                "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");
    EXPECT_EQ(client.readReply().body, "/c|abcde");
}

TEST_F(HttpServerTest, sendsNoBodyToHead) {
    start();
    RawClient client(port);
    client.send(requestText(port, "HEAD", "/a") + requestText(port, "GET", "/b"));
    EXPECT_EQ(client.readReply(false).header("content-length"), "3");
    EXPECT_EQ(client.readReply().body, "/b|");
}

TEST_F(HttpServerTest, sendsNoLengthWithNotModified) {
    start();
    RawClient client(port);
    client.send(requestText(port, "GET", "/nothing") + requestText(port, "GET", "/b"));
    EXPECT_EQ(client.readReply().header("content-length"), "");
    EXPECT_EQ(client.readReply().body, "/b|");
}

TEST_F(HttpServerTest, asksForABodyThatWaitsForIt) {
    start();
    RawClient client(port);
    client.send(requestText(port, "POST", "/e", "Expect: 100-continue\r\nContent-Length: 4\r\n"));
    EXPECT_EQ(client.readReply(false).status, 100);
    client.send("body");
    EXPECT_EQ(client.readReply().body, "/e|body");
}

TEST_F(HttpServerTest, repliesInFullToAClientThatSendsNoMore) {
    start();
    RawClient client(port);
    client.send(requestText(port, "GET", "/a", "Connection: close\r\n"));
    client.finishSending();
    EXPECT_EQ(client.readReply().body, "/a|");
    EXPECT_TRUE(client.endsOrderly());
}

TEST_F(HttpServerTest, leavesTheCloseToTheClientButNotForEver) {
    start({.farewell = 50ms});
    RawClient client(port);
    client.send(requestText(port, "GET", "/a", "Connection: close\r\n"));
    const auto reply = client.readReply();
    EXPECT_EQ(reply.header("connection"), "close");
    EXPECT_EQ(reply.body, "/a|");
    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(HttpServerTest, endsAConnectionThatRestsTooLong) {
    start({.idle = 50ms});
    RawClient client(port);
    EXPECT_TRUE(client.isClosedByServer());
    RawClient half(port);
    half.send("GET / HT");
    EXPECT_TRUE(half.isClosedByServer());
}

class MalformedRequest : public HttpServerTest, public testing::WithParamInterface<const char*> {};

TEST_P(MalformedRequest, isAnsweredWith400AndTheEndOfTheConnection) {
    start({.farewell = 50ms});
    RawClient client(port);
    client.send(GetParam());
    EXPECT_EQ(client.readReply().status, 400);
    EXPECT_TRUE(client.isClosedByServer());
    EXPECT_EQ(test::exchange(port, "GET", "/after").status, 200);
}

INSTANTIATE_TEST_SUITE_P(
    HttpServer, MalformedRequest,
    testing::Values("garbage\r\n\r\n", "GET\r\n\r\n", "GET / HTTP/9.9\r\n\r\n",
                    "GET / HTTP/1.1\r\nno colon\r\n\r\n", "GET / HTTP/1.1\r\n\r\n",
                    "GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n",
                    "GET /%zz HTTP/1.1\r\nHost: a\r\n\r\n",
                    "GET nowhere HTTP/1.1\r\nHost: a\r\n\r\n",
                    "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: x\r\n\r\n",
                    "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: -1\r\n\r\n",
                    "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\nTransfer-Encoding: "
                    "chunked\r\n\r\n0\r\n\r\n",
                    "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
                    "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n"));

TEST_F(HttpServerTest, boundsTheHeader) {
    start({.farewell = 50ms});
    RawClient client(port);
    client.send(requestText(port, "GET", "/", "X: " + std::string(17'000, 'x') + "\r\n"));
    EXPECT_EQ(client.readReply().status, 431);
}

TEST_F(HttpServerTest, boundsTheBody) {
    start({.farewell = 50ms});
    RawClient announced(port);
    announced.send(requestText(port, "POST", "/", "Content-Length: 65537\r\n"));
    EXPECT_EQ(announced.readReply().status, 413);
    RawClient chunked(port);
    chunked.send(requestText(port, "POST", "/", "Transfer-Encoding: chunked\r\n") + "11000\r\n" +
                 std::string(0x11000, 'x'));
    EXPECT_EQ(chunked.readReply().status, 413);
    EXPECT_EQ(test::exchange(port, "POST", "/", "", std::string(65536, 'x')).status, 200);
}

TEST_F(HttpServerTest, refusesConnectionsBeyondItsLimitAndRecovers) {
    start({.connections = 2});
    auto first = std::make_unique<RawClient>(port);
    RawClient second(port);
    for (RawClient* client : {first.get(), &second}) {
        client->send(requestText(port, "GET", "/"));
        EXPECT_EQ(client->readReply().status, 200);
    }
    RawClient third(port);
    EXPECT_TRUE(third.isClosedByServer());
    first.reset();
    EXPECT_TRUE(test::eventually([this] {
        try {
            return test::exchange(port, "GET", "/").status == 200;
        } catch (const std::runtime_error&) {
            return false;
        }
    }));
}

TEST_F(HttpServerTest, streamsASliceOfALargeFile) {
    const test::TempFolder temp;
    std::string content;
    for (int i = 0; content.size() < 3'000'000; ++i) {
        content += std::to_string(i) + ' ';
    }
    filePath = temp.write("file", content);
    fileOffset = 12'345;
    fileLength = 2'500'000;
    start();
    const auto reply = test::exchange(port, "GET", "/file");
    EXPECT_EQ(reply.body, content.substr(fileOffset, fileLength));
}

TEST_F(HttpServerTest, endsTheConnectionWhenAFileIsShorterThanAnnounced) {
    const test::TempFolder temp;
    filePath = temp.write("file", "short");
    fileLength = 100;
    start();
    RawClient client(port);
    client.send(requestText(port, "GET", "/file"));
    EXPECT_THROW(client.readReply(), std::runtime_error);
}

TEST_F(HttpServerTest, survivesAClientThatGoesAwayWhileAFileIsSent) {
    const test::TempFolder temp;
    filePath = temp.write("file", std::string(20'000'000, 'x'));
    fileLength = 20'000'000;
    start();
    for (int i = 0; i < 10; ++i) {
        RawClient client(port);
        client.send(requestText(port, "GET", "/file"));
        client.readBytes(100);
    }
    EXPECT_EQ(test::exchange(port, "GET", "/").status, 200);
}

TEST_F(HttpServerTest, stopsWithConnectionsInEveryState) {
    const test::TempFolder temp;
    filePath = temp.write("file", std::string(20'000'000, 'x'));
    fileLength = 20'000'000;
    start();
    RawClient idle(port);
    RawClient half(port);
    half.send("GET / HTTP/1.1\r\n");
    RawClient streaming(port);
    streaming.send(requestText(port, "GET", "/file"));
    streaming.readBytes(1000);
    RawClient leaving(port);
    leaving.send(requestText(port, "GET", "/", "Connection: close\r\n"));
    leaving.readReply();
    TearDown();
    EXPECT_TRUE(idle.isClosedByServer());
}

TEST(HttpServer, saysWhyItCannotListen) {
    const HttpServer first(ListenAddress{"127.0.0.1", 0});
    try {
        const HttpServer second(first.address());
        FAIL() << "two servers on one port";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EADDRINUSE);
        EXPECT_NE(std::string(error.what()).find("cannot listen on 127.0.0.1, port "),
                  std::string::npos);
    }
}

TEST(HttpServer, returnsAtOnceWhenItWasStoppedBeforeItRan) {
    HttpServer server(ListenAddress{"127.0.0.1", 0});
    server.stop();
    server.run([](const Request&) { return Reply{}; });
}

} // namespace
} // namespace ostrad
