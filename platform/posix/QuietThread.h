// Starts threads that leave the process's signals to others: every signal that is sent to the
// process is blocked in them, SIGPIPE too, so that signal handling stays on the main thread and a
// closed pipe is an error code. Signals that report a fault of the thread itself stay open.
#pragma once

#include <functional>
#include <thread>

namespace platform::posix {

// `name` is shown by debuggers where the system supports it; at most 15 characters count. Throws
// std::system_error when the system has no thread to give.
[[nodiscard]] std::thread startQuietThread(const char* name, std::function<void()> body);

using StartThread = std::function<std::thread(const char* name, std::function<void()> body)>;

} // namespace platform::posix
