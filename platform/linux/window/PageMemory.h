// Ends a page's process that takes too much memory. The engine's own limit is looked after by the
// very thread that runs the page's scripts, so a script that never pauses is beyond it: every two
// seconds, and every eight while no page is on the screen, this looks at the web processes below
// this program from outside. Main thread only.
#pragma once

#include <glib.h>
#include <sys/types.h>

#include <functional>
#include <vector>

namespace platform::gtk {

inline constexpr guint pageMemoryLimit = 2048; // MiB

// From one look to the next: each wakes up the computer.
constexpr unsigned secondsUntilLook(bool isPageOnScreen) {
    return isPageOnScreen ? 2 : 8;
}

// The engine starts its processes in the main thread; whether it always does is looked at now and
// then. To look at every thread takes most of what a look costs.
enum class Threads { all, main };

constexpr Threads threadsToLookAt(unsigned look) {
    constexpr unsigned between = 8;
    return look % between == 0 ? Threads::all : Threads::main;
}

// The pages' processes below this program: below its main thread, or below any.
[[nodiscard]] std::vector<pid_t> pageProcesses(Threads threads);

// Every page's process below this program, at once.
void killPages();

// The engine's process that speaks over the network; 0: there is none.
[[nodiscard]] pid_t networkProcess();

class PageMemory {
  public:
    explicit PageMemory(std::function<bool()> isPageOnScreen);
    ~PageMemory();
    PageMemory(const PageMemory&) = delete;
    PageMemory& operator=(const PageMemory&) = delete;

  private:
    static gboolean onLook(gpointer self);
    void lookAfter(unsigned seconds);

    std::function<bool()> isPageOnScreen_;
    guint timer_ = 0;
    unsigned looks_ = 0;
};

} // namespace platform::gtk
