// One library on a disk that is asleep, another one on a disk that is not.
#include "tests/ostrad/OstradFixture.h"
#include "tests/ostrad/slowfs/SlowFs.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

namespace ostrad::test {
namespace {

class SlowDisk : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        temp.write("slow/A.webm", slow);
        temp.write("quick/B.webm", "quick");
        server = std::make_unique<ServerProcess>(
            OSTRAD_EXECUTABLE,
            std::vector<std::string>{"-addr", "127.0.0.1:0", "-db", temp.path("data.db")},
            ServerProcess::Environment{{"LD_PRELOAD", SLOWFS_LIBRARY},
                                       {slowfs::rootVariable, temp.path("slow")},
                                       {slowfs::gateVariable, gate()},
                                       {slowfs::callsVariable, GetParam()}});
        port = server->waitForPort();
        add("slow");
        add("quick");
        ASSERT_TRUE(eventually([this] { return !json("/api/scan").at("scanning").as_bool(); }));
        const boost::json::value films = json("/api/entities?type=movies.movie");
        for (const auto& entity : films.as_array()) {
            (entity.at("title") == "A" ? slowId : quickId) =
                std::to_string(entity.at("id").as_int64());
        }
    }
    void TearDown() override { std::filesystem::remove(gate()); }

    [[nodiscard]] std::string gate() const { return temp.path("asleep"); }
    void fallAsleep() const { std::ofstream(gate()) << "x"; }
    void wake() const { std::filesystem::remove(gate()); }

    void add(const std::string& folder) const {
        postJson(port, "/api/libraries",
                 R"({"modeId":"movies","path":")" + temp.path(folder) + "\"}");
    }
    [[nodiscard]] boost::json::value json(const std::string& target) const {
        return boost::json::parse(exchange(port, "GET", target).body);
    }

    const std::string slow = std::string(700'000, 's') + "end";
    TempFolder temp;
    std::unique_ptr<ServerProcess> server;
    std::uint16_t port = 0;
    std::string slowId;
    std::string quickId;
};

TEST_P(SlowDisk, delaysNobodyButThoseWhoWantIt) {
    fallAsleep();
    std::vector<std::future<RawReply>> waiting;
    for (int reader = 0; reader < 20; ++reader) {
        waiting.push_back(std::async(std::launch::async, [this] {
            RawClient client(port);
            client.send(requestText(port, "GET", "/media/" + slowId));
            // Silence on this connection lasts as long as the disk sleeps.
            while (std::filesystem::exists(gate())) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            return client.readReply();
        }));
    }
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(exchange(port, "GET", "/api/health").status, 200);
        EXPECT_EQ(exchange(port, "GET", "/api/entities?type=movies.movie").status, 200);
        EXPECT_EQ(exchange(port, "GET", "/media/" + quickId).body, "quick");
    }
    for (const auto& reader : waiting) {
        EXPECT_EQ(reader.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    }
    wake();
    for (auto& reader : waiting) {
        const RawReply reply = reader.get();
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(reply.body, slow);
    }
}

TEST_P(SlowDisk, doesNotKeepTheServerFromEnding) {
    fallAsleep();
    RawClient client(port);
    client.send(requestText(port, "GET", "/media/" + slowId));
    EXPECT_EQ(exchange(port, "GET", "/api/health").status, 200);
    server->signal(SIGTERM);
    EXPECT_EQ(server->wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Calls, SlowDisk, testing::Values("open", "read"),
                         [](const auto& calls) { return std::string(calls.param); });

} // namespace
} // namespace ostrad::test
