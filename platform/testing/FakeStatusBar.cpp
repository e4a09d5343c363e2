#include "platform/testing/FakeStatusBar.h"

#include <stdexcept>

namespace platform::testing {

bool FakeStatusItem::setSymbol(std::string_view name, std::string_view accessibilityDescription) {
    if (!symbols_.contains(name)) {
        return false;
    }
    symbol = name;
    description = accessibilityDescription;
    return true;
}

void FakeStatusItem::clearImage() {
    symbol.reset();
    description.clear();
}

void FakeStatusItem::setToolTip(std::optional<std::string_view> text) {
    toolTip = text;
}

void FakeStatusItem::menuChanged(const Menu& menu) {
    published.push_back(menu);
}

Menu FakeStatusItem::open() {
    return onMenuNeedsUpdate ? onMenuNeedsUpdate() : Menu{};
}

void FakeStatusItem::activate() {
    if (onActivate) {
        onActivate();
    }
}

std::unique_ptr<StatusItem> FakeStatusBar::makeStatusItem() {
    auto made_item = std::make_unique<FakeStatusItem>(symbols);
    item = made_item.get();
    ++made;
    if (events != nullptr) {
        events->emplace_back("status item");
    }
    return made_item;
}

void FakeStatusBar::setMainMenu(const Menu& menu) {
    mainMenu = menu;
    if (events != nullptr) {
        events->emplace_back("main menu");
    }
}

std::vector<std::string> describe(const Menu& menu) {
    std::vector<std::string> lines;
    for (const MenuItem& item : menu) {
        if (item.separator) {
            lines.emplace_back("-");
            continue;
        }
        std::string line = (item.checked ? "* " : item.checkable ? "o " : "") + item.title;
        lines.push_back(item.enabled ? line : "[" + line + "]");
    }
    return lines;
}

const MenuItem& itemTitled(const Menu& menu, std::string_view title) {
    for (const MenuItem& item : menu) {
        if (item.title == title) {
            return item;
        }
    }
    throw std::invalid_argument("no menu item is titled " + std::string(title));
}

} // namespace platform::testing
