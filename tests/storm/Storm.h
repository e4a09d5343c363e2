// What the parts of the storm share: a desktop, a source of chance, and a count of what was wrong.
// A part throws nothing but std::runtime_error of a desktop that does not work.
#pragma once

#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Program.h"

#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace storm {

struct Scale {
    int kills = 100;      // of each kind; twice as many starts beside a stranger
    bool isShort = false; // seconds instead of minutes, and no limit that a busy machine breaks
};

class Storm {
  public:
    Storm(Scale scale, unsigned seed);

    [[nodiscard]] const Scale& scale() const { return scale_; }
    [[nodiscard]] desktop::DesktopSession& session() { return session_; }
    [[nodiscard]] int faults() const { return faults_; }

    // A line of the result.
    void say(const std::string& line) const;
    void wrong(const std::string& what);
    [[nodiscard]] int between(int least, int most);

    // The application in the session; `shell` is executed before it, by a shell that it replaces.
    [[nodiscard]] std::unique_ptr<desktop::Program> start(const std::string& shell = "true");
    // What the application has started and left.
    [[nodiscard]] std::vector<desktop::Process> left() const { return session_.processes(); }
    // How long it took, or nothing when there is something after eight seconds (on a machine that
    // may be busy, thirty); that is then wrong, and cleared away.
    std::optional<std::chrono::duration<double>> untilNothingIsLeft(const std::string& where);
    // By SIGTERM: it has to end with 0 and leave nothing.
    void quit(desktop::Program& application, const std::string& where);

  private:
    Scale scale_;
    std::mt19937 random_;
    desktop::DesktopSession session_;
    int faults_ = 0;
};

// The port of the last server that this log tells of.
[[nodiscard]] std::optional<int> portIn(const std::string& log);
// Whether the server of the last launch answers on its port with its nonce's name, as no stranger
// does.
[[nodiscard]] bool isServed(const std::string& log);

struct Part {
    std::string_view name;
    void (*run)(Storm&);
};

[[nodiscard]] const std::vector<Part>& kills();     // Kills.cpp
[[nodiscard]] const std::vector<Part>& strangers(); // Strangers.cpp
[[nodiscard]] const std::vector<Part>& output();    // HostileOutput.cpp
[[nodiscard]] const std::vector<Part>& hardships(); // Hardships.cpp
[[nodiscard]] const std::vector<Part>& incidents(); // Incidents.cpp

} // namespace storm
