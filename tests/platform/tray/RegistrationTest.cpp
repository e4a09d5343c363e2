#include "tests/platform/tray/TrayFixture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

namespace platform::tray {
namespace {

using ::testing::SizeIs;
using ::testing::StartsWith;
using Place = TrayStatusItem::Place;
using std::chrono::seconds;

class Registration : public TrayTest {
  protected:
    void makeItemAlone() {
        item = std::make_unique<TrayStatusItem>("test.tray", symbols, nullptr, log);
    }
    [[nodiscard]] bool isRegistered(std::size_t times) const {
        return eventually([&] { return watcher.registered.size() == times; }, seconds(5));
    }
};

TEST_F(Registration, happensOnceWithAWatcherThatIsThere) {
    makeItem();
    settle();
    EXPECT_THAT(watcher.registered, SizeIs(1));
    EXPECT_THAT(watcher.registered.front(),
                StartsWith(fmt::format("org.kde.StatusNotifierItem-{}-", ::getpid())));
}

TEST_F(Registration, happensWhenAWatcherComesLate) {
    makeItemAlone();
    ASSERT_TRUE(isIn(Place::nowhere));
    watcher.appear();
    EXPECT_TRUE(isIn(Place::tray));
    EXPECT_THAT(watcher.registered, SizeIs(1));
}

TEST_F(Registration, survivesAHundredRestartsOfTheWatcher) {
    makeItem();
    for (std::size_t restart = 1; restart <= 100; ++restart) {
        watcher.vanish();
        ASSERT_TRUE(isIn(Place::nowhere));
        const auto before = std::chrono::steady_clock::now();
        watcher.appear();
        ASSERT_TRUE(isIn(Place::tray));
        EXPECT_LT(std::chrono::steady_clock::now() - before, seconds(1));
        ASSERT_THAT(watcher.registered, SizeIs(restart + 1));
    }
    settle();
    EXPECT_THAT(watcher.registered, SizeIs(101));
    EXPECT_THAT(log.messages, ::testing::IsEmpty());
}

TEST_F(Registration, survivesAWatcherThatFlickers) {
    makeItemAlone();
    for (int time = 0; time < 20; ++time) {
        watcher.appear();
        watcher.vanish();
    }
    settle(); // what the item has seen of it is answered,
    watcher.vanish();
    settle(); // and has arrived
    const std::size_t before = watcher.registered.size();
    EXPECT_LE(before, 20U) << "once an appearance";
    watcher.appear();
    ASSERT_TRUE(isIn(Place::tray));
    settle();
    EXPECT_EQ(watcher.registered.size(), before + 1);
}

TEST_F(Registration, movesToAWatcherThatReplacedTheFirst) {
    makeItem();
    Watcher other;
    other.appear();
    ASSERT_TRUE(eventually([&] { return other.registered.size() == 1; }));
    EXPECT_TRUE(isIn(Place::tray));
    settle();
    EXPECT_THAT(watcher.registered, SizeIs(1));
    EXPECT_THAT(other.registered, SizeIs(1));
    other.vanish();
    EXPECT_TRUE(isIn(Place::nowhere));
}

TEST_F(Registration, isInNoTrayWhileTheWatcherHasNoHost) {
    watcher.setHost(false);
    watcher.appear();
    makeItemAlone();
    ASSERT_TRUE(isRegistered(1));
    EXPECT_TRUE(isIn(Place::nowhere));
    watcher.setHost(true);
    EXPECT_TRUE(isIn(Place::tray));
    watcher.setHost(false);
    EXPECT_TRUE(isIn(Place::nowhere));
    EXPECT_THAT(watcher.registered, SizeIs(1));
}

TEST_F(Registration, isInNoTrayThatRefusesIt) {
    watcher.refuses = true;
    watcher.appear();
    makeItemAlone();
    EXPECT_TRUE(isIn(Place::nowhere));
    EXPECT_THAT(log.messages, SizeIs(1));
    watcher.refuses = false;
    watcher.vanish();
    watcher.appear();
    EXPECT_TRUE(isIn(Place::tray));
}

TEST_F(Registration, endsWithTheItem) {
    makeItem();
    const std::string name = watcher.registered.front();
    item.reset();
    Host gone(name);
    EXPECT_NE(gone.item("Scroll", g_variant_new("(is)", 1, "vertical")).error, "");
    makeItemAlone();
    ASSERT_TRUE(isRegistered(2));
    EXPECT_NE(watcher.registered.back(), name);
}

TEST_F(Registration, isForOneItemOfAProcess) {
    makeItem();
    EXPECT_THROW(TrayStatusItem("test.tray", symbols, nullptr, log), std::logic_error);
    EXPECT_TRUE(isIn(Place::tray));
}

TEST_F(Registration, isForgottenWhenTheItemGoesBeforeAnythingIsKnown) {
    watcher.appear();
    makeItemAlone();
    item.reset();
    settle();
    EXPECT_THAT(watcher.registered, ::testing::IsEmpty());
}

} // namespace
} // namespace platform::tray
