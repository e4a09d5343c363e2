// NumberFormatter over ICU, for one locale. The locale that the environment names is the first of
// LC_ALL, LC_NUMERIC and LANG that is not empty (POSIX.1, XBD 8.2); "C", "POSIX" and none at all
// mean plain digits, as ICU's en_US_POSIX has them. A locale that ICU does not know reads as its
// nearest relative.
#pragma once

#include "platform/Environment.h"
#include "platform/NumberFormatter.h"

#include <memory>
#include <string>

namespace platform {

// The locale for numbers, in POSIX's form: language_TERRITORY.codeset@modifier.
[[nodiscard]] std::string numericLocale(const Environment& environment);

class IcuNumberFormatter final : public NumberFormatter {
  public:
    explicit IcuNumberFormatter(const std::string& posixLocale);
    ~IcuNumberFormatter() override;
    IcuNumberFormatter(const IcuNumberFormatter&) = delete;
    IcuNumberFormatter& operator=(const IcuNumberFormatter&) = delete;

    [[nodiscard]] std::string decimal(std::int64_t number) const override;

  private:
    class Rules;
    std::unique_ptr<const Rules> rules_;
};

} // namespace platform
