// Numbers as the user reads them: the decimal style of the user's locale, with its digits and its
// grouping. Any thread; never fails: a system that cannot say gives plain ASCII digits.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

class NumberFormatter {
  public:
    virtual ~NumberFormatter() = default;

    // "12,408" in en_US, "12.408" in de_DE.
    [[nodiscard]] virtual std::string decimal(std::int64_t number) const = 0;
};

} // namespace platform
