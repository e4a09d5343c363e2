// The menu bar: status items of variable length (NSStatusItem), and the application's main menu,
// whose standard commands go to the first responder. A status item's menu is emptied and filled
// again each time it is about to open. Main thread only.
#pragma once

#include "platform/StatusItem.h"
#include "platform/cocoa/RequireArc.h"

#import <AppKit/AppKit.h>

@class ZorvaneStatusMenuDelegate;

namespace platform::cocoa {

class CocoaStatusItem final : public StatusItem {
  public:
    CocoaStatusItem();
    ~CocoaStatusItem() override;
    CocoaStatusItem(const CocoaStatusItem&) = delete;
    CocoaStatusItem& operator=(const CocoaStatusItem&) = delete;

    [[nodiscard]] bool setSymbol(std::string_view name,
                                 std::string_view accessibilityDescription) override;
    void clearImage() override;
    void setTitle(std::string_view title) override;
    void setToolTip(std::optional<std::string_view> toolTip) override;
    [[nodiscard]] bool keepsMenu() const override { return false; }
    void menuChanged(const Menu& menu) override;

  private:
    NSStatusItem* item_;
    ZorvaneStatusMenuDelegate* observer_;
};

class CocoaStatusBar final : public StatusBar {
  public:
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override;
};

class CocoaMenuBar final : public MenuBar {
  public:
    void setMainMenu(const Menu& menu) override;
};

} // namespace platform::cocoa
