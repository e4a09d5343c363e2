#include "platform/Environment.h"

#include <array>

extern char** environ; // NOLINT: POSIX leaves the declaration to the program

namespace process_test {
namespace {

// Lends the process another environment; nothing else runs meanwhile.
class LentEnvironment {
  public:
    explicit LentEnvironment(char** entries) { environ = entries; }
    LentEnvironment(const LentEnvironment&) = delete;
    LentEnvironment& operator=(const LentEnvironment&) = delete;
    ~LentEnvironment() { environ = before; }

  private:
    char** before = environ;
};

TEST(Environment, holdsEveryVariableOfTheProcess) {
    std::string first = "A=1";
    std::string second = "B=x=y";
    std::string third = "EMPTY=";
    std::array<char*, 4> entries{first.data(), second.data(), third.data(), nullptr};
    const LentEnvironment lent(entries.data());
    EXPECT_EQ(platform::currentEnvironment(),
              (platform::Environment{{"A", "1"}, {"B", "x=y"}, {"EMPTY", ""}}));
}

TEST(Environment, leavesOutEntriesWithoutAnEqualsSign) {
    std::string first = "NONSENSE";
    std::string second = "A=1";
    std::array<char*, 3> entries{first.data(), second.data(), nullptr};
    const LentEnvironment lent(entries.data());
    EXPECT_EQ(platform::currentEnvironment(), (platform::Environment{{"A", "1"}}));
}

TEST(Environment, leavesOutEntriesWithoutAName) {
    std::string first = "=C:=nonsense";
    std::string second = "A=1";
    std::array<char*, 3> entries{first.data(), second.data(), nullptr};
    const LentEnvironment lent(entries.data());
    EXPECT_EQ(platform::currentEnvironment(), (platform::Environment{{"A", "1"}}));
}

TEST(Environment, keepsTheFirstOfARepeatedName) {
    std::string first = "A=1";
    std::string second = "A=2";
    std::array<char*, 3> entries{first.data(), second.data(), nullptr};
    const LentEnvironment lent(entries.data());
    EXPECT_EQ(platform::currentEnvironment(), (platform::Environment{{"A", "1"}}));
}

TEST(Environment, mayBeEmpty) {
    std::array<char*, 1> entries{nullptr};
    const LentEnvironment lent(entries.data());
    EXPECT_TRUE(platform::currentEnvironment().empty());
}

TEST(Environment, mayBeMissingAltogether) {
    const LentEnvironment lent(nullptr);
    EXPECT_TRUE(platform::currentEnvironment().empty());
}

} // namespace
} // namespace process_test
