#pragma once

#include "ostrad/Catalogue.h"

#include <mutex>
#include <string>

namespace ostrad {

// Searches of the catalogue. Each reads every title, which takes as long as some ten other
// requests, so they have a connection of their own and run on other threads, one at a time. Any
// thread.
class Finder {
  public:
    explicit Finder(const std::string& databasePath);

    // As Catalogue::entities().
    EntityPage find(const EntityQuery& wanted);

  private:
    std::mutex mutex;
    Catalogue catalogue;
};

} // namespace ostrad
