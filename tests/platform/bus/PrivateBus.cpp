#include "tests/platform/bus/PrivateBus.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace test_support {

using platform::gtk::GErrorPtr;

PrivateBus::PrivateBus() {
    std::string name = (std::filesystem::temp_directory_path() / "zorvane-bus-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make " + name);
    }
    folder_ = name;
    std::ofstream(folder_ / "bus.conf")
        << "<busconfig><type>session</type><listen>" << address()
        << "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
           "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>";
    start();
}

PrivateBus::~PrivateBus() {
    kill();
    std::filesystem::remove_all(folder_);
}

void PrivateBus::start() {
    const std::string configuration = "--config-file=" + (folder_ / "bus.conf").string();
    GError* error = nullptr;
    daemon_.reset(g_subprocess_new(static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                                 G_SUBPROCESS_FLAGS_STDERR_SILENCE),
                                   &error, "dbus-daemon", configuration.c_str(), "--nofork",
                                   "--nopidfile", "--nosyslog", "--print-address", nullptr));
    if (!daemon_) {
        throw std::runtime_error(GErrorPtr(error)->message);
    }
    // It says its address when it listens.
    char byte = 0;
    if (g_input_stream_read(g_subprocess_get_stdout_pipe(daemon_.get()), &byte, 1, nullptr,
                            nullptr) != 1) {
        throw std::runtime_error("dbus-daemon does not start");
    }
}

void PrivateBus::kill() {
    if (daemon_) {
        g_subprocess_force_exit(daemon_.get());
        g_subprocess_wait(daemon_.get(), nullptr, nullptr);
        daemon_.reset();
    }
}

} // namespace test_support
