// Ctrl-C (SIGINT), SIGTERM and SIGHUP as something to look at: while an object of this class exists
// they end nobody, and the work that looks for them ends itself. A signal that was ignored when the
// object was made stays ignored. One object at a time.
#pragma once

#include <array>
#include <csignal>

namespace tool {

class Interrupts {
  public:
    Interrupts();
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    // The first one that came; 0 before.
    [[nodiscard]] int signal() const;
    // Readable from then on, for poll(2); -1 when the system had none to give.
    [[nodiscard]] int descriptor() const;

    // What a shell expects of a program that such a signal ended: 130 after Ctrl-C.
    [[nodiscard]] static int exitStatus(int signal) { return 128 + signal; }

  private:
    static constexpr std::array caught = {SIGINT, SIGTERM, SIGHUP};

    std::array<struct sigaction, caught.size()> before_{};
};

} // namespace tool
