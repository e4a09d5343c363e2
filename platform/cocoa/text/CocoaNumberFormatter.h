// NumberFormatter over CFNumberFormatter, in the locale that is the user's at the time of the call.
#pragma once

#include "platform/NumberFormatter.h"

namespace platform::cocoa {

class CocoaNumberFormatter final : public NumberFormatter {
  public:
    [[nodiscard]] std::string decimal(std::int64_t number) const override;
};

} // namespace platform::cocoa
