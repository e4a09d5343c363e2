// User defaults in NSUserDefaults: the application's own domain, with the system's search list
// for reads (arguments first, registered values last) and its reading of other types: a string
// counts as the number it begins with, "YES" and "true" as true. Saving and its failures are the
// system's business. Any thread.
#pragma once

#include "platform/UserDefaults.h"
#include "platform/cocoa/RequireArc.h"

#import <Foundation/Foundation.h>

namespace platform::cocoa {

class CocoaUserDefaults final : public UserDefaults {
  public:
    explicit CocoaUserDefaults(NSUserDefaults* defaults);

    [[nodiscard]] std::int64_t integer(std::string_view key) const override;
    void setInteger(std::string_view key, std::int64_t value) override;
    [[nodiscard]] bool boolean(std::string_view key) const override;
    void setBoolean(std::string_view key, bool value) override;
    void remove(std::string_view key) override;

  private:
    NSUserDefaults* defaults_;
};

} // namespace platform::cocoa
