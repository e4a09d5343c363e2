#include "platform/linux/text/IcuNumberFormatter.h"

#include "platform/linux/text/IcuDefault.h"

#include <unicode/bytestream.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>

#include <initializer_list>
#include <utility>

namespace platform {
namespace {

icu::Locale icuLocale(const std::string& posixLocale) {
    makeIcuUsable();
    const std::string name = posixLocale.substr(0, posixLocale.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") {
        return icu::Locale("en_US_POSIX");
    }
    return icu::Locale::createCanonical(posixLocale.c_str());
}

} // namespace

std::string numericLocale(const Environment& environment) {
    for (const char* const name : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
        const auto variable = environment.find(name);
        if (variable != environment.end() && !variable->second.empty()) {
            return variable->second;
        }
    }
    return "C";
}

class IcuNumberFormatter::Rules {
  public:
    explicit Rules(const icu::Locale& locale)
        : formatter_(icu::number::NumberFormatter::withLocale(locale)) {}

    [[nodiscard]] std::string decimal(std::int64_t number) const {
        UErrorCode code = U_ZERO_ERROR;
        std::string text;
        icu::StringByteSink<std::string> sink(&text);
        formatter_.formatInt(number, code).toString(code).toUTF8(sink);
        return U_SUCCESS(code) ? text : std::to_string(number);
    }

  private:
    icu::number::LocalizedNumberFormatter formatter_;
};

IcuNumberFormatter::IcuNumberFormatter(const std::string& posixLocale)
    : rules_(std::make_unique<Rules>(icuLocale(posixLocale))) {}

IcuNumberFormatter::~IcuNumberFormatter() = default;

std::string IcuNumberFormatter::decimal(std::int64_t number) const {
    return rules_->decimal(number);
}

} // namespace platform
