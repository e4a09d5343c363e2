#include "ostrad/Fragments.h"

#include <cstdint>
#include <utility>

namespace ostrad {

namespace {

constexpr std::size_t kHeader = 8;

std::uint32_t number(std::string_view bytes) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(0, 4)) {
        value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
}

} // namespace

Fragments::Fragments(Sink initializationSink, Sink fragmentSink)
    : onInitialization(std::move(initializationSink))
    , onFragment(std::move(fragmentSink)) {}

bool Fragments::append(std::string_view piece) {
    if (broken) {
        return false;
    }
    pending += piece;
    std::size_t taken = 0;
    while (pending.size() - taken >= kHeader) {
        const std::string_view rest = std::string_view(pending).substr(taken);
        const std::size_t size = number(rest); // 64-bit sizes are never written to a pipe
        if (size < kHeader || size > largestFragment) {
            broken = true;
            return false;
        }
        if (rest.size() < size) {
            break;
        }
        taken += size;
        if (!takeBox(rest.substr(4, 4), rest.substr(0, size))) {
            broken = true;
            return false;
        }
    }
    pending.erase(0, taken);
    return true;
}

bool Fragments::takeBox(std::string_view type, std::string_view box) {
    const bool wanted =
        initialized ? type == "moof" || type == "mdat" : type == "ftyp" || type == "moov";
    if (!wanted) {
        return true;
    }
    if (part.size() + box.size() > largestFragment || (type == "mdat" && part.empty())) {
        return false;
    }
    part += box;
    if (type == "moov") {
        initialized = true;
        onInitialization(std::exchange(part, {}));
    } else if (type == "mdat") {
        onFragment(std::exchange(part, {}));
    }
    return true;
}

} // namespace ostrad
