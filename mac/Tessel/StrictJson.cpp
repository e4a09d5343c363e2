#include "mac/Tessel/StrictJson.h"

#include "mac/Tessel/JsonNumber.h"
#include "mac/Tessel/UniqueKeys.h"
#include "platform/Utf8.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

namespace tessel {
namespace {

constexpr std::uint64_t everyByte(unsigned char byte) {
    return 0x0101010101010101U * byte;
}

// The high bit of each byte that is zero; bytes above a zero one may be marked wrongly.
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
    return (word - everyByte(0x01)) & ~word & everyByte(0x80);
}

// The same for quotation marks, backslashes and control characters.
constexpr std::uint64_t specialBytes(std::uint64_t word) {
    const std::uint64_t control = (word - everyByte(0x20)) & ~word & everyByte(0x80);
    return zeroBytes(word ^ everyByte('"')) | zeroBytes(word ^ everyByte('\\')) | control;
}

bool isSpecial(char character) {
    return character == '"' || character == '\\' || static_cast<unsigned char>(character) < 0x20U;
}

bool isSpace(char character) {
    return character == ' ' || character == '\n' || character == '\t' || character == '\r';
}

// Eight bytes, the first one lowest.
std::uint64_t load(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    static_assert(std::endian::native == std::endian::little);
    return word;
}

// How many bytes come before the lowest one that is marked.
std::ptrdiff_t bytesBefore(std::uint64_t marks) {
    return std::countr_zero(marks) / 8;
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

class StrictJsonParser {
  public:
    using Node = StrictJson::Node;
    using Kind = StrictJson::Kind;

    StrictJsonParser(std::string_view text, StrictJson& tree)
        : cursor_(text.data())
        , end_(text.data() + text.size())
        , tree_(tree) {
        // A compact report has a node every dozen bytes.
        tree.nodes_.reserve(text.size() / 12 + 16);
    }

    bool parse() {
        skipSpace();
        if (!value(0)) {
            return false;
        }
        skipSpace();
        return cursor_ == end_;
    }

  private:
    bool value(std::size_t level);
    bool array(std::size_t level);
    bool object(std::size_t level);
    bool keysDiffer(std::size_t start);
    bool number();
    bool word(std::string_view word, Kind kind, bool boolean);
    bool string();
    bool escapedString(const char* start);
    bool escape(char*& out);
    std::optional<std::uint32_t> fourHexDigits();
    std::optional<std::uint32_t> codePoint();
    void closeContainer(std::size_t start, std::uint32_t entries);
    bool findSpecial();

    void skipSpace() {
        while (cursor_ != end_ && isSpace(*cursor_)) {
            ++cursor_;
            skipIndentation();
        }
    }

    void skipIndentation() {
        while (end_ - cursor_ >= 8) {
            const std::uint64_t others = load(cursor_) ^ everyByte(' ');
            if (others != 0) {
                cursor_ += bytesBefore(others);
                return;
            }
            cursor_ += 8;
        }
    }

    bool accept(char wanted) {
        const bool found = cursor_ != end_ && *cursor_ == wanted;
        cursor_ += found ? 1 : 0;
        return found;
    }

    void add(Kind kind, std::uint32_t size = 0) { tree_.nodes_.push_back({{0}, size, kind}); }

    const char* cursor_;
    const char* end_;
    StrictJson& tree_;
    char* free_ = nullptr; // where the next unescaped string goes
    UniqueKeys keys_;
};

bool StrictJsonParser::value(std::size_t level) {
    if (cursor_ == end_) {
        return false;
    }
    switch (*cursor_) {
    case '{':
        return level < StrictJson::mostLevels && object(level + 1);
    case '[':
        return level < StrictJson::mostLevels && array(level + 1);
    case '"':
        return string();
    case 't':
        return word("true", Kind::boolean, true);
    case 'f':
        return word("false", Kind::boolean, false);
    case 'n':
        return word("null", Kind::null, false);
    default:
        return number();
    }
}

bool StrictJsonParser::array(std::size_t level) {
    const std::size_t start = tree_.nodes_.size();
    add(Kind::array);
    ++cursor_;
    skipSpace();
    std::uint32_t entries = 0;
    if (!accept(']')) {
        do {
            skipSpace();
            if (!value(level)) {
                return false;
            }
            ++entries;
            skipSpace();
        } while (accept(','));
        if (!accept(']')) {
            return false;
        }
    }
    closeContainer(start, entries);
    return true;
}

bool StrictJsonParser::object(std::size_t level) {
    const std::size_t start = tree_.nodes_.size();
    add(Kind::object);
    ++cursor_;
    skipSpace();
    std::uint32_t entries = 0;
    std::string_view last;
    bool ascending = true; // then they are different, too
    if (!accept('}')) {
        do {
            skipSpace();
            if (cursor_ == end_ || *cursor_ != '"' || !string()) {
                return false;
            }
            const std::string_view key = tree_.nodes_.back().string();
            ascending = ascending && (entries == 0 || last < key);
            last = key;
            skipSpace();
            if (!accept(':')) {
                return false;
            }
            skipSpace();
            if (!value(level)) {
                return false;
            }
            ++entries;
            skipSpace();
        } while (accept(','));
        if (!accept('}')) {
            return false;
        }
    }
    closeContainer(start, entries);
    return ascending || keysDiffer(start);
}

bool StrictJsonParser::keysDiffer(std::size_t start) {
    const Node* const object = tree_.nodes_.data() + start;
    keys_.clear();
    for (const Node* node = object + 1; node != object->next(); node = node->next()->next()) {
        keys_.add(node->string());
    }
    return keys_.allDifferent();
}

void StrictJsonParser::closeContainer(std::size_t start, std::uint32_t entries) {
    Node& node = tree_.nodes_[start];
    node.size = entries;
    node.nodes = tree_.nodes_.size() - start;
}

bool StrictJsonParser::number() {
    const auto found = JsonNumber::read({cursor_, static_cast<std::size_t>(end_ - cursor_)});
    if (!found) {
        return false;
    }
    cursor_ = found->end;
    add(Kind::number);
    tree_.nodes_.back().number = found->value;
    return true;
}

bool StrictJsonParser::word(std::string_view word, Kind kind, bool boolean) {
    const std::string_view rest(cursor_, static_cast<std::size_t>(end_ - cursor_));
    if (!rest.starts_with(word)) {
        return false;
    }
    cursor_ += word.size();
    add(kind);
    tree_.nodes_.back().boolean = boolean;
    return true;
}

// Moves to the next quotation mark, backslash or control character.
bool StrictJsonParser::findSpecial() {
    while (end_ - cursor_ >= 8) {
        const std::uint64_t marks = specialBytes(load(cursor_));
        if (marks != 0) {
            cursor_ += bytesBefore(marks);
            return true;
        }
        cursor_ += 8;
    }
    while (cursor_ != end_ && !isSpecial(*cursor_)) {
        ++cursor_;
    }
    return cursor_ != end_;
}

bool StrictJsonParser::string() {
    const char* const start = ++cursor_;
    if (!findSpecial()) {
        return false;
    }
    if (*cursor_ != '"') {
        return escapedString(start);
    }
    add(Kind::string, static_cast<std::uint32_t>(cursor_ - start));
    tree_.nodes_.back().text = start;
    ++cursor_;
    return true;
}

bool StrictJsonParser::escapedString(const char* start) {
    if (free_ == nullptr) {
        // No escape is shorter than what it stands for, so the rest of the text is enough for all.
        tree_.unescaped_.reset(new char[static_cast<std::size_t>(end_ - start)]);
        free_ = tree_.unescaped_.get();
    }
    const char* const text = free_;
    char* out = free_;
    while (true) {
        const auto plain = static_cast<std::size_t>(cursor_ - start);
        std::memcpy(out, start, plain);
        out += plain;
        if (accept('"')) {
            break;
        }
        if (!accept('\\') || !escape(out)) {
            return false;
        }
        start = cursor_;
        if (!findSpecial()) {
            return false;
        }
    }
    free_ = out;
    add(Kind::string, static_cast<std::uint32_t>(out - text));
    tree_.nodes_.back().text = text;
    return true;
}

bool StrictJsonParser::escape(char*& out) {
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    if (accept('u')) {
        const auto code = codePoint();
        out = code ? writeUtf8(out, *code) : out;
        return code.has_value();
    }
    const std::size_t found = cursor_ == end_ ? std::string_view::npos : letters.find(*cursor_);
    if (found == std::string_view::npos) {
        return false;
    }
    *out++ = meanings[found];
    ++cursor_;
    return true;
}

std::optional<std::uint32_t> StrictJsonParser::codePoint() {
    const auto first = fourHexDigits();
    if (!first || *first < 0xD800U || *first > 0xDFFFU) {
        return first;
    }
    if (*first > 0xDBFFU || !accept('\\') || !accept('u')) {
        return std::nullopt;
    }
    const auto second = fourHexDigits();
    if (!second || *second < 0xDC00U || *second > 0xDFFFU) {
        return std::nullopt;
    }
    return 0x10000U + ((*first - 0xD800U) << 10) + (*second - 0xDC00U);
}

std::optional<std::uint32_t> StrictJsonParser::fourHexDigits() {
    if (end_ - cursor_ < 4) {
        return std::nullopt;
    }
    std::uint32_t code = 0;
    for (int count = 0; count < 4; ++count) {
        constexpr std::string_view digits = "0123456789abcdefABCDEF";
        const std::size_t digit = digits.find(*cursor_++);
        if (digit == std::string_view::npos) {
            return std::nullopt;
        }
        code = code << 4 | static_cast<std::uint32_t>(digit < 16 ? digit : digit - 6);
    }
    return code;
}

std::optional<StrictJson> StrictJson::parse(std::string_view text) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max() || !platform::isValidUtf8(text)) {
        return std::nullopt;
    }
    StrictJson tree;
    return StrictJsonParser(text, tree).parse() ? std::optional(std::move(tree)) : std::nullopt;
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
