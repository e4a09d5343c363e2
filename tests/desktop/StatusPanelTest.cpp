// The real application's status item in a real panel, by mouse and by eye.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Panel.h"

namespace desktop {
namespace {

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
};

TEST_F(StatusPanel, showsTheMenuAndQuitsByAClickOnTheLastItem) {
    const Panel panel(session);
    ASSERT_NO_FATAL_FAILURE(launchUntilReady());
    ASSERT_TRUE(panel.showsAnItem());

    ASSERT_TRUE(opensTheMenu(panel));
    const WindowGeometry place = panel.menu().value();
    const auto open = session.screenshotOf(place);
    ASSERT_TRUE(open);
    const Colour ground = open->dominantColour();
    EXPECT_GT(open->share(ground, 8), 0.6);
    EXPECT_GT(open->distinctColours(), 16U); // the letters' edges
    session.pressKey("Escape");
    ASSERT_TRUE(eventually([&] { return !panel.menu(); }));
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

} // namespace
} // namespace desktop
