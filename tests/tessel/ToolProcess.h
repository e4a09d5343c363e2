// The real `tessel` while it runs, with each of its three standard descriptors at the end of
// something real: a pipe, a pipe whose other end is closed, a file that must not grow, a terminal.
// For tests. Killed by its id and reaped at the end whatever happened.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace tool::test {

enum class Stream {
    pipe,     // read by this process
    gonePipe, // nobody has the other end
    full,     // a file in which no byte fits
    closed,   // no descriptor at all
    terminal, // the slave of a pseudo-terminal that this process reads
};

struct Streams {
    Stream output = Stream::pipe;
    Stream error = Stream::pipe;
};

class ToolProcess {
  public:
    // With these variables besides the test's own environment, NO_COLOR and TERM left out. A
    // program other than the `tessel` that was built is the first word of `wrapper`.
    explicit ToolProcess(const std::vector<std::string>& arguments, Streams streams = {},
                         const std::map<std::string, std::string>& environment = {},
                         const std::vector<std::string>& wrapper = {});
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    // Whether the text comes within 30 s.
    [[nodiscard]] bool prints(const std::string& text) { return waitFor(output_, text); }
    [[nodiscard]] bool says(const std::string& text) { return waitFor(error_, text); }

    void closeOutput();
    void signal(int number) const;
    // Its exit status; 128 + the signal's number when a signal ended it; -1 when it still runs
    // after 30 s. Everything it printed has been read then.
    [[nodiscard]] int wait();

    [[nodiscard]] const std::string& output() const { return output_.text; }
    [[nodiscard]] const std::string& error() const { return error_.text; }

  private:
    struct End {
        platform::posix::UniqueFd reading;
        std::string text;
    };

    [[nodiscard]] bool waitFor(const End& end, const std::string& text);
    void pump(int milliseconds);

    pid_t pid_ = -1;
    End output_;
    End error_;
};

} // namespace tool::test
