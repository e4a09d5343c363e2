#include "platform/Text.h"

#include "platform/TextTables.h"
#include "platform/Utf8.h"

#include <stdexcept>

namespace platform {
namespace {

constexpr std::size_t longestText = std::size_t{1} << 30;

// The text itself where it is well-formed, else a repaired copy.
class WellFormed {
  public:
    explicit WellFormed(std::string_view text)
        : text_(text) {
        if (!isValidUtf8(text)) {
            repaired_ = wellFormedUtf8(text);
            text_ = repaired_;
        }
        if (text_.size() > longestText) {
            throw std::length_error("the text is too long");
        }
    }
    WellFormed(const WellFormed&) = delete;
    WellFormed& operator=(const WellFormed&) = delete;
    ~WellFormed() = default;

    [[nodiscard]] std::string_view text() const { return text_; }

  private:
    std::string repaired_;
    std::string_view text_;
};

char32_t firstCodePoint(std::string_view text) {
    const auto byte = [text](std::size_t index) {
        return static_cast<char32_t>(static_cast<unsigned char>(text[index]));
    };
    const std::size_t length = utf8CharacterLength(text);
    if (length == 1) {
        return byte(0);
    }
    char32_t codePoint = byte(0) & (0xFFU >> (length + 1));
    for (std::size_t index = 1; index < length; ++index) {
        codePoint = codePoint << 6U | (byte(index) & 0x3FU);
    }
    return codePoint;
}

} // namespace

std::string upperCased(std::string_view text) {
    return tables::upperCased(WellFormed(text).text());
}

std::string lowerCased(std::string_view text) {
    return tables::lowerCased(WellFormed(text).text());
}

std::size_t characterCount(std::string_view text) {
    std::size_t count = 0;
    tables::visitCharacters(WellFormed(text).text(), [&count](std::string_view /*character*/) {
        ++count;
        return true;
    });
    return count;
}

std::string characterPrefix(std::string_view text, std::size_t count) {
    std::string prefix;
    if (count == 0) {
        return prefix;
    }
    tables::visitCharacters(WellFormed(text).text(), [&prefix, &count](std::string_view character) {
        prefix += character;
        return --count > 0;
    });
    return prefix;
}

std::string replacingNonAlphanumerics(std::string_view text, char replacement) {
    std::string replaced;
    tables::visitCharacters(WellFormed(text).text(), [&](std::string_view character) {
        if (tables::isLetterOrNumber(firstCodePoint(character))) {
            replaced += character;
        } else {
            replaced += replacement;
        }
        return true;
    });
    return replaced;
}

} // namespace platform
