// What the measured programs run in, and how they are watched: processes, the X server's windows.
// Everything throws std::runtime_error with a sentence.
#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

// A child of this program; told to end, and reaped, at the latest by the destructor.
class Process {
  public:
    // Its standard error can be read when it is not dropped.
    enum class ErrorOutput { dropped, kept };

    explicit Process(const std::vector<std::string>& command,
                     ErrorOutput errorOutput = ErrorOutput::dropped);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    // Reads standard error until a line holds that text.
    void awaitLine(const std::string& text) const;
    // Waits for the end that it comes to by itself.
    void awaitExit();

  private:
    pid_t pid_ = -1;
    int errorOutput_ = -1;
};

// A program that says one line on a descriptor once it is ready.
struct Server {
    explicit Server(const std::function<std::vector<std::string>(int)>& command);

    std::unique_ptr<Process> process;
    std::string firstLine;
};

// Sees windows of the display being mapped.
class Display {
  public:
    Display();
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    // Waits until a window of at least half the expected size is mapped.
    [[nodiscard]] xcb_window_t waitForWindow();
    // Asks the window to close as a window manager does (WM_DELETE_WINDOW), and waits until it is
    // off the screen.
    void close(xcb_window_t window);

  private:
    [[nodiscard]] bool isLarge(xcb_window_t window);
    [[nodiscard]] xcb_atom_t atom(const std::string& name);
    template <typename Condition>
    void waitFor(Condition condition);

    xcb_connection_t* connection_;
};

// Threads that have ended count in processor time.
[[nodiscard]] double residentMiB(pid_t pid);
// What the processes occupy together: a page of a file, or of shared memory, that several of them
// have in memory counts once.
[[nodiscard]] double residentTogetherMiB(const std::vector<pid_t>& processes);
[[nodiscard]] double cpuMs(pid_t pid);
// Of all their threads, over some whole seconds from now on. A thread that ends counts until the
// last full second before that.
[[nodiscard]] double wakeupsASecond(const std::vector<pid_t>& processes, std::chrono::seconds time);
[[nodiscard]] pid_t childNamed(pid_t parent, const std::string& name);

} // namespace bench
