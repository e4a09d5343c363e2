// What tests of programs on a desktop share: an empty home with all XDG folders in a temporary
// folder, a session bus of its own, and an environment that has nothing of the test's but PATH,
// with rendering set to what needs no GPU. Sessions do not know of each other, so tests may run in
// parallel. Everything is ended by process id, and the folder removed, by the destructor; should
// the test itself be killed, the kernel ends it.
#pragma once

#include "platform/Environment.h"
#include "tests/desktop/session/ProcessTree.h"
#include "tests/desktop/session/Program.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace desktop {

struct ScreenSize {
    int width = 0;
    int height = 0;
};

class PrivateSession {
  public:
    PrivateSession(const PrivateSession&) = delete;
    PrivateSession& operator=(const PrivateSession&) = delete;

    // What programs are started with; a test may change it for those that it starts afterwards.
    platform::Environment environment;

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    [[nodiscard]] std::filesystem::path dataHome() const { return folder_ / "data"; }
    [[nodiscard]] std::filesystem::path cacheHome() const { return folder_ / "cache"; }
    [[nodiscard]] std::filesystem::path configHome() const { return folder_ / "config"; }

    // `name` names its output files in the session's folder.
    [[nodiscard]] std::unique_ptr<Program> start(const std::vector<std::string>& command,
                                                 const std::string& name) const;
    // The standard output of a program that ends by itself.
    std::string ask(const std::vector<std::string>& command) const;
    // What the programs under test have started and left: all descendants of this process but
    // the session itself.
    [[nodiscard]] std::vector<Process> processes() const;
    // Those whose program has that name; not their copies, which a fork leaves until they execute
    // another program.
    [[nodiscard]] std::vector<Process> processesNamed(const std::string& name) const;
    // For programs started from now on, which know bubblewrap by its absolute path.
    void useInsteadOfBubblewrap(const std::string& script);

    // For a test that failed: the output of every program started so far, as STEM.NAME.out and
    // STEM.NAME.err.
    void keepOutput(const std::filesystem::path& folder, const std::string& stem) const;

    void signalBus(int number) const { bus_->signal(number); }
    void killBus();
    // After killBus(): another one at the same place, which an address without a GUID leads to.
    void restartBus();
    [[nodiscard]] std::string busPlace() const { return "unix:path=" + (folder_ / "bus").string(); }

  protected:
    // Throws std::runtime_error when the bus does not start.
    PrivateSession();
    ~PrivateSession();

    // The first line that the program prints, without its line feed.
    [[nodiscard]] static std::string awaitLine(const Program& program, const std::string& what);
    // Ends whatever the programs under test have left.
    void endProcesses() const;

    // Parts of the session itself: not among processes().
    std::vector<std::unique_ptr<Program>*> parts_;

  private:
    void startBus();

    std::filesystem::path folder_;
    std::unique_ptr<Program> bus_;
};

} // namespace desktop
