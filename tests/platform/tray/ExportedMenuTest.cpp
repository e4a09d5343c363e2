#include "tests/platform/tray/TrayFixture.h"

#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <optional>

namespace platform::tray {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class TrayMenu : public TrayTest {
  protected:
    // Two lines of information and four items that count their clicks.
    [[nodiscard]] Menu menu() {
        return {{.title = line, .enabled = false},
                {.separator = true},
                entry("Open"),
                entry("Copy_it"),
                {.separator = true},
                entry("Quit")};
    }

    MenuItem entry(const std::string& title) {
        return {.title = title, .action = [this, title] { clicks.push_back(title); }};
    }

    std::string line = "Server: Online";
    std::vector<std::string> clicks;
};

TEST_F(TrayMenu, showsTitlesLiterally) {
    makeItem();
    item->menuChanged(menu());
    EXPECT_THAT(host().layout().items,
                ElementsAre("[Server: Online]", "-", "Open", "Copy__it", "-", "Quit"));
}

TEST_F(TrayMenu, showsCheckMarksAndSubmenus) {
    makeItem();
    item->menuChanged({{.title = "On", .checked = true, .action = [] {}},
                       {.title = "Off", .action = [] {}},
                       {.title = "More", .submenu = {entry("Below")}}});
    Host panel = host();
    EXPECT_THAT(panel.layout().items, ElementsAre("* On", "Off", "More"));
    item->menuChanged({{.title = "On", .action = [] {}},
                       {.title = "Off", .checked = true, .action = [] {}},
                       {.title = "More", .submenu = {entry("Below")}}});
    EXPECT_THAT(panel.layout().items, ElementsAre("On", "* Off", "More"));
}

TEST_F(TrayMenu, showsThatASwitchIsOff) {
    makeItem();
    item->menuChanged({{.title = "Switch", .checkable = true, .action = [] {}}});
    Host panel = host();
    EXPECT_THAT(panel.layout().items, ElementsAre("o Switch"));
    item->menuChanged({{.title = "Switch", .checkable = true, .checked = true, .action = [] {}}});
    EXPECT_THAT(panel.layout().items, ElementsAre("* Switch"));
}

class OpenTrayMenu : public TrayMenu {
  protected:
    // The menu as it is after the host has said that it opens it.
    void open() {
        makeItem();
        item->onMenuNeedsUpdate = [this] { return contents; };
        panel.emplace(watcher.registered.back());
        panel->aboutToShow();
        before = panel->layout();
        panel->signals.clear();
    }
    void change(const Menu& menu) {
        contents = menu;
        item->menuChanged(menu);
        settle();
    }

    Menu contents = menu();
    std::optional<Host> panel;
    traymenu::Layout before;
};

TEST_F(OpenTrayMenu, keepsItsRowsAndChangesWhatTheySay) {
    open();
    Menu stopped = {{.title = "Server: Error", .enabled = false},
                    {.title = "Reason: gone", .enabled = false},
                    {.separator = true},
                    entry("Copy_it"),
                    {.separator = true},
                    entry("Quit")};
    stopped[3].enabled = false;
    change(stopped);
    const auto after = panel->layout();
    EXPECT_EQ(after.ids, before.ids);
    EXPECT_EQ(after.revision, before.revision);
    EXPECT_THAT(panel->signals, Not(Contains("LayoutUpdated")));
    EXPECT_THAT(after.items,
                ElementsAre("[Server: Error]", "-", "[Open]", "[Copy__it]", "-", "Quit"));
    panel->click(after.ids[2]);
    panel->click(after.ids[5]);
    EXPECT_THAT(clicks, ElementsAre("Quit"));
}

TEST_F(OpenTrayMenu, getsItsNewRowsWhenItOpensAgain) {
    open();
    Menu longer = contents;
    longer.insert(longer.begin() + 2, entry("New"));
    longer.erase(longer.begin() + 3);
    change(longer);
    EXPECT_EQ(panel->layout().ids, before.ids);
    panel->aboutToShow();
    EXPECT_THAT(panel->layout().items,
                ElementsAre("[Server: Online]", "-", "New", "Copy__it", "-", "Quit"));
}

TEST_F(OpenTrayMenu, hasARowThatCameBackAsItWas) {
    open();
    Menu shorter = contents;
    shorter.erase(shorter.begin() + 2);
    change(shorter);
    EXPECT_EQ(panel->layout().items[2], "[Open]");
    change(menu());
    EXPECT_EQ(panel->layout().items, before.items);
    panel->click(before.ids[2]);
    EXPECT_THAT(clicks, ElementsAre("Open"));
}

TEST_F(OpenTrayMenu, isPushedToANewHostUntilThatOneAsks) {
    open();
    watcher.setHost(false);
    watcher.setHost(true);
    settle();
    Menu longer = contents;
    longer.insert(longer.begin() + 2, entry("New"));
    change(longer);
    EXPECT_EQ(panel->layout().items[2], "New");
}

TEST_F(OpenTrayMenu, isPushedToAnotherTrayUntilThatOneAsks) {
    open();
    Watcher other;
    other.appear();
    ASSERT_TRUE(eventually([&] { return other.registered.size() == 1; }));
    settle();
    Menu longer = contents;
    longer.insert(longer.begin() + 2, entry("New"));
    change(longer);
    EXPECT_EQ(panel->layout().items[2], "New");
    watcher.appear();
}

TEST_F(TrayMenu, isNeverEmpty) {
    makeItem();
    Host panel = host();
    EXPECT_THAT(panel.layout().items, ElementsAre("hidden"));
    item->menuChanged(menu());
    EXPECT_THAT(panel.layout().items, Not(Contains("hidden")));
    item->menuChanged({});
    EXPECT_THAT(panel.layout().items, ElementsAre("hidden"));
}

TEST_F(TrayMenu, isComputedAnewWhenItIsAboutToShow) {
    makeItem();
    int asked = 0;
    item->onMenuNeedsUpdate = [&] {
        line = "Opening " + std::to_string(++asked);
        return menu();
    };
    Host panel = host();
    panel.aboutToShow();
    EXPECT_EQ(panel.layout().items.front(), "[Opening 1]");
    panel.aboutToShow();
    EXPECT_EQ(panel.layout().items.front(), "[Opening 2]");
    EXPECT_EQ(asked, 2);
}

TEST_F(TrayMenu, isTheOneFromTheLastChangeWhenNobodyComputesIt) {
    makeItem();
    item->menuChanged(menu());
    Host panel = host();
    panel.aboutToShow();
    EXPECT_EQ(panel.layout().items.size(), 6U);
}

TEST_F(TrayMenu, keepsItsLayoutWhenOnlyTextsAndStatesChange) {
    makeItem();
    item->menuChanged(menu());
    Host panel = host();
    const auto before = panel.layout();
    panel.signals.clear();
    item->menuChanged(menu());
    settle();
    EXPECT_THAT(panel.signals, IsEmpty());
    line = "Server: Stopped";
    Menu changed = menu();
    changed[2].enabled = false;
    changed[3].checked = true;
    item->menuChanged(changed);
    settle();
    const auto after = panel.layout();
    EXPECT_EQ(after.ids, before.ids);
    EXPECT_EQ(after.revision, before.revision);
    EXPECT_THAT(after.items,
                ElementsAre("[Server: Stopped]", "-", "[Open]", "* Copy__it", "-", "Quit"));
    EXPECT_THAT(panel.signals, Contains("ItemsPropertiesUpdated"));
    EXPECT_THAT(panel.signals, Not(Contains("LayoutUpdated")));
}

TEST_F(TrayMenu, movesItsRevisionWhenItemsComeAndGoAndKeepsTheOthersIds) {
    makeItem();
    item->menuChanged(menu());
    Host panel = host();
    const auto before = panel.layout();
    Menu longer = menu();
    longer.insert(longer.begin() + 1, MenuItem{.title = "Library", .enabled = false});
    longer.insert(longer.begin() + 5, {MenuItem{.separator = true}, entry("Link")});
    item->menuChanged(longer);
    settle();
    const auto after = panel.layout();
    EXPECT_GT(after.revision, before.revision);
    EXPECT_THAT(panel.signals, Contains("LayoutUpdated"));
    EXPECT_THAT(after.items, ElementsAre("[Server: Online]", "[Library]", "-", "Open", "Copy__it",
                                         "-", "Link", "-", "Quit"));
    EXPECT_EQ(after.ids[3], before.ids[2]); // Open
    EXPECT_EQ(after.ids[8], before.ids[5]); // Quit
    item->menuChanged(menu());
    settle();
    const auto again = panel.layout();
    EXPECT_GT(again.revision, after.revision);
    EXPECT_EQ(again.ids, before.ids);
}

TEST_F(TrayMenu, doesWhatWasClicked) {
    makeItem();
    item->menuChanged(menu());
    Host panel = host();
    const auto layout = panel.layout();
    panel.click(layout.ids[3]);
    panel.click(layout.ids[5]);
    EXPECT_THAT(clicks, ElementsAre("Copy_it", "Quit"));
}

TEST_F(TrayMenu, doesNothingForWhatCannotBeClicked) {
    makeItem();
    Menu entries = menu();
    entries[2].enabled = false;
    item->menuChanged(entries);
    Host panel = host();
    const auto layout = panel.layout();
    for (const int id : {layout.ids[0], layout.ids[1], layout.ids[2], 0, -1, 9999,
                         std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        panel.click(id);
    }
    EXPECT_THAT(clicks, IsEmpty());
}

TEST_F(TrayMenu, doesNothingForAnItemThatHasGone) {
    makeItem();
    item->menuChanged(menu());
    Host panel = host();
    const auto before = panel.layout();
    item->menuChanged({entry("Other")});
    for (const int id : before.ids) {
        panel.click(id);
    }
    EXPECT_THAT(clicks, IsEmpty());
    EXPECT_THAT(panel.layout().ids, Not(Contains(before.ids[5])));
}

TEST_F(TrayMenu, mayEndTheItemByAClick) {
    makeItem();
    item->menuChanged({{.title = "Quit", .action = [this] { item.reset(); }}});
    Host panel = host();
    panel.click(panel.layout().ids[0]);
    EXPECT_TRUE(eventually([&] { return item == nullptr; }));
    settle();
}

TEST_F(TrayMenu, mayBeChangedByAClick) {
    makeItem();
    item->menuChanged({{.title = "Change", .action = [this] { item->menuChanged(menu()); }}});
    Host panel = host();
    panel.click(panel.layout().ids[0]);
    EXPECT_EQ(panel.layout().items.size(), 6U);
}

TEST_F(TrayMenu, comesThroughWhateverAHostSays) {
    makeItem();
    item->onMenuNeedsUpdate = [this] { return menu(); };
    item->menuChanged(menu());
    Host panel = host();
    const auto before = panel.layout();
    const char* const odd[] = {"no-such-property", "", "\xc3\xa9", "label", "label", nullptr};
    const char* const none[] = {nullptr};
    for (const int id :
         {0, before.ids[0], before.ids[1], 12345, -1, std::numeric_limits<int>::min()}) {
        for (const int depth :
             {0, 1, -1, -2, 7, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
            (void)panel.menu("GetLayout", g_variant_new("(ii^as)", id, depth, odd));
            (void)panel.menu("GetLayout", g_variant_new("(ii^as)", id, depth, none));
        }
        (void)panel.menu("GetProperty", g_variant_new("(is)", id, "no-such-property"));
        (void)panel.menu("GetProperty", g_variant_new("(is)", id, ""));
        (void)panel.menu("AboutToShow", g_variant_new("(i)", id));
        for (const char* event : {"clicked", "opened", "closed", "hovered", "", "x-vendor-odd"}) {
            (void)panel.menu("Event", g_variant_new("(isvu)", id, event,
                                                    g_variant_new("(as)", nullptr), guint32{0}));
        }
    }
    const std::array<gint32, 4> ids = {12345, -1, 0, before.ids[0]};
    const auto idArray = [&](std::size_t count) {
        return g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, ids.data(), count, sizeof ids[0]);
    };
    for (const std::size_t count : {std::size_t{0}, std::size_t{2}, ids.size()}) {
        (void)panel.menu("GetGroupProperties", g_variant_new("(@ai^as)", idArray(count), odd));
        (void)panel.menu("GetGroupProperties", g_variant_new("(@ai^as)", idArray(count), none));
        (void)panel.menu("AboutToShowGroup", g_variant_new("(@ai)", idArray(count)));
    }
    (void)panel.menu("EventGroup",
                     g_variant_new_parsed("([(99999, 'clicked', <1>, 0), (-5, '', <''>, 1)],)"));
    (void)panel.menu("EventGroup", g_variant_new_parsed("(@a(isvu) [],)"));
    (void)panel.menu("NoSuchMethod", g_variant_new_parsed("('x',)"));
    (void)panel.menu("GetLayout", g_variant_new_parsed("('x',)"));
    settle();
    EXPECT_EQ(panel.layout().items, before.items);
    EXPECT_THAT(clicks, IsEmpty());
}

} // namespace
} // namespace platform::tray
