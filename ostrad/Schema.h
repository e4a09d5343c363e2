#pragma once

#include "ostrad/Database.h"

namespace ostrad {

// Creates the tables of a new database or brings an older one up to date, in one transaction; the
// version is SQLite's user_version. Throws DatabaseError for a file of another application and for
// one that a newer version of this server wrote.
void prepareSchema(Database& database);

} // namespace ostrad
