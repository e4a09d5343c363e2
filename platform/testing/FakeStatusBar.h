// A menu bar and tray that exist in memory: what the product set is kept for a test to read, and a
// test opens the menu and clicks its items. For tests; one thread only.
#pragma once

#include "platform/StatusItem.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace platform::testing {

class FakeStatusItem final : public StatusItem {
  public:
    explicit FakeStatusItem(const std::set<std::string, std::less<>>& symbols)
        : symbols_(symbols) {}

    [[nodiscard]] bool setSymbol(std::string_view name,
                                 std::string_view accessibilityDescription) override;
    void clearImage() override;
    void setTitle(std::string_view text) override { title = text; }
    void setToolTip(std::optional<std::string_view> text) override;
    [[nodiscard]] bool keepsMenu() const override { return keepsCopy; }
    void menuChanged(const Menu& menu) override;

    // What the user sees on opening the menu.
    [[nodiscard]] Menu open();
    void activate();

    std::optional<std::string> symbol;
    std::string description;
    std::string title;
    std::optional<std::string> toolTip;
    bool keepsCopy = true;
    std::vector<Menu> published; // by menuChanged, in order

  private:
    const std::set<std::string, std::less<>>& symbols_;
};

class FakeStatusBar final : public StatusBar, public MenuBar {
  public:
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override;
    void setMainMenu(const Menu& menu) override;

    std::set<std::string, std::less<>> symbols = {"antenna.radiowaves.left.and.right"};
    FakeStatusItem* item = nullptr; // the last one, owned by its receiver
    int made = 0;
    Menu mainMenu;
    std::vector<std::string>* events = nullptr; // told of the two
};

// The titles of a menu, one string an item: "-" is a separator, "[Title]" is disabled, "* Title"
// is checked, "o Title" could be.
[[nodiscard]] std::vector<std::string> describe(const Menu& menu);
// The first item of that title; a test that asks for one that is not there fails by exception.
[[nodiscard]] const MenuItem& itemTitled(const Menu& menu, std::string_view title);

} // namespace platform::testing
