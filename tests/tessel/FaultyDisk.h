// A disk on which one call of the tool's goes wrong, by way of libfaultfs. For tests.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tool::test {

class FaultyDisk {
  public:
    // Calls below `root` are counted and written to `log`, a file elsewhere.
    FaultyDisk(std::filesystem::path root, std::filesystem::path log);

    // What a program gets in its environment whose call of that number goes wrong (FaultFs.h says
    // in which ways; 0: none does). Forgets the calls that were counted before.
    [[nodiscard]] std::map<std::string, std::string> environment(const std::string& action,
                                                                 long call) const;

    // The names of the calls that were counted, the first one first.
    [[nodiscard]] std::vector<std::string> calls() const;

  private:
    std::filesystem::path root_;
    std::filesystem::path log_;
};

} // namespace tool::test
