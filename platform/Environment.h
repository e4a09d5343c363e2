// The environment variables of this process as a value. A child gets exactly the map it is given,
// so nothing here ever writes to the process's own environment, which is not thread-safe.
#pragma once

#include <map>
#include <string>

namespace platform {

// Values by name, both as the system has them.
using Environment = std::map<std::string, std::string>;

// Empty when there is none of that name.
[[nodiscard]] inline std::string valueOf(const Environment& environment, const std::string& name) {
    const auto entry = environment.find(name);
    return entry == environment.end() ? std::string() : entry->second;
}

// A snapshot. Entries without "=" are left out; of a repeated name the first counts, as in
// getenv. Call it before other threads could change the environment.
[[nodiscard]] Environment currentEnvironment();

} // namespace platform
