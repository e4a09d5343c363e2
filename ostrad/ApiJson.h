#pragma once

#include "ostrad/Catalogue.h"
#include "ostrad/Folders.h"
#include "ostrad/Modes.h"
#include "ostrad/Scanner.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <span>
#include <vector>

namespace ostrad {

// The JSON shapes of the API. Pure; every string in the result is valid UTF-8 whatever the bytes of
// a file name. Optional members are left out when there is nothing to say.

boost::json::array modesJson(std::span<const Mode> all);
boost::json::object libraryJson(const Library& library, const ScanProgress& scan);
boost::json::object entityJson(const Entity& entity);
boost::json::object progressJson(const ScanProgress& scan);
boost::json::object foldersJson(const FolderListing& listing);

} // namespace ostrad
