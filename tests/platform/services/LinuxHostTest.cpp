#include "platform/linux/LinuxHost.h"

#include "tests/platform/services/Fixtures.h"
#include "tests/platform/services/ScopedVariable.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <map>

namespace {

using platform::assignedValue;
using platform::LinuxHost;
using platform::LocalTime;

class LinuxHostTest : public testing::Test {
  protected:
    std::optional<std::string> nameWith(const std::string& machineInfo) {
        writeText(folder / "machine-info", machineInfo);
        return LinuxHost({}, folder / "machine-info").computerName();
    }
    static std::string hostName() {
        std::array<char, 256> name{};
        EXPECT_EQ(::gethostname(name.data(), name.size()), 0);
        return name.data();
    }

    test_support::TemporaryFolder folder;
};

TEST_F(LinuxHostTest, isCalledByItsPrettyName) {
    EXPECT_EQ(nameWith("ICON_NAME=computer\nPRETTY_HOSTNAME=\"Ann's \\\"Studio\\\"\"\n"),
              "Ann's \"Studio\"");
    EXPECT_EQ(nameWith("PRETTY_HOSTNAME=Studio"), "Studio");
    EXPECT_EQ(nameWith("PRETTY_HOSTNAME='Küche \\ 2'\n"), "Küche \\ 2");
}

TEST_F(LinuxHostTest, isCalledByItsHostNameWithoutAPrettyOne) {
    EXPECT_EQ(LinuxHost({}, folder / "absent").computerName(), hostName());
    for (const auto* const text : {"", "PRETTY_HOSTNAME=\n", "PRETTY_HOSTNAME=\"  \"",
                                   "#PRETTY_HOSTNAME=x", "PRETTY_HOSTNAME=\xff\n"}) {
        EXPECT_EQ(nameWith(text), hostName()) << text;
    }
    EXPECT_EQ(nameWith("PRETTY_HOSTNAME=" + std::string(100'000, 'x')), hostName());
}

TEST_F(LinuxHostTest, knowsHomeFolders) {
    EXPECT_EQ(LinuxHost(platform::Environment{{"HOME", "/home/ann"}}).homeFolder(), "/home/ann");
    EXPECT_TRUE(LinuxHost(platform::Environment{{"HOME", ""}}).homeFolder().is_absolute());
    const LinuxHost host({});
    EXPECT_EQ(host.homeFolderOf("root"), "/root");
    EXPECT_EQ(host.homeFolderOf("nobody-has-this-name"), std::nullopt);
    EXPECT_EQ(host.homeFolderOf(""), std::nullopt);
}

TEST_F(LinuxHostTest, readsTheTimeOfTheProcessesZone) {
    const auto moment = platform::WallTime(std::chrono::seconds(1'738'314'764));
    const LinuxHost host({});
    {
        const ScopedVariable zone("TZ", "UTC0");
        ::tzset();
        EXPECT_EQ(host.localTime(moment), (LocalTime{2025, 1, 31, 9, 12, 44}));
        EXPECT_EQ(host.localTime(moment - std::chrono::nanoseconds(1)),
                  (LocalTime{2025, 1, 31, 9, 12, 43}));
        EXPECT_EQ(host.localTime(platform::WallTime(std::chrono::seconds(-1))),
                  (LocalTime{1969, 12, 31, 23, 59, 59}));
    }
    {
        const ScopedVariable zone("TZ", "TEST-05:30");
        ::tzset();
        EXPECT_EQ(host.localTime(moment), (LocalTime{2025, 1, 31, 14, 42, 44}));
    }
    ::tzset();
}

TEST(AssignedValue, takesTheLastAssignmentOfAVariable) {
    EXPECT_EQ(assignedValue("A=1\nB=2\nA=3", "A"), "3");
    EXPECT_EQ(assignedValue("AA=1\n A=2\n", "A"), std::nullopt);
    EXPECT_EQ(assignedValue("", "A"), std::nullopt);
    const std::map<std::string, std::string> quoted{
        {"", ""},         {"\"", "\""},          {"\"\"", ""},       {"''", ""},
        {"\"a", "\"a"},   {"'a\"", "'a\""},      {"\"a\\\"", "a\\"}, {"\"\\a\\\\\"", "a\\"},
        {"a\\b", "a\\b"}, {"\"a\" b", "\"a\" b"}};
    for (const auto& [text, value] : quoted) {
        EXPECT_EQ(assignedValue("A=" + text, "A"), value) << text;
    }
}

} // namespace
