#include "tests/desktop/session/PrivateSession.h"

#include "tests/desktop/session/Waiting.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace desktop {
namespace {

std::filesystem::path makeTemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "zorvane-desktop-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make " + name);
    }
    return name;
}

} // namespace

std::string PrivateSession::awaitLine(const Program& program, const std::string& what) {
    std::string output;
    const bool printed = eventually([&] {
        output = program.standardOutput();
        return output.find('\n') != std::string::npos;
    });
    if (!printed) {
        throw std::runtime_error(what + " did not start: " + program.standardError());
    }
    return output.substr(0, output.find('\n'));
}

PrivateSession::PrivateSession()
    : folder_(makeTemporaryFolder()) {
    adoptOrphans();
    const char* const path = std::getenv("PATH");
    environment = {
        {"PATH", path == nullptr ? "/usr/bin:/bin" : path},
        {"HOME", (folder_ / "home").string()},
        {"XDG_DATA_HOME", dataHome().string()},
        {"XDG_CACHE_HOME", cacheHome().string()},
        {"XDG_CONFIG_HOME", configHome().string()},
        {"XDG_RUNTIME_DIR", (folder_ / "runtime").string()},
        {"LANG", "C.UTF-8"},
        {"GSK_RENDERER", "cairo"},
        {"WEBKIT_DISABLE_DMABUF_RENDERER", "1"},
        {"GTK_A11Y", "none"},
        {"OSTRA_DEV_NO_MOVE", "1"},
    };
    for (const char* name : {"home", "runtime"}) {
        std::filesystem::create_directory(folder_ / name);
        std::filesystem::permissions(folder_ / name, std::filesystem::perms::owner_all);
    }
    startBus();
}

PrivateSession::~PrivateSession() {
    endProcesses();
    bus_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

// Whatever a failed test left; it would not survive the session for long, but may write.
void PrivateSession::endProcesses() const {
    for (const Process& process : processes()) {
        ::kill(process.pid, SIGKILL);
    }
    (void)eventually([this] { return processes().empty(); });
}

// The configuration names no folder of services, so nothing of the machine is started on demand.
void PrivateSession::startBus() {
    const std::filesystem::path configuration = folder_ / "bus.conf";
    std::ofstream(configuration)
        << "<busconfig><type>session</type><listen>unix:path=" << (folder_ / "bus").string()
        << "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
           "<allow eavesdrop=\"true\"/>"
           "<allow own=\"*\"/></policy></busconfig>";
    bus_ = start({"dbus-daemon", "--config-file=" + configuration.string(), "--nofork",
                  "--nopidfile", "--nosyslog", "--print-address"},
                 "bus");
    environment["DBUS_SESSION_BUS_ADDRESS"] = awaitLine(*bus_, "dbus-daemon");
}

std::unique_ptr<Program> PrivateSession::start(const std::vector<std::string>& command,
                                               const std::string& name) const {
    return std::make_unique<Program>(command, environment, folder_ / name);
}

std::vector<Process> PrivateSession::processes() const {
    std::vector<pid_t> session;
    if (bus_) {
        session.push_back(bus_->pid());
    }
    for (const auto* part : parts_) {
        if (*part) {
            session.push_back((*part)->pid());
        }
    }
    return descendants(session);
}

std::vector<Process> PrivateSession::processesNamed(const std::string& name) const {
    std::vector<Process> found = processes();
    std::erase_if(found, [&](const Process& process) {
        const std::string program = process.command.substr(0, process.command.find(' '));
        return std::filesystem::path(program).filename() != name;
    });
    // What it forked and what has not become another program yet.
    const std::vector<Process> all = found;
    std::erase_if(found, [&](const Process& process) {
        return std::ranges::any_of(all, [&](const Process& other) {
            return other.pid == process.parent && other.command == process.command;
        });
    });
    return found;
}

void PrivateSession::useInsteadOfBubblewrap(const std::string& script) {
    const std::filesystem::path program = folder_ / "bwrap";
    std::ofstream(program) << script;
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    environment["LD_PRELOAD"] = ZORVANE_FAKE_BWRAP;
    environment["FAKE_BWRAP"] = program.string();
}

std::string PrivateSession::ask(const std::vector<std::string>& command) const {
    const auto program = start(command, "question");
    (void)program->waitForExit(patience);
    return program->standardOutput();
}

void PrivateSession::keepOutput(const std::filesystem::path& folder,
                                const std::string& stem) const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        const std::filesystem::path& file = entry.path();
        if (file.extension() == ".out" || file.extension() == ".err") {
            std::error_code ignored;
            std::filesystem::copy_file(file, folder / (stem + "." + file.filename().string()),
                                       std::filesystem::copy_options::overwrite_existing, ignored);
        }
    }
}

void PrivateSession::killBus() {
    bus_->signal(SIGKILL);
    (void)bus_->waitForExit(patience);
}

void PrivateSession::restartBus() {
    const std::string address = environment.at("DBUS_SESSION_BUS_ADDRESS");
    std::filesystem::remove(folder_ / "bus");
    std::filesystem::remove(folder_ / "bus.out"); // what the old one said
    startBus();
    environment["DBUS_SESSION_BUS_ADDRESS"] = address;
}

} // namespace desktop
