// A JSON text (RFC 8259) read strictly into a tree that keeps the order of the document. Refused:
// what is not UTF-8, a byte order mark, a lone surrogate, anything before or after the value, a
// number without a finite double, two equal keys in one object, and more than 64 arrays and objects
// inside each other. Reading takes time proportional to the text (times a logarithm for objects of
// many members) and memory proportional to the number of its values, however hostile it is: 16
// bytes for each value and key, and while it is read at most as much again.
// Owned by whoever read it; the text must outlive it. Immutable; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>

namespace tessel {

class StrictJson {
    struct Node;
    friend class StrictJsonParser;

  public:
    static constexpr std::size_t mostLevels = 64;

    enum class Kind : std::uint8_t { null, boolean, number, string, array, object };

    struct Member;
    template <class Entry>
    class Range;

    // A value of the tree; valid as long as the tree is, also when the tree is moved.
    class Value {
      public:
        [[nodiscard]] Kind kind() const;
        [[nodiscard]] bool isNull() const { return kind() == Kind::null; }
        [[nodiscard]] bool isArray() const { return kind() == Kind::array; }
        [[nodiscard]] bool isObject() const { return kind() == Kind::object; }
        // Absent when the value is of another kind; a boolean is no number.
        [[nodiscard]] std::optional<bool> boolean() const;
        [[nodiscard]] std::optional<double> number() const;
        [[nodiscard]] std::optional<std::string_view> string() const;
        // How many elements or members; 0 for what is neither array nor object.
        [[nodiscard]] std::size_t size() const;
        // Of an object: its keys are known to be in the order of their bytes. A sorted object may
        // say no.
        [[nodiscard]] bool isSorted() const;
        // Of an array, of an object; empty for anything else.
        [[nodiscard]] Range<Value> elements() const;
        [[nodiscard]] Range<Member> members() const;
        // The object's value of that key; absent when there is none.
        [[nodiscard]] std::optional<Value> find(std::string_view key) const;

      private:
        friend class StrictJson;
        friend struct Member;
        template <class Entry>
        friend class Range;
        explicit Value(const Node* node)
            : node_(node) {}

        const Node* node_;
    };

    // Absent when the text is not what is described above, or 4 GiB and more.
    [[nodiscard]] static std::optional<StrictJson> parse(std::string_view text);

    [[nodiscard]] Value root() const { return Value(nodes_.get()); }

  private:
    StrictJson() = default;

    // A value, and behind it the nodes of what it contains. An object's members are a string and a
    // value each.
    struct Node {
        union {
            double number;
            const char* text;
            bool boolean;
            std::uint64_t nodes; // of an array or object with all it contains
        };
        std::uint32_t size; // bytes of a string, entries of an array or object
        Kind kind;
        bool sorted; // an object that is known to be

        [[nodiscard]] const Node* next() const { return this + (isContainer() ? nodes : 1); }
        [[nodiscard]] bool isContainer() const { return kind >= Kind::array; }
        [[nodiscard]] std::string_view string() const { return {text, size}; }
    };

    std::unique_ptr<Node[]> nodes_;
    std::unique_ptr<char[]> unescaped_; // the strings that are not in the text as they are
};

struct StrictJson::Member {
    explicit Member(const Node* node)
        : key(node->string())
        , value(node->next()) {}

    std::string_view key;
    Value value;
};

template <class Entry>
class StrictJson::Range {
  public:
    class Iterator {
      public:
        explicit Iterator(const Node* node)
            : node_(node) {}
        Entry operator*() const { return Entry(node_); }
        Iterator& operator++();
        bool operator==(const Iterator&) const = default;

      private:
        const Node* node_;
    };

    Range(const Node* first, const Node* end)
        : first_(first)
        , end_(end) {}
    [[nodiscard]] Iterator begin() const { return Iterator(first_); }
    [[nodiscard]] Iterator end() const { return Iterator(end_); }

  private:
    const Node* first_;
    const Node* end_;
};

template <class Entry>
typename StrictJson::Range<Entry>::Iterator& StrictJson::Range<Entry>::Iterator::operator++() {
    node_ = node_->next();
    if constexpr (std::is_same_v<Entry, Member>) {
        node_ = node_->next();
    }
    return *this;
}

inline StrictJson::Kind StrictJson::Value::kind() const {
    return node_->kind;
}

inline bool StrictJson::Value::isSorted() const {
    return node_->sorted;
}

inline std::optional<bool> StrictJson::Value::boolean() const {
    return kind() == Kind::boolean ? std::optional(node_->boolean) : std::nullopt;
}

inline std::optional<double> StrictJson::Value::number() const {
    return kind() == Kind::number ? std::optional(node_->number) : std::nullopt;
}

inline std::optional<std::string_view> StrictJson::Value::string() const {
    return kind() == Kind::string ? std::optional(node_->string()) : std::nullopt;
}

inline std::size_t StrictJson::Value::size() const {
    return node_->isContainer() ? node_->size : 0;
}

inline StrictJson::Range<StrictJson::Value> StrictJson::Value::elements() const {
    return {node_ + 1, isArray() ? node_->next() : node_ + 1};
}

inline StrictJson::Range<StrictJson::Member> StrictJson::Value::members() const {
    return {node_ + 1, isObject() ? node_->next() : node_ + 1};
}

} // namespace tessel
