#include "platform/linux/tray/MenuContinuity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>

namespace platform::tray {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Field;

constexpr std::optional<std::size_t> anew;

// One letter an item: "-" is a separator, a capital an item that does something, anything else a
// line of information.
Menu menu(std::string_view letters) {
    Menu items;
    for (const char letter : letters) {
        MenuItem item{.title = std::string(1, letter)};
        if (letter == '-') {
            item = {.separator = true};
        } else if (letter >= 'A' && letter <= 'Z') {
            item.action = [] {};
        }
        items.push_back(item);
    }
    return items;
}

auto continued(std::string_view before, std::string_view after) {
    return continuedItems(menu(before), menu(after));
}

TEST(MenuContinuity, keepsAMenuThatStaysTheSame) {
    EXPECT_THAT(continued("a-BC", "a-BC"), ElementsAre(0, 1, 2, 3));
    EXPECT_TRUE(continued("abc", "").empty());
    EXPECT_THAT(continued("", "aB"), ElementsAre(anew, anew));
}

TEST(MenuContinuity, seesItemsThatCameAndWent) {
    EXPECT_THAT(continued("A-C", "A-B-C"), ElementsAre(0, 1, anew, anew, 2));
    EXPECT_THAT(continued("A-B-C", "A-C"), ElementsAre(0, 1, 4));
}

TEST(MenuContinuity, aLineOfInformationGoesOnWithAnotherText) {
    EXPECT_THAT(continued("a-B", "x-B"), ElementsAre(0, 1, 2));
    EXPECT_THAT(continued("ab-B", "xy-B"), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(continued("ab-B", "x-B"), ElementsAre(0, 2, 3));
    EXPECT_THAT(continued("a-B", "xy-B"), ElementsAre(0, anew, 1, 2));
}

TEST(MenuContinuity, anItemThatDoesSomethingNeverTurnsIntoAnother) {
    EXPECT_THAT(continued("A", "B"), ElementsAre(anew));
    EXPECT_THAT(continued("a", "B"), ElementsAre(anew));
    EXPECT_THAT(continued("A", "b"), ElementsAre(anew));
}

TEST(MenuContinuity, indicesOnlyGrow) {
    const auto indices = continued("ab-CD-ef-GH", "xb-DC-yfz-HG");
    std::optional<std::size_t> last;
    for (const auto& index : indices) {
        if (index) {
            EXPECT_TRUE(!last || *last < *index);
            last = index;
        }
    }
}

TEST(MenuContinuity, aSubmenuIsNotAnItemOfTheSameTitle) {
    const Menu before = {{.title = "Edit", .action = [] {}}};
    const Menu after = {{.title = "Edit", .submenu = menu("a")}};
    EXPECT_THAT(continuedItems(before, after), ElementsAre(anew));
}

TEST(MenuContinuity, rowsOfAnOpenMenuKeepTheirPlaces) {
    const auto is = [](const char* title, bool enabled) {
        return AllOf(Field(&MenuItem::title, title), Field(&MenuItem::enabled, enabled));
    };
    const Menu shown = keptInPlace(menu("Aa-BC"), menu("Ax-CD"));
    EXPECT_THAT(shown, ElementsAre(is("A", true), is("x", true), is("", true), is("B", false),
                                   is("C", true)));
    // What comes back can be chosen again.
    EXPECT_THAT(
        keptInPlace(shown, menu("Ax-BC")),
        ElementsAre(is("A", true), is("x", true), is("", true), is("B", true), is("C", true)));
}

} // namespace
} // namespace platform::tray
