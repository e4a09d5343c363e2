// Runs the real `tessel` to its end. For tests.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tool::test {

struct ToolResult {
    int status = -1; // exit status; 128 + the signal's number when a signal ended it
    std::string output;
    std::string error;
};

// With this text on its standard input and these variables besides the test's own environment.
// Throws std::runtime_error when it cannot be started.
[[nodiscard]] ToolResult runTool(const std::vector<std::string>& arguments,
                                 const std::string& input = {},
                                 const std::map<std::string, std::string>& environment = {});

// The same for another file than the `tessel` that was built.
[[nodiscard]] ToolResult runProgram(const std::string& program,
                                    const std::vector<std::string>& arguments,
                                    const std::string& input = {},
                                    const std::map<std::string, std::string>& environment = {});

} // namespace tool::test
