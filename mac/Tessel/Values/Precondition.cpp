#include "mac/Tessel/Values/Precondition.h"

#include <cstdio>
#include <cstdlib>

namespace tessel {

void precondition(bool holds, std::string_view rule) {
    if (!holds) {
        std::fprintf(stderr, "fatal: %.*s\n", static_cast<int>(rule.size()), rule.data());
        std::abort();
    }
}

} // namespace tessel
