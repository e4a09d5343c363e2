#include "platform/linux/text/IcuDefault.h"

#include <unicode/uloc.h>

#include <array>
#include <cstdlib>
#include <mutex>

namespace platform {

bool icuAccepts(const char* posixLocale) {
    std::array<char, ULOC_FULLNAME_CAPACITY> name{};
    UErrorCode code = U_ZERO_ERROR;
    uloc_canonicalize(posixLocale, name.data(), static_cast<std::int32_t>(name.size()), &code);
    return U_SUCCESS(code) != 0;
}

void makeIcuUsable() {
    static std::once_flag looked;
    std::call_once(looked, [] {
        for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
            const char* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe)
            if (value != nullptr && !icuAccepts(value)) {
                UErrorCode code = U_ZERO_ERROR;
                uloc_setDefault("en_US_POSIX", &code);
                return;
            }
        }
    });
}

} // namespace platform
