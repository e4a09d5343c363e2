#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace ostrad {

// The short codes that a person compares or types to link one thing with another. Pure.

using RandomBelow = std::function<std::size_t(std::size_t below)>; // uniform and unpredictable

// Four letters, a dash and four digits, none of which looks like another one.
std::string newLinkCode(const RandomBelow& random);

// Whether two codes are the same to a person: letter case, dashes and spaces do not matter.
bool sameLinkCode(std::string_view a, std::string_view b);

} // namespace ostrad
