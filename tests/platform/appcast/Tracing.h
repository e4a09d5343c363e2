// A program under ptrace(2), Linux's own: from the signal SIGURG on, which the program sends to
// itself, every system call is seen before it is made, and the program can be killed there. For
// tests; one thread only.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace test_support {

struct TracedCall {
    long number = 0;
    std::filesystem::path first; // of the first argument, where it is an open descriptor
};

struct Trace {
    bool isKilled = false; // by the tracer
    int status = 0;        // as waitpid has it, of the program
    std::vector<TracedCall> calls;
};

enum class Traced { theProgram, itsChild };

// Runs the program with `variables` (NAME=VALUE) added to the environment. At the call `killAt`,
// from 1, of the program or of the child that it forks, that process gets SIGKILL; 0 kills nobody.
// A child that is not traced goes on by itself.
[[nodiscard]] Trace trace(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& variables, std::size_t killAt = 0,
                          Traced traced = Traced::theProgram);

} // namespace test_support
