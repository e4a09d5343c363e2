// The user's small persistent settings of this application. Reads of an absent key, or of a value
// that cannot be read as the type asked for, give zero or false. A write is visible to the next
// read at once and reaches the disk by atomic replacement; one that cannot be saved is logged and
// kept in memory. Any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace platform {

class UserDefaults {
  public:
    virtual ~UserDefaults() = default;

    // A whole number.
    [[nodiscard]] virtual std::int64_t integer(std::string_view key) const = 0;
    virtual void setInteger(std::string_view key, std::int64_t value) = 0;
    // A switch.
    [[nodiscard]] virtual bool boolean(std::string_view key) const = 0;
    virtual void setBoolean(std::string_view key, bool value) = 0;
    // The key is absent from now on.
    virtual void remove(std::string_view key) = 0;
};

} // namespace platform
