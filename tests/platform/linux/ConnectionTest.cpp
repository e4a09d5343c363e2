// The connection between the application and its window program: what may travel, what ends it,
// and what becomes of a menu on the way. Both ends are in this process; no display is needed.
#include "platform/linux/connection/MenuEntries.h"
#include "platform/linux/connection/PeerConnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace platform;
using namespace platform::connection;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Answers a few methods of the application's side.
struct Owner {
    Owner() {
        calls.on("WindowClosed", this, &Owner::closed);
        calls.on("ScriptMessage", this, &Owner::message);
        calls.onQuestion("DecideNavigation", this, &Owner::decide);
    }
    void closed(std::uint64_t window, std::uint64_t turn) {
        events.push_back("closed " + std::to_string(window) + " " + std::to_string(turn));
    }
    void message(std::uint64_t /*window*/, std::string name, std::string body) {
        events.push_back(name + " " + body);
    }
    void decide(Reply reply, std::uint64_t /*window*/, std::string url, bool isLink,
                bool /*byUser*/, bool /*inMainFrame*/) {
        events.push_back(url + (isLink ? " by link" : ""));
        if (answers) {
            reply(true);
        }
    }

    Calls calls{Side::owner};
    bool answers = true;
    std::vector<std::string> events;
};

class ConnectionTest : public ::testing::Test {
  protected:
    void connect(const ConnectionLimits& limits = {}) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        ours.emplace(posix::UniqueFd(ends[0]), owner.calls, limits, [this] { oursClosed = true; });
        theirs.emplace(posix::UniqueFd(ends[1]), none, ConnectionLimits{},
                       [this] { theirsClosed = true; });
    }
    static bool eventually(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            if (std::chrono::steady_clock::now() >= deadline) {
                return false;
            }
            g_main_context_iteration(nullptr, FALSE);
        }
        return true;
    }
    // What the other side would send if it kept to no rule.
    void sendRaw(const char* path, const char* interface, const char* method, GVariant* body) {
        theirs.reset();
        int ends[2] = {-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        ours.emplace(posix::UniqueFd(ends[0]), owner.calls, ConnectionLimits{},
                     [this] { oursClosed = true; });
        GDBusMessage* const message =
            g_dbus_message_new_method_call(nullptr, path, interface, method);
        g_dbus_message_set_serial(message, 1);
        if (body != nullptr) {
            g_dbus_message_set_body(message, body);
        }
        gsize size = 0;
        guchar* const bytes =
            g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
        raw = posix::UniqueFd(ends[1]);
        ASSERT_EQ(::send(raw.get(), bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
        g_free(bytes);
        g_object_unref(message);
    }

    // A question to somebody who answers with that, whatever was asked; the answer, if it counts.
    [[nodiscard]] std::optional<bool> answerTo(const ConnectionLimits& limits, GVariant* results) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        theirs.emplace(posix::UniqueFd(ends[0]), none, limits, [this] { theirsClosed = true; });
        raw = posix::UniqueFd(ends[1]);
        bool isOver = false;
        std::optional<bool> answer;
        theirs->ask<bool>(
            "DecideNavigation", PeerConnection::forEver,
            [&](auto reply) {
                isOver = true;
                answer = reply ? std::optional(std::get<0>(*reply)) : std::nullopt;
            },
            std::uint64_t{1}, std::string(), false, false, false);
        GDBusMessage* const message = g_dbus_message_new();
        g_dbus_message_set_message_type(message, G_DBUS_MESSAGE_TYPE_METHOD_RETURN);
        g_dbus_message_set_serial(message, 1);
        g_dbus_message_set_reply_serial(message, 1); // the first thing that was sent
        g_dbus_message_set_body(message, results);
        gsize size = 0;
        guchar* const bytes =
            g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
        EXPECT_EQ(::send(raw.get(), bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
        g_free(bytes);
        g_object_unref(message);
        EXPECT_TRUE(eventually([&] {
            if (theirsClosed) {
                theirs.reset();
            }
            return isOver;
        }));
        return answer;
    }

    Owner owner;
    Calls none{Side::program};
    std::optional<PeerConnection> ours;
    std::optional<PeerConnection> theirs;
    posix::UniqueFd raw;
    bool oursClosed = false;
    bool theirsClosed = false;
};

TEST_F(ConnectionTest, deliversInTheOrderOfSending) {
    connect();
    theirs->tell("WindowClosed", std::uint64_t{1}, std::uint64_t{2});
    theirs->tell("ScriptMessage", std::uint64_t{1}, std::string("a"), std::string("\xff{}"));
    theirs->tell("WindowClosed", std::uint64_t{3}, std::uint64_t{4});
    EXPECT_TRUE(eventually([&] { return owner.events.size() == 3; }));
    EXPECT_THAT(owner.events, ElementsAre("closed 1 2", "a \xEF\xBF\xBD{}", "closed 3 4"));
}

TEST_F(ConnectionTest, answersAQuestion) {
    connect();
    std::optional<std::tuple<bool>> answer;
    theirs->ask<bool>(
        "DecideNavigation", PeerConnection::forEver, [&](auto reply) { answer = reply; },
        std::uint64_t{1}, std::string("http://a/"), true, false, false);
    EXPECT_EQ(theirs->questions(), 1);
    EXPECT_TRUE(eventually([&] { return answer.has_value(); }));
    EXPECT_TRUE(std::get<0>(*answer));
    EXPECT_EQ(theirs->questions(), 0);
}

TEST_F(ConnectionTest, tellsThatAQuestionWasNotAnswered) {
    connect();
    owner.answers = false;
    int unanswered = 0;
    theirs->ask<bool>(
        "DecideNavigation", PeerConnection::forEver,
        [&](auto reply) { unanswered += reply ? 0 : 1; }, std::uint64_t{1}, std::string(), false,
        false, false);
    EXPECT_TRUE(eventually([&] { return unanswered == 1; }));
}

TEST_F(ConnectionTest, tellsAnAskerThatNobodyIsThereAnyMore) {
    connect();
    bool unanswered = false;
    theirs->ask<bool>(
        "DecideNavigation", PeerConnection::forEver, [&](auto reply) { unanswered = !reply; },
        std::uint64_t{1}, std::string(), false, false, false);
    theirs.reset();
    EXPECT_TRUE(eventually([&] { return unanswered && oursClosed; }));
}

TEST_F(ConnectionTest, givesUpAnAnswerThatDoesNotComeInTime) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    raw = posix::UniqueFd(ends[0]); // nobody reads there
    theirs.emplace(posix::UniqueFd(ends[1]), none, ConnectionLimits{}, [] {});
    bool unanswered = false;
    theirs->ask<bool>(
        "DecideNavigation", std::chrono::milliseconds(50), [&](auto reply) { unanswered = !reply; },
        std::uint64_t{1}, std::string(), false, false, false);
    EXPECT_TRUE(eventually([&] { return unanswered; }));
}

TEST_F(ConnectionTest, takesNoAnswerOfOtherTypes) {
    EXPECT_EQ(answerTo({}, g_variant_new("(b)", TRUE)), true);
    EXPECT_EQ(answerTo({}, g_variant_new("(s)", "true")), std::nullopt);
    EXPECT_EQ(answerTo({}, g_variant_new("(bb)", TRUE, TRUE)), std::nullopt);
    EXPECT_FALSE(theirsClosed);
}

TEST_F(ConnectionTest, endsOverAnAnswerThatIsTooLong) {
    const std::string text(1001, 'x');
    EXPECT_EQ(answerTo({.largestMessage = 1000}, g_variant_new("(s)", text.c_str())), std::nullopt);
    EXPECT_TRUE(theirsClosed);
}

TEST_F(ConnectionTest, endsWhenTheOtherSideHasGone) {
    connect();
    ours.reset();
    EXPECT_TRUE(eventually([&] { return theirsClosed; }));
}

struct Forbidden {
    const char* name;
    const char* path;
    const char* interface;
    const char* method;
    const char* body; // in GVariant's text format, or null
};

class ForbiddenMessages : public ConnectionTest, public ::testing::WithParamInterface<Forbidden> {};

TEST_P(ForbiddenMessages, endTheConnectionUnheard) {
    const Forbidden& forbidden = GetParam();
    GVariant* const body = forbidden.body == nullptr ? nullptr
                                                     : g_variant_parse(nullptr, forbidden.body,
                                                                       nullptr, nullptr, nullptr);
    sendRaw(forbidden.path, forbidden.interface, forbidden.method, body);
    EXPECT_TRUE(eventually([&] { return oursClosed; }));
    EXPECT_THAT(owner.events, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Every, ForbiddenMessages,
    ::testing::Values(
        Forbidden{"unknownMethod", "/owner", "app.zorvane.WindowOwner", "Nothing", nullptr},
        Forbidden{"methodOfTheOtherSide", "/owner", "app.zorvane.WindowProgram", "Ping", nullptr},
        Forbidden{"otherPath", "/", "app.zorvane.WindowOwner", "WindowClosed",
                  "(uint64 1, uint64 2)"},
        Forbidden{"otherTypes", "/owner", "app.zorvane.WindowOwner", "WindowClosed", "(1, 2)"},
        Forbidden{"tooFew", "/owner", "app.zorvane.WindowOwner", "WindowClosed", "(uint64 1,)"},
        Forbidden{"none", "/owner", "app.zorvane.WindowOwner", "WindowClosed", nullptr},
        Forbidden{"introspection", "/owner", "org.freedesktop.DBus.Introspectable", "Introspect",
                  nullptr}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(ConnectionTest, endsOverAMessageThatIsTooLong) {
    connect({.largestMessage = 1000});
    theirs->tell("ScriptMessage", std::uint64_t{1}, std::string("a"), std::string(900, 'x'));
    EXPECT_TRUE(eventually([&] { return owner.events.size() == 1; }));
    theirs->tell("ScriptMessage", std::uint64_t{1}, std::string("a"), std::string(1001, 'x'));
    EXPECT_TRUE(eventually([&] { return oursClosed; }));
    EXPECT_EQ(owner.events.size(), 1U);
}

// Nothing is dealt with while the main context rests.
TEST_F(ConnectionTest, endsOverMoreCallsThanCanBeDealtWith) {
    connect({.mostCalls = 8});
    // Again if need be: the thread that reads may have rested, too.
    EXPECT_TRUE(eventually([&] {
        for (std::uint64_t window = 0; window < 200 && !oursClosed; ++window) {
            theirs->tell("WindowClosed", window, window);
        }
        return oursClosed;
    }));
}

TEST_F(ConnectionTest, endsOverMoreBytesThanCanBeDealtWith) {
    connect({.mostBytes = 10'000});
    const std::string text(1000, 'x');
    EXPECT_TRUE(eventually([&] {
        for (int count = 0; count < 200 && !oursClosed; ++count) {
            theirs->tell("ScriptMessage", std::uint64_t{1}, std::string("a"), text);
        }
        return oursClosed;
    }));
}

// What has been dealt with counts no more.
TEST_F(ConnectionTest, goesOnHoweverMuchComesOneAfterTheOther) {
    connect({.mostBytes = 10'000, .mostCalls = 8});
    const std::string text(1000, 'x');
    for (std::size_t count = 1; count <= 50; ++count) {
        theirs->tell("ScriptMessage", std::uint64_t{1}, std::string("a"), text);
        ASSERT_TRUE(eventually([&] { return owner.events.size() == count; })) << count;
    }
    EXPECT_FALSE(oursClosed);
}

TEST_F(ConnectionTest, refusesAHandlerWithOtherTypesThanTheInterface) {
    struct Wrong {
        void closed(std::string /*window*/) {}
    } wrong;
    Calls calls(Side::owner);
    EXPECT_THROW(calls.on("WindowClosed", &wrong, &Wrong::closed), std::logic_error);
    EXPECT_THROW(calls.on("Nothing", &wrong, &Wrong::closed), std::logic_error);
    EXPECT_FALSE(calls.areComplete());
}

Menu sampleMenu(std::function<void()> action) {
    return {{.title = "Edit",
             .submenu = {{.title = "Undo",
                          .keyEquivalent = "z",
                          .standardAction = StandardAction::undo},
                         {.separator = true},
                         {.title = "Deeper", .submenu = {{.title = "Own", .action = action}}}}},
            {.title = "Off", .enabled = false, .action = action},
            {.title = "On", .checkable = true, .checked = true, .action = action},
            {.title = "Does nothing"}};
}

TEST(MenuEntries, bringAMenuAcrossWithItsShape) {
    const auto entries = entriesOf(sampleMenu([] {}));
    std::vector<std::uint32_t> chosen;
    const Menu menu = menuOf(entries, [&](std::uint32_t place) { chosen.push_back(place); });
    EXPECT_EQ(entriesOf(menu), entries);
    menu[2].action();
    menu[0].submenu[2].submenu[0].action();
    EXPECT_THAT(chosen, ElementsAre(6U, 4U));
    EXPECT_FALSE(menu[1].action);
    EXPECT_FALSE(menu[3].action) << "what does nothing cannot be chosen";
}

TEST(MenuEntries, findTheItemThatWasChosen) {
    const Menu menu = sampleMenu([] {});
    EXPECT_EQ(itemAt(menu, 4)->title, "Own");
    EXPECT_EQ(itemAt(menu, 6)->title, "On");
    EXPECT_EQ(itemAt(menu, 8), nullptr);
    EXPECT_EQ(itemAt(menu, 0xffffffff), nullptr);
}

TEST(MenuEntries, leaveOutWhatDoesNotFit) {
    std::vector<MenuEntry> entries = {{.depth = 1, .title = "nowhere"},
                                      {.title = "first"},
                                      {.depth = 2, .title = "too deep"},
                                      {.title = "odd", .command = 99}};
    const Menu menu = menuOf(entries, [](std::uint32_t) {});
    ASSERT_EQ(menu.size(), 2U);
    EXPECT_THAT(menu[0].submenu, IsEmpty());
    EXPECT_FALSE(menu[1].standardAction);
    entries.assign(5000, {.title = "many"});
    EXPECT_EQ(menuOf(entries, [](std::uint32_t) {}).size(), 1000U);
}

} // namespace
