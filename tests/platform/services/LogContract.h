// What every Log promises. A harness shows what arrived once the log is done with. Include it in
// one source file of an executable. LogThreadContract writes from several threads; fakes that live
// on one thread leave it out.
#pragma once

#include "platform/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

class LogHarness {
  public:
    virtual ~LogHarness() = default;

    [[nodiscard]] virtual platform::Log& log() = 0;
    // Ends the log and returns its lines.
    [[nodiscard]] virtual std::vector<std::string> finish() = 0;
};

using LogHarnessFactory = std::function<std::unique_ptr<LogHarness>()>;

class LogContract : public testing::TestWithParam<LogHarnessFactory> {
  protected:
    std::unique_ptr<LogHarness> harness = GetParam()();
    platform::Log& log = harness->log();
};

class LogThreadContract : public LogContract {};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LogContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LogThreadContract);

TEST_P(LogContract, keepsMessagesAndTheirOrder) {
    const std::vector<std::string_view> batch{"two", "", "gr\xc3\xbcn"};
    log.write("one");
    log.writeLines("[child] ", batch);
    log.writeLines("[nothing] ", {});
    log.writeLines("", batch);
    log.write("last");
    EXPECT_THAT(harness->finish(),
                testing::ElementsAre("one", "[child] two", "[child] ", "[child] gr\xc3\xbcn", "two",
                                     "", "gr\xc3\xbcn", "last"));
}

TEST_P(LogThreadContract, keepsTheOrderOfEachThread) {
    constexpr int lines = 2000;
    std::vector<std::thread> threads;
    for (const std::string name : {"a", "b", "c"}) {
        threads.emplace_back([this, name] {
            for (int i = 0; i < lines; i += 2) {
                log.write(name + std::to_string(i));
                const std::string next = std::to_string(i + 1);
                const std::string_view view = next;
                log.writeLines(name, {&view, 1});
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::map<char, int> next;
    for (const auto& line : harness->finish()) {
        EXPECT_EQ(std::stoi(line.substr(1)), next[line[0]]++) << line;
    }
    EXPECT_EQ(next, (std::map<char, int>{{'a', lines}, {'b', lines}, {'c', lines}}));
}
