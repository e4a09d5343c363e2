// A program on the Cocoa host that a test drives (frameworks/driver/Driver.mm lists the commands).
// The kernel kills it when the test's process dies, and the destructor kills and reaps it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cocoa_host {

class DrivenProgram {
  public:
    using Variables = std::map<std::string, std::string>;

    // Throws std::system_error.
    explicit DrivenProgram(const std::vector<std::string>& command, const Variables& more = {});
    ~DrivenProgram();
    DrivenProgram(const DrivenProgram&) = delete;
    DrivenProgram& operator=(const DrivenProgram&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    void signal(int number) const;
    // The exit code, minus the number of the signal that ended it, or nothing when it goes on.
    [[nodiscard]] std::optional<int> waitForExit();

    // What it said of itself so far, a line each; the answers to commands are not among it.
    [[nodiscard]] const std::vector<std::string>& said() const { return said_; }
    // Whether it comes to say that.
    [[nodiscard]] bool says(const std::string& line);
    // The lines of the answer: as far as they came when the program ended meanwhile.
    std::vector<std::string> ask(const std::string& command);
    // The same without waiting for an answer.
    void tell(const std::string& command) const;
    // What it has written to standard error so far, a line each. All of it goes to the standard
    // error of the test when this object ends.
    [[nodiscard]] std::vector<std::string> complaints() const;

  private:
    // False when nothing more comes, or nothing in time.
    bool readMore();
    [[nodiscard]] std::optional<std::string> takeAnswerLine();

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1; // a file without a name
    std::string unread_;
    std::vector<std::string> said_;
    std::vector<std::string> answers_;
    std::optional<int> status_;
};

} // namespace cocoa_host
