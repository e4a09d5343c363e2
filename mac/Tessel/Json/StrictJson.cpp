#include "mac/Tessel/Json/StrictJson.h"

#include "mac/Tessel/Json/EightBytes.h"
#include "mac/Tessel/Json/JsonNumber.h"
#include "mac/Tessel/Json/UniqueKeys.h"
#include "platform/Utf8.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <utility>

namespace tessel {
namespace {

bool isAscii(char character) {
    return static_cast<unsigned char>(character) < 0x80U;
}

bool isSpecial(char character) {
    return character == '"' || character == '\\' || static_cast<unsigned char>(character) < 0x20U ||
           !isAscii(character);
}

bool isSpace(char character) {
    return character == ' ' || character == '\n' || character == '\t' || character == '\r';
}

// Whether a key comes before another one by its bytes, as far as that can be told quickly.
[[gnu::always_inline]] inline bool isSeenBefore(std::string_view key, std::string_view other) {
    const std::size_t shorter = std::min(key.size(), other.size());
    if (shorter < 8) {
        return shorter > 0 && key.front() != other.front() ? key.substr(0, 1) < other.substr(0, 1)
                                                           : key < other;
    }
    for (std::size_t start = 0; start < shorter; start += 8) {
        const auto first = eightBytes::loadFrom(key, start);
        const auto second = eightBytes::loadFrom(other, start);
        if (first != second) {
            return std::byteswap(first) < std::byteswap(second);
        }
    }
    return false;
}

char* writeUtf8(char* out, std::uint32_t code) {
    const auto put = [&out](std::uint32_t byte) {
        *out++ = std::bit_cast<char>(std::uint8_t(byte));
    };
    if (code < 0x80U) {
        put(code);
    } else if (code < 0x800U) {
        put(0xC0U | code >> 6);
        put(0x80U | (code & 0x3FU));
    } else if (code < 0x10000U) {
        put(0xE0U | code >> 12);
        put(0x80U | (code >> 6 & 0x3FU));
        put(0x80U | (code & 0x3FU));
    } else {
        put(0xF0U | code >> 18);
        put(0x80U | (code >> 12 & 0x3FU));
        put(0x80U | (code >> 6 & 0x3FU));
        put(0x80U | (code & 0x3FU));
    }
    return out;
}

} // namespace

// Every reader takes the place to read at and returns the place behind what it read, or null when
// that is not there: so the place stays in a register.
class StrictJsonParser {
  public:
    using Node = StrictJson::Node;
    using Kind = StrictJson::Kind;

    StrictJsonParser(std::string_view text, StrictJson& tree)
        : end_(text.data() + text.size())
        , tree_(tree) {
        // A compact report has a node every dozen bytes.
        makeRoom(text.size() / 12 + 16);
    }

    bool parse(const char* at) {
        at = value(afterSpace(at), 0);
        return at != nullptr && afterSpace(at) == end_;
    }

  private:
    const char* value(const char* at, std::size_t level);
    const char* memberValue(const char* at, std::size_t level);
    const char* array(const char* at, std::size_t level);
    const char* object(const char* at, std::size_t level);
    const char* number(const char* at);
    const char* word(const char* at, std::string_view word, Kind kind, bool boolean);
    const char* string(const char* at);
    const char* escapedString(const char* start, const char* at);
    const char* escape(const char* at, char*& out);
    const char* codePoint(const char* at, std::uint32_t& code);
    const char* fourHexDigits(const char* at, std::uint32_t& code);

    [[nodiscard]] const char* findSpecial(const char* at) const;
    [[nodiscard]] const char* endOfPlainText(const char* at) const;
    [[nodiscard]] const char* afterSpace(const char* at) const;
    [[nodiscard]] const char* nextKey(const char* at, std::string_view& lastSpace) const;
    [[nodiscard]] bool isAt(const char* at, char wanted) const {
        return at != end_ && *at == wanted;
    }

    bool keysDiffer(std::size_t start);
    void closeContainer(std::size_t start, std::uint32_t entries);
    void makeRoom(std::size_t nodes);

    Node& add(Kind kind, std::uint32_t size = 0) {
        if (used_ == room_) {
            makeRoom(2 * room_);
        }
        Node& node = tree_.nodes_[used_++];
        node.size = size;
        node.kind = kind;
        node.sorted = false;
        return node;
    }

    const char* const end_;
    StrictJson& tree_;
    std::size_t used_ = 0; // nodes
    std::size_t room_ = 0; // for as many
    char* free_ = nullptr; // where the next unescaped string goes
    UniqueKeys keys_;
};

void StrictJsonParser::makeRoom(std::size_t nodes) {
    std::unique_ptr<Node[]> larger(new Node[nodes]);
    std::copy_n(tree_.nodes_.get(), used_, larger.get());
    tree_.nodes_ = std::move(larger);
    room_ = nodes;
}

[[gnu::always_inline]] inline const char* StrictJsonParser::afterSpace(const char* at) const {
    while (at != end_ && isSpace(*at)) {
        ++at;
        if (at != end_ && *at > ' ') {
            break;
        }
        // Indentation.
        while (end_ - at >= 8) {
            const auto others = eightBytes::load(at) ^ eightBytes::repeat(' ');
            at += eightBytes::bytesBefore(others);
            if (others != 0) {
                break;
            }
        }
    }
    return at;
}

// The same between the members of an object, where there is mostly the same space every time.
// Knowing where the next key is before having looked at the space makes all the difference.
[[gnu::always_inline]] inline const char*
StrictJsonParser::nextKey(const char* at, std::string_view& lastSpace) const {
    const std::size_t length = lastSpace.size();
    if (length >= 8 && length <= 16 && static_cast<std::size_t>(end_ - at) > length &&
        at[length] == '"') {
        const auto isSame = [&](std::size_t start) {
            return eightBytes::load(at + start) == eightBytes::load(lastSpace.data() + start);
        };
        if (isSame(0) && isSame(length - 8)) {
            return at + length;
        }
    }
    const char* const key = afterSpace(at);
    lastSpace = {at, static_cast<std::size_t>(key - at)};
    return key;
}

const char* StrictJsonParser::value(const char* at, std::size_t level) {
    if (at == end_) {
        return nullptr;
    }
    switch (*at) {
    case '{':
        return level < StrictJson::mostLevels ? object(at, level + 1) : nullptr;
    case '[':
        return level < StrictJson::mostLevels ? array(at, level + 1) : nullptr;
    case '"':
        return string(at);
    case 't':
        return word(at, "true", Kind::boolean, true);
    case 'f':
        return word(at, "false", Kind::boolean, false);
    case 'n':
        return word(at, "null", Kind::null, false);
    default:
        return number(at);
    }
}

// Most are numbers.
[[gnu::always_inline]] inline const char* StrictJsonParser::memberValue(const char* at,
                                                                        std::size_t level) {
    return at != end_ && *at >= '0' && *at <= '9' ? number(at) : value(at, level);
}

const char* StrictJsonParser::array(const char* at, std::size_t level) {
    const std::size_t start = used_;
    add(Kind::array);
    at = afterSpace(at + 1);
    std::uint32_t entries = 0;
    if (!isAt(at, ']')) {
        while (true) {
            at = value(at, level);
            if (at == nullptr) {
                return nullptr;
            }
            ++entries;
            at = afterSpace(at);
            if (!isAt(at, ',')) {
                break;
            }
            at = afterSpace(at + 1);
        }
        if (!isAt(at, ']')) {
            return nullptr;
        }
    }
    closeContainer(start, entries);
    return at + 1;
}

const char* StrictJsonParser::object(const char* at, std::size_t level) {
    const std::size_t start = used_;
    add(Kind::object);
    at = afterSpace(at + 1);
    std::uint32_t entries = 0;
    std::string_view last;
    std::string_view lastSpace;
    bool ascending = true; // then they are different, too
    if (!isAt(at, '}')) {
        while (true) {
            at = isAt(at, '"') ? string(at) : nullptr;
            if (at == nullptr) {
                return nullptr;
            }
            const std::string_view key = tree_.nodes_[used_ - 1].string();
            ascending = ascending && (entries == 0 || isSeenBefore(last, key));
            last = key;
            at = afterSpace(at);
            at = isAt(at, ':') ? memberValue(afterSpace(at + 1), level) : nullptr;
            if (at == nullptr) {
                return nullptr;
            }
            ++entries;
            at = afterSpace(at);
            if (!isAt(at, ',')) {
                break;
            }
            at = nextKey(at + 1, lastSpace);
        }
        if (!isAt(at, '}')) {
            return nullptr;
        }
    }
    closeContainer(start, entries);
    tree_.nodes_[start].sorted = ascending;
    return ascending || keysDiffer(start) ? at + 1 : nullptr;
}

bool StrictJsonParser::keysDiffer(std::size_t start) {
    const Node* const object = tree_.nodes_.get() + start;
    keys_.clear();
    for (const Node* node = object + 1; node != object->next(); node = node->next()->next()) {
        keys_.add(node->string());
    }
    return keys_.allDifferent();
}

void StrictJsonParser::closeContainer(std::size_t start, std::uint32_t entries) {
    Node& node = tree_.nodes_[start];
    node.size = entries;
    node.nodes = used_ - start;
}

inline const char* StrictJsonParser::number(const char* at) {
    const JsonNumber found = JsonNumber::readIfAny(at, end_);
    if (found.end != nullptr) {
        add(Kind::number).number = found.value;
    }
    return found.end;
}

const char* StrictJsonParser::word(const char* at, std::string_view word, Kind kind, bool boolean) {
    if (!std::string_view(at, static_cast<std::size_t>(end_ - at)).starts_with(word)) {
        return nullptr;
    }
    add(kind).boolean = boolean;
    return at + word.size();
}

// The next quotation mark, backslash, control character or byte that is not ASCII, or the end.
[[gnu::always_inline]] inline const char* StrictJsonParser::findSpecial(const char* at) const {
    while (end_ - at >= 8) {
        const std::uint64_t marks = eightBytes::specialBytes(eightBytes::load(at));
        if (marks != 0) {
            return at + eightBytes::bytesBefore(marks);
        }
        at += 8;
    }
    while (at != end_ && !isSpecial(*at)) {
        ++at;
    }
    return at;
}

// The end of the plain text at `at`: a quotation mark or a backslash, or null when something else
// ends it. `at` is special.
const char* StrictJsonParser::endOfPlainText(const char* at) const {
    while (at != end_ && !isAscii(*at)) {
        const auto rest = static_cast<std::size_t>(end_ - at);
        const std::size_t length = platform::utf8CharacterLength({at, rest});
        if (length == 0) {
            return nullptr;
        }
        at = findSpecial(at + length);
    }
    return isAt(at, '"') || isAt(at, '\\') ? at : nullptr;
}

[[gnu::always_inline]] inline const char* StrictJsonParser::string(const char* at) {
    const char* const start = at + 1;
    at = findSpecial(start);
    if (!isAt(at, '"')) {
        at = endOfPlainText(at);
        if (at == nullptr || *at == '\\') {
            return at != nullptr ? escapedString(start, at) : nullptr;
        }
    }
    add(Kind::string, static_cast<std::uint32_t>(at - start)).text = start;
    return at + 1;
}

// `at` is the first backslash.
const char* StrictJsonParser::escapedString(const char* start, const char* at) {
    if (free_ == nullptr) {
        // No escape is shorter than what it stands for, so the rest of the text is enough for all.
        tree_.unescaped_.reset(new char[static_cast<std::size_t>(end_ - start)]);
        free_ = tree_.unescaped_.get();
    }
    const char* const text = free_;
    char* out = free_;
    while (true) {
        out = std::copy(start, at, out);
        if (*at == '"') {
            break;
        }
        start = escape(at + 1, out);
        at = start != nullptr ? endOfPlainText(findSpecial(start)) : nullptr;
        if (at == nullptr) {
            return nullptr;
        }
    }
    free_ = out;
    add(Kind::string, static_cast<std::uint32_t>(out - text)).text = text;
    return at + 1;
}

const char* StrictJsonParser::escape(const char* at, char*& out) {
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    if (isAt(at, 'u')) {
        std::uint32_t code = 0;
        at = codePoint(at + 1, code);
        out = at != nullptr ? writeUtf8(out, code) : out;
        return at;
    }
    const std::size_t found = at == end_ ? std::string_view::npos : letters.find(*at);
    if (found == std::string_view::npos) {
        return nullptr;
    }
    *out++ = meanings[found];
    return at + 1;
}

const char* StrictJsonParser::codePoint(const char* at, std::uint32_t& code) {
    at = fourHexDigits(at, code);
    if (at == nullptr || code < 0xD800U || code > 0xDFFFU) {
        return at;
    }
    if (code > 0xDBFFU || !isAt(at, '\\') || !isAt(at + 1, 'u')) {
        return nullptr;
    }
    std::uint32_t second = 0;
    at = fourHexDigits(at + 2, second);
    if (at == nullptr || second < 0xDC00U || second > 0xDFFFU) {
        return nullptr;
    }
    code = 0x10000U + ((code - 0xD800U) << 10) + (second - 0xDC00U);
    return at;
}

const char* StrictJsonParser::fourHexDigits(const char* at, std::uint32_t& code) {
    if (end_ - at < 4) {
        return nullptr;
    }
    for (int count = 0; count < 4; ++count) {
        constexpr std::string_view digits = "0123456789abcdefABCDEF";
        const std::size_t digit = digits.find(*at++);
        if (digit == std::string_view::npos) {
            return nullptr;
        }
        code = code << 4 | static_cast<std::uint32_t>(digit < 16 ? digit : digit - 6);
    }
    return at;
}

std::optional<StrictJson> StrictJson::parse(std::string_view text) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    StrictJson tree;
    const bool read = StrictJsonParser(text, tree).parse(text.data());
    return read ? std::optional(std::move(tree)) : std::nullopt;
}

std::optional<StrictJson::Value> StrictJson::Value::find(std::string_view key) const {
    for (const Member member : members()) {
        if (member.key == key) {
            return member.value;
        }
    }
    return std::nullopt;
}

} // namespace tessel
