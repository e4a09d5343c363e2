// User defaults in the group [defaults] of a key file, `defaults.ini` (the format of GLib's
// GKeyFile and of desktop entries); comments and other groups are kept. The file is 0600 in a
// folder that is made 0700 by the first write, and it is replaced atomically; a symbolic link in
// its place is replaced too. Edits by others are seen by the next call. A write that could not be
// saved is logged, stays visible, and is tried again together with the next one.
//
// An integer is a whole signed 64-bit decimal number; anything else reads as 0. A boolean is
// "true", or an integer other than 0. A file that cannot be understood is moved aside as
// `defaults.ini.damaged`, which is logged, and the defaults start empty. Any thread; writes reach
// the disk before they return.
#pragma once

#include "platform/Log.h"
#include "platform/UserDefaults.h"

#include <filesystem>
#include <memory>

namespace platform {

class KeyFileDefaults final : public UserDefaults {
  public:
    // `folder` belongs to this application. The log is not owned and outlives this object.
    KeyFileDefaults(std::filesystem::path folder, Log& log);
    ~KeyFileDefaults() override;
    KeyFileDefaults(const KeyFileDefaults&) = delete;
    KeyFileDefaults& operator=(const KeyFileDefaults&) = delete;

    [[nodiscard]] std::int64_t integer(std::string_view key) const override;
    void setInteger(std::string_view key, std::int64_t value) override;
    [[nodiscard]] bool boolean(std::string_view key) const override;
    void setBoolean(std::string_view key, bool value) override;
    void remove(std::string_view key) override;

  private:
    class Store;

    std::unique_ptr<Store> store_;
};

} // namespace platform
