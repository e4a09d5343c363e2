// A message bus of a test, a real dbus-daemon, that can be ended and started anew at the same
// address. It ends with this object. Throws std::runtime_error when it does not start.
#pragma once

#include "platform/linux/GObjectPtr.h"

#include <gio/gio.h>

#include <filesystem>
#include <string>

namespace test_support {

class PrivateBus {
  public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] std::string address() const { return "unix:path=" + socket().string(); }
    [[nodiscard]] std::filesystem::path socket() const { return folder_ / "bus"; }

    // Returns when it can be reached.
    void start();
    // Returns when it has gone.
    void kill();

  private:
    std::filesystem::path folder_;
    platform::gtk::GObjectPtr<GSubprocess> daemon_;
};

} // namespace test_support
