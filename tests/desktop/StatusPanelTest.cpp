// The real application's status item in a real panel, by mouse and by eye.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/ExpectedMenu.h"
#include "tests/desktop/session/Panel.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>

namespace desktop {
namespace {

using ::testing::SizeIs;

// A menu as the eye takes it: its lines of text from the top, and the signs to the left of them.
struct SeenMenu {
    std::vector<Box> texts;
    std::vector<Box> signs;
    int separators = 0;
};

// Where GTK 3 draws check boxes and where it begins the texts, inside the menu's frame.
constexpr int frame = 3;
constexpr int signsEnd = 26;

SeenMenu see(const Screenshot& shot) {
    SeenMenu seen;
    const int height = shot.height() - 2 * frame;
    const Box right{
        .x = signsEnd, .y = frame, .width = shot.width() - frame - signsEnd, .height = height};
    for (const Box& line : shot.lines(right)) {
        if (line.height <= 2) {
            ++seen.separators;
        } else {
            seen.texts.push_back(line);
        }
    }
    for (const Box& sign :
         shot.lines({.x = frame, .y = frame, .width = signsEnd - frame, .height = height})) {
        if (sign.height > 2) {
            seen.signs.push_back(sign);
        }
    }
    return seen;
}

class StatusPanel : public ApplicationTest {
  protected:
    // Repeats the click until there is a menu: nothing tells when a panel has got as far as to
    // take it.
    [[nodiscard]] bool opensTheMenu(const Panel& panel) const {
        return eventually([&] {
            panel.clickFirstItem();
            return eventually([&] { return panel.menu().has_value(); }, std::chrono::seconds(2));
        });
    }
    void closeTheMenu(const Panel& panel) const {
        EXPECT_TRUE(eventually([&] {
            session.pressKey("Escape");
            return eventually([&] { return !panel.menu(); }, std::chrono::seconds(1));
        }));
    }
    // Opens it until it shows so many lines of text, and leaves it open.
    [[nodiscard]] std::optional<Screenshot> openedWithLines(const Panel& panel,
                                                            std::size_t lines) const {
        std::optional<Screenshot> shot;
        const bool found = eventually([&] {
            if (!opensTheMenu(panel)) {
                return false;
            }
            const bool right = eventually(
                [&] {
                    const auto place = panel.menu();
                    shot = place ? session.screenshotOf(*place) : std::nullopt;
                    return shot && see(*shot).texts.size() == lines;
                },
                std::chrono::seconds(2));
            if (!right) {
                closeTheMenu(panel);
            }
            return right;
        });
        return found ? shot : std::nullopt;
    }
    // Whether there is a filled sign beside the line of the menu that has one at all.
    [[nodiscard]] static bool isTicked(const Screenshot& shot) {
        const Box box = see(shot).signs.front();
        const Box middle{.x = box.x + box.width / 4,
                         .y = box.y + box.height / 4,
                         .width = box.width / 2,
                         .height = box.height / 2};
        return !shot.lines(middle).empty();
    }
};

TEST_F(StatusPanel, showsTheMenuAndQuitsByAClickOnTheLastItem) {
    const Panel panel(session);
    ASSERT_NO_FATAL_FAILURE(launchUntilReady());
    ASSERT_TRUE(panel.showsAnItem());

    const auto expected = menuOfAFreshServer("Zorvane", "http://127.0.0.1/");
    const auto separators = std::ranges::count(expected, "-");
    const auto open =
        openedWithLines(panel, expected.size() - static_cast<std::size_t>(separators));
    ASSERT_TRUE(open);
    const WindowGeometry place = panel.menu().value();
    const Colour ground = open->dominantColour();
    const SeenMenu seen = see(*open);
    EXPECT_EQ(seen.separators, separators);
    // One line has a box, an empty one, beside it: the last but one, "Start at Login".
    ASSERT_THAT(seen.signs, SizeIs(1));
    const Box& box = seen.signs.front();
    const Box& login = seen.texts[seen.texts.size() - 2];
    EXPECT_NEAR(box.width, box.height, 2);
    EXPECT_GE(box.width, 8);
    EXPECT_NEAR(2 * box.y + box.height, 2 * login.y + login.height, 8);
    EXPECT_FALSE(isTicked(*open));
    closeTheMenu(panel);
    EXPECT_TRUE(eventually([&] {
        const auto closed = session.screenshotOf(place);
        return closed && closed->share(ground, 8) < 0.3;
    }));

    // A menu that has got new lines meanwhile has its last item elsewhere: then once more.
    EXPECT_TRUE(eventually([&] {
        const bool isOpen = opensTheMenu(panel);
        const WindowGeometry now = panel.menu().value_or(place);
        session.click(now.x + now.width / 2, now.y + now.height - 16);
        return isOpen && application->waitForExit(std::chrono::seconds(5)) == 0;
    })) << application->standardError();
    EXPECT_FALSE(serverAnswers(serverLaunches(1).front().port));
    EXPECT_TRUE(processesNamed("ostrad").empty());
}

TEST_F(StatusPanel, ticksTheStartAtLoginOnceItIsOn) {
    const Panel panel(session);
    ASSERT_NO_FATAL_FAILURE(launchUntilReady());
    ASSERT_TRUE(panel.showsAnItem());
    const auto off = openedWithLines(panel, 12);
    ASSERT_TRUE(off);
    const SeenMenu seen = see(*off);
    const WindowGeometry place = panel.menu().value();
    const Box& login = seen.texts[seen.texts.size() - 2];
    session.click(place.x + login.x + 4, place.y + login.y + login.height / 2);
    EXPECT_TRUE(eventually([&] { return !panel.menu(); }));
    const auto on = openedWithLines(panel, 12);
    ASSERT_TRUE(on);
    ASSERT_THAT(see(*on).signs, SizeIs(1));
    EXPECT_TRUE(isTicked(*on));
}

TEST_F(StatusPanel, keepsTheRowsOfAnOpenMenuWhereTheyAre) {
    const Panel panel(session);
    letTheServerRunOnce();
    ASSERT_NO_FATAL_FAILURE(launchUntilReady());
    ASSERT_TRUE(panel.showsAnItem());
    const auto before = openedWithLines(panel, 12);
    ASSERT_TRUE(before);
    const WindowGeometry place = panel.menu().value();
    // On a grey line, which shows no pointer; over the item the panel's tool tip would cover lines.
    session.movePointer(place.x + place.width - 8, place.y + 14);

    ::kill(serverLaunches(1).front().pid, SIGKILL);
    // The texts tell of it ("Server: Starting ostrad..." where "Server: Online" was) ...
    std::optional<Screenshot> after;
    ASSERT_TRUE(eventually([&] {
        after = session.screenshotOf(place);
        return after && see(*after).texts.size() == 12 &&
               see(*after).texts[1].width > see(*before).texts[1].width + 8;
    }));
    // ... and nothing has moved.
    const WindowGeometry now = panel.menu().value();
    EXPECT_EQ(now.height, place.height);
    const SeenMenu first = see(*before);
    const SeenMenu second = see(*after);
    EXPECT_EQ(second.separators, first.separators);
    ASSERT_EQ(second.texts.size(), first.texts.size());
    // A text that has become grey has fainter edges.
    for (std::size_t row = 3; row < first.texts.size(); ++row) {
        EXPECT_NEAR(second.texts[row].y, first.texts[row].y, 1) << row;
        EXPECT_NEAR(second.texts[row].height, first.texts[row].height, 2) << row;
        EXPECT_NEAR(second.texts[row].x, first.texts[row].x, 2) << row;
        EXPECT_NEAR(second.texts[row].width, first.texts[row].width, 4) << row;
    }
    closeTheMenu(panel);
}

} // namespace
} // namespace desktop
