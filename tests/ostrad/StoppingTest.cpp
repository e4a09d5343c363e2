#include "tests/ostrad/OstradFixture.h"

#include <csignal>

namespace ostrad::test {
namespace {

using namespace std::chrono_literals;

class Stopping : public OstradTest {
  protected:
    // Leaves connections behind in every state a client can leave them in.
    void mixedTraffic(int rounds) {
        for (int i = 0; i < rounds; ++i) {
            auto client = std::make_unique<RawClient>(port);
            switch (i % 8) {
            case 0: // the server is asked to close, the client closes first
                client->send(requestText(port, "GET", "/api/modes", "Connection: close\r\n"));
                client->readReply();
                continue;
            case 1: // an old client that closes after the reply
                client->send("GET / HTTP/1.0\r\nHost: 127.0.0.1:" + std::to_string(port) +
                             "\r\n\r\n");
                client->readReply();
                continue;
            case 2: // kept open, idle
                client->send(requestText(port, "GET", "/api/health"));
                client->readReply();
                break;
            case 3: // ended by an error
                client->send("nonsense\r\n\r\n");
                client->readReply();
                continue;
            case 4: // half a request
                client->send("POST /api/libraries HTTP/1.1\r\nContent-Length: 10\r\n\r\nab");
                break;
            case 5: // half-closed
                client->send(requestText(port, "GET", "/"));
                client->finishSending();
                client->readReply();
                break;
            case 6: // gone without a word
                continue;
            default: // waits for a close that never comes
                client->send(requestText(port, "GET", "/api/modes", "Connection: close\r\n"));
                break;
            }
            kept.push_back(std::move(client));
        }
    }

    std::vector<std::unique_ptr<RawClient>> kept;
};

TEST_F(Stopping, freesThePortAtOnceWhateverItsClientsDid) {
    mixedTraffic(320);
    const auto begin = std::chrono::steady_clock::now();
    server->signal(SIGTERM);
    EXPECT_EQ(server->wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_TRUE(canBindPlainly(port));
}

TEST_F(Stopping, freesThePortEvenWhenItIsKilled) {
    mixedTraffic(160);
    server->signal(SIGKILL);
    EXPECT_EQ(server->wait(), 128 + SIGKILL);
    EXPECT_TRUE(canBindPlainly(port));
}

TEST_F(Stopping, startsAgainOnTheSamePort) {
    for (int i = 0; i < 3; ++i) {
        mixedTraffic(16);
        server->signal(SIGTERM);
        ASSERT_EQ(server->wait(), 0);
        const auto before = port;
        start({}, "127.0.0.1:" + std::to_string(before));
        EXPECT_EQ(port, before);
        EXPECT_EQ(get("/api/health").status, 200);
    }
}

class StoppingSignal : public OstradTest, public testing::WithParamInterface<int> {};

TEST_P(StoppingSignal, endsInAnOrderlyStop) {
    server->signal(GetParam());
    EXPECT_EQ(server->wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(temp.path("data.db-wal")));
}

INSTANTIATE_TEST_SUITE_P(Stopping, StoppingSignal, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(Stopping, doesNotWaitForStreamsOrScans) {
    temp.write("films/A.webm", std::string(30'000'000, 'x'));
    addLibrary("movies", temp.path("films"));
    ASSERT_TRUE(scanned());
    RawClient streaming(port);
    streaming.send(requestText(port, "GET", "/media/" + firstId("movies.movie")));
    streaming.readBytes(1000);
    for (int i = 0; i < 5000; ++i) {
        temp.write("shows/" + std::to_string(i % 100) + "/S01E" + std::to_string(i) + ".mkv", "");
    }
    addLibrary("tv", temp.path("shows"));
    const auto begin = std::chrono::steady_clock::now();
    server->signal(SIGTERM);
    EXPECT_EQ(server->wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_FALSE(std::filesystem::exists(temp.path("data.db-wal")));
    EXPECT_TRUE(canBindPlainly(port));
}

TEST_F(Stopping, takesAHangingToolWithIt) {
    const std::string pidFile = temp.path("pid");
    const std::string probe =
        temp.writeProgram("probe", "echo $$ > '" + pidFile + "'; exec sleep 600");
    temp.write("music/A/B/1.mp3");
    start({"-ffprobe", probe});
    addLibrary("music", temp.path("music"));
    ASSERT_TRUE(eventually([&] { return readFile(pidFile).ends_with('\n'); }));
    server->signal(SIGTERM);
    EXPECT_EQ(server->wait(), 0);
    EXPECT_NE(::kill(std::stoi(readFile(pidFile)), 0), 0);
    EXPECT_TRUE(canBindPlainly(port));
}

} // namespace
} // namespace ostrad::test
