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

std::uint64_t longNumber(std::string_view bytes) {
    return std::uint64_t{number(bytes)} << 32U | number(bytes.substr(4));
}

// The content of each box of that type directly in these bytes; false ends it.
template <typename Use>
void eachBox(std::string_view bytes, std::string_view type, Use use) {
    while (bytes.size() >= kHeader) {
        const std::size_t size = number(bytes);
        if (size < kHeader || size > bytes.size()) {
            return;
        }
        if (bytes.substr(4, 4) == type && !use(bytes.substr(kHeader, size - kHeader))) {
            return;
        }
        bytes.remove_prefix(size);
    }
}

std::string_view firstBox(std::string_view bytes, std::string_view type) {
    std::string_view found;
    eachBox(bytes, type, [&found](std::string_view content) {
        found = content;
        return false;
    });
    return found;
}

// What the first sample's time of presentation is after its time of decoding (8.8.8).
std::int64_t firstOffset(std::string_view run) {
    if (run.size() < 8) {
        return 0;
    }
    const std::uint32_t flags = number(run) & 0xffffffU;
    std::size_t at = 8;
    for (const std::uint32_t before : {0x1U, 0x4U, 0x100U, 0x200U, 0x400U}) {
        at += (flags & before) != 0 ? 4 : 0;
    }
    const bool isSigned = run[0] != 0;
    if ((flags & 0x800U) == 0 || run.size() < at + 4) {
        return 0;
    }
    const std::uint32_t offset = number(run.substr(at));
    return isSigned ? static_cast<std::int32_t>(offset) : std::int64_t{offset};
}

} // namespace

std::optional<std::int64_t> fragmentTime(std::string_view fragment, std::uint32_t track) {
    constexpr std::uint64_t latest = std::uint64_t{1} << 62U;
    std::optional<std::int64_t> time;
    eachBox(firstBox(fragment, "moof"), "traf", [&](std::string_view traf) {
        const std::string_view head = firstBox(traf, "tfhd");
        const std::string_view decoding = firstBox(traf, "tfdt");
        const bool isLong = !decoding.empty() && decoding[0] != 0;
        if (head.size() < 8 || number(head.substr(4)) != track ||
            decoding.size() < (isLong ? 12U : 8U)) {
            return true;
        }
        const std::uint64_t first =
            isLong ? longNumber(decoding.substr(4)) : number(decoding.substr(4));
        if (first < latest) {
            time = static_cast<std::int64_t>(first) + firstOffset(firstBox(traf, "trun"));
        }
        return false;
    });
    return time;
}

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
