#pragma once

#include <boost/json/object.hpp>

#include <string_view>

namespace ostrad {

// The member of that name, if it is an object.
inline const boost::json::object* objectAt(const boost::json::object& parent,
                                           std::string_view name) {
    const boost::json::value* const member = parent.if_contains({name.data(), name.size()});
    return member == nullptr ? nullptr : member->if_object();
}

} // namespace ostrad
