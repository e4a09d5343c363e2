// The members of an object whose keys are in a list known when compiling, all found in one walk and
// asked for by key: a key that is not in the list does not compile. The tree must outlive it. One
// thread; throws nothing.
#pragma once

#include "mac/Tessel/Json/StrictJson.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace tessel {

template <const auto& keys>
class KnownMembers {
  public:
    using Field = std::optional<StrictJson::Value>;

    struct Key {
        // NOLINTNEXTLINE(google-explicit-constructor): written as a literal
        consteval Key(const char* name)
            : text(name) {
            while (keys.at(place) != text) {
                ++place;
            }
        }

        std::string_view text;
        std::size_t place = 0;
    };

    KnownMembers() = default;
    // Of anything but an object: no members.
    explicit KnownMembers(StrictJson::Value object) {
        for (const StrictJson::Member member : object.members()) {
            const std::size_t place = placeOf(member.key, everyPlace);
            if (place < keys.size()) {
                fields_[place] = member.value;
            } else {
                ++others_;
            }
        }
    }

    // Whether no other key is there.
    [[nodiscard]] bool areAll() const { return others_ == 0; }
    [[nodiscard]] Field operator[](Key key) const { return fields_[key.place]; }
    // The one whose key has that place in the list.
    [[nodiscard]] Field at(std::size_t place) const { return fields_[place]; }

  private:
    static constexpr auto everyPlace = std::make_index_sequence<keys.size()>();

    template <std::size_t place>
    static bool isKey(std::string_view key) {
        // The length is a constant, so that comparing takes a few instructions.
        constexpr std::string_view wanted = keys[place];
        return key.size() == wanted.size() &&
               std::memcmp(key.data(), wanted.data(), wanted.size()) == 0;
    }

    template <std::size_t... places>
    static std::size_t placeOf(std::string_view key, std::index_sequence<places...>) {
        std::size_t place = 0;
        (void)((isKey<places>(key) || (++place, false)) || ...);
        return place;
    }

    std::array<Field, keys.size()> fields_{};
    std::size_t others_ = 0;
};

} // namespace tessel
