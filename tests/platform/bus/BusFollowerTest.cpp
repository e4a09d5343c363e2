// A connection that follows its bus: the end, the return at the same address, and how often it is
// tried meanwhile.
#include "platform/linux/bus/BusFollower.h"

#include "platform/posix/UniqueFd.h"
#include "tests/platform/bus/PrivateBus.h"

#include <glib-unix.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform::desktop {
namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = Steady::now() + 20s;
    const guint tick =
        g_timeout_add(5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    while (!condition() && Steady::now() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(tick);
    return condition();
}

// Somebody at the bus's address who takes connections and says nothing but good-bye.
class Dud {
  public:
    explicit Dud(const std::filesystem::path& path)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        std::filesystem::remove(path);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(&address.sun_path[0], sizeof address.sun_path - 1);
        EXPECT_EQ(
            ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(socket_.get(), 16), 0);
        source_ = g_unix_fd_add(
            socket_.get(), G_IO_IN,
            [](gint descriptor, GIOCondition, gpointer self) -> gboolean {
                const posix::UniqueFd taken(::accept(descriptor, nullptr, nullptr));
                static_cast<Dud*>(self)->visits.push_back(Steady::now());
                return G_SOURCE_CONTINUE;
            },
            this);
    }
    ~Dud() { g_source_remove(source_); }
    Dud(const Dud&) = delete;
    Dud& operator=(const Dud&) = delete;

    std::vector<Steady::time_point> visits;

  private:
    posix::UniqueFd socket_;
    guint source_ = 0;
};

class BusFollowerTest : public ::testing::Test {
  protected:
    BusFollowerTest() { ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1); }
    // What is under way to this test's bus is over before the next test.
    ~BusFollowerTest() override {
        follower.reset();
        bus.kill();
        bool done = false;
        g_bus_get(
            G_BUS_TYPE_SESSION, nullptr,
            [](GObject*, GAsyncResult* result, gpointer flag) {
                if (GDBusConnection* const left = g_bus_get_finish(result, nullptr)) {
                    g_object_unref(left);
                }
                *static_cast<bool*>(flag) = true;
            },
            &done);
        EXPECT_TRUE(eventually([&] { return done; }));
    }

    // GLib lets go of a connection that failed a moment after it has said so.
    static void awaitTheBus() {
        EXPECT_TRUE(eventually([] {
            const gtk::GObjectPtr<GDBusConnection> connection(
                g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
            if (connection) {
                g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
            }
            return connection && g_dbus_connection_is_closed(connection.get()) == FALSE;
        }));
    }

    void follow(BusFollower::Pauses pauses = {.first = 10ms, .longest = 40ms}) {
        follower = std::make_unique<BusFollower>(
            G_BUS_TYPE_SESSION,
            BusFollower::Events{.came =
                                    [this](GDBusConnection* connection) {
                                        EXPECT_FALSE(g_dbus_connection_is_closed(connection));
                                        ++came;
                                    },
                                .went =
                                    [this](const std::string& why) {
                                        ++went;
                                        trouble = why;
                                    }},
            pauses);
    }

    test_support::PrivateBus bus;
    std::unique_ptr<BusFollower> follower;
    int came = 0;
    int went = 0;
    std::string trouble = "nothing yet";
};

TEST_F(BusFollowerTest, joinsEachBusThatFollowsAtTheSameAddress) {
    awaitTheBus();
    follow();
    ASSERT_TRUE(eventually([&] { return came == 1; }));
    for (int round = 1; round <= 5; ++round) {
        EXPECT_FALSE(follower->isWaiting());
        bus.kill();
        ASSERT_TRUE(eventually([&] { return went == round; }));
        EXPECT_EQ(follower->connection(), nullptr);
        EXPECT_TRUE(follower->isWaiting());
        EXPECT_EQ(trouble, "");
        bus.start();
        ASSERT_TRUE(eventually([&] { return came == round + 1; }));
    }
    EXPECT_EQ(went, 5);
}

TEST_F(BusFollowerTest, saysWhyThereIsNoneAndWaitsForNone) {
    bus.kill();
    follow({.first = 1ms, .longest = 1ms});
    ASSERT_TRUE(eventually([&] { return went == 1; }));
    EXPECT_NE(trouble, "");
    EXPECT_FALSE(follower->isWaiting());
    const Dud dud(bus.socket());
    std::vector<int> turns;
    for (int turn = 0; turn < 20; ++turn) {
        g_timeout_add(
            static_cast<guint>(turn),
            [](gpointer data) -> gboolean {
                static_cast<std::vector<int>*>(data)->push_back(0);
                return G_SOURCE_REMOVE;
            },
            &turns);
    }
    ASSERT_TRUE(eventually([&] { return turns.size() == 20; }));
    EXPECT_TRUE(dud.visits.empty());
}

TEST_F(BusFollowerTest, pausesTwiceAsLongAfterEachAttemptInVain) {
    awaitTheBus();
    follow({.first = 40ms, .longest = 640ms});
    ASSERT_TRUE(eventually([&] { return came == 1; }));
    const auto end = Steady::now();
    bus.kill();
    const Dud dud(bus.socket());
    ASSERT_TRUE(eventually([&] { return dud.visits.size() == 4; }));
    EXPECT_GE(dud.visits[0] - end, 40ms);
    // An attempt is over, and its pause begins, no earlier than it is seen here; but what is seen
    // here may be seen late.
    EXPECT_GE(dud.visits[3] - end, 40ms + 80ms + 160ms + 320ms);
    EXPECT_EQ(went, 1);
}

TEST_F(BusFollowerTest, pausesNoLongerThanTheLongest) {
    awaitTheBus();
    follow({.first = 10ms, .longest = 20ms});
    ASSERT_TRUE(eventually([&] { return came == 1; }));
    bus.kill();
    const Dud dud(bus.socket());
    // Doubled each time it would be 40 s.
    EXPECT_TRUE(eventually([&] { return dud.visits.size() == 12; }));
}

TEST_F(BusFollowerTest, startsWithTheShortPauseAgainOnceTheBusWasThere) {
    awaitTheBus();
    // Doubled each time, the last would be longer than is waited here.
    follow({.first = 40ms, .longest = 60min});
    for (int round = 1; round <= 12; ++round) {
        ASSERT_TRUE(eventually([&] { return came == round; })) << round;
        bus.kill();
        ASSERT_TRUE(eventually([&] { return went == round; }));
        bus.start();
    }
}

TEST_F(BusFollowerTest, takesNoConnectionThatHasEndedFromWhoeverStillHoldsIt) {
    awaitTheBus();
    follow();
    ASSERT_TRUE(eventually([&] { return came == 1; }));
    gtk::GObjectPtr<GDBusConnection> held(
        static_cast<GDBusConnection*>(g_object_ref(follower->connection())));
    bus.kill();
    ASSERT_TRUE(eventually([&] { return went == 1; }));
    bus.start();
    int attempts = 0;
    g_timeout_add(
        100,
        [](gpointer count) -> gboolean {
            ++*static_cast<int*>(count);
            return G_SOURCE_REMOVE;
        },
        &attempts);
    ASSERT_TRUE(eventually([&] { return attempts == 1; }));
    EXPECT_EQ(came, 1);
    held.reset();
    EXPECT_TRUE(eventually([&] { return came == 2; }));
}

TEST_F(BusFollowerTest, tellsNobodyAfterItsEnd) {
    awaitTheBus();
    follow();
    follower.reset();
    follow();
    ASSERT_TRUE(eventually([&] { return came == 1; }));
    bus.kill();
    follower.reset();
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    EXPECT_EQ(came, 1);
    EXPECT_EQ(went, 0);
}

} // namespace
} // namespace platform::desktop
