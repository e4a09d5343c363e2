#include "ostrad/Finder.h"

namespace ostrad {

Finder::Finder(const std::string& databasePath)
    : catalogue(databasePath) {}

EntityPage Finder::find(const EntityQuery& wanted) {
    const std::scoped_lock lock(mutex);
    return catalogue.entities(wanted);
}

} // namespace ostrad
