// Stand-ins for the tools of another system: each writes down how it was called, says what it is
// told to say, and ends as it is told to.
#pragma once

#include "tests/ostrad/ServerProcess.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace packaging_test {

class StandIns {
  public:
    // These tools are found before the system's own.
    explicit StandIns(const std::vector<std::string>& names);

    // What the tool says on standard error, and on standard output, from now on.
    void says(const std::string& name, std::string_view text) const;
    void prints(const std::string& name, std::string_view text) const;
    // The tool ends with this status; when `argument` is given, only if it is the first one.
    void fails(const std::string& name, int status, const std::string& argument = "") const;
    // For a machine without it.
    void remove(const std::string& name) const;

    [[nodiscard]] std::string path(const std::string& name) const;

    // One line a call, in order: the name and its arguments.
    [[nodiscard]] std::vector<std::string> calls() const;

    // Runs a script of this repository, or one by its absolute path, with nothing in its
    // environment but a PATH, these tools and `variables`.
    [[nodiscard]] ostrad::test::Finished
    run(const std::string& script, const std::vector<std::string>& arguments,
        const ostrad::test::ServerProcess::Environment& variables = {}) const;

  private:
    test_support::TemporaryFolder folder_;
};

} // namespace packaging_test
