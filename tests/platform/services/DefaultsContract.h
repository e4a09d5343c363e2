// What every UserDefaults promises. PersistentDefaultsContract asks in addition for what a second
// opening of the same store sees; fakes that live in memory leave it out. Include it in one source
// file of an executable.
#pragma once

#include "platform/UserDefaults.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

class DefaultsHarness {
  public:
    virtual ~DefaultsHarness() = default;

    // The same store each time, as a later start of the application finds it.
    [[nodiscard]] virtual std::unique_ptr<platform::UserDefaults> open() = 0;
};

using DefaultsHarnessFactory = std::function<std::unique_ptr<DefaultsHarness>()>;

class DefaultsContract : public testing::TestWithParam<DefaultsHarnessFactory> {
  protected:
    std::unique_ptr<DefaultsHarness> harness = GetParam()();
    std::unique_ptr<platform::UserDefaults> defaults = harness->open();

    static constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    static constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
};

class PersistentDefaultsContract : public DefaultsContract {};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(DefaultsContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PersistentDefaultsContract);

TEST_P(DefaultsContract, readsZeroAndFalseForAnAbsentKey) {
    EXPECT_EQ(defaults->integer("app.example.absent"), 0);
    EXPECT_FALSE(defaults->boolean("app.example.absent"));
}

TEST_P(DefaultsContract, showsAWriteToTheNextRead) {
    for (const std::int64_t value : {std::int64_t{1}, std::int64_t{-7}, least, greatest}) {
        defaults->setInteger("app.example.port", value);
        EXPECT_EQ(defaults->integer("app.example.port"), value);
    }
    defaults->setBoolean("DidIt", true);
    EXPECT_TRUE(defaults->boolean("DidIt"));
    defaults->setBoolean("DidIt", false);
    EXPECT_FALSE(defaults->boolean("DidIt"));
}

TEST_P(DefaultsContract, forgetsARemovedKeyAndOnlyThat) {
    defaults->setInteger("one", 1);
    defaults->setInteger("two", 2);
    defaults->remove("one");
    defaults->remove("never there");
    EXPECT_EQ(defaults->integer("one"), 0);
    EXPECT_EQ(defaults->integer("two"), 2);
}

TEST_P(PersistentDefaultsContract, bringsEverythingToTheNextStart) {
    defaults->setInteger("app.example.port", greatest);
    defaults->setInteger("gone", 5);
    defaults->setBoolean("DidIt", true);
    defaults->remove("gone");
    defaults.reset();

    const auto next = harness->open();

    EXPECT_EQ(next->integer("app.example.port"), greatest);
    EXPECT_TRUE(next->boolean("DidIt"));
    EXPECT_EQ(next->integer("gone"), 0);
}

TEST_P(PersistentDefaultsContract, acceptsAnyKeyThatANameCanBe) {
    const std::vector<std::string> keys{"plain",       "frame.Main Window.width",
                                        "with=equals", "[bracketed]",
                                        " outer ",     "#comment",
                                        "gr\xc3\xbcn", "per%cent"};
    std::int64_t value = 0;
    for (const auto& key : keys) {
        defaults->setInteger(key, ++value);
    }
    defaults.reset();
    const auto next = harness->open();
    value = 0;
    for (const auto& key : keys) {
        EXPECT_EQ(next->integer(key), ++value) << key;
    }
}

TEST_P(PersistentDefaultsContract, keepsTheWritesOfManyThreads) {
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([this, writer] {
            for (int i = 1; i <= 10; ++i) {
                defaults->setInteger("writer" + std::to_string(writer), i);
                EXPECT_EQ(defaults->integer("writer" + std::to_string(writer)), i);
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    const auto next = harness->open();
    for (int writer = 0; writer < 4; ++writer) {
        EXPECT_EQ(next->integer("writer" + std::to_string(writer)), 10);
    }
}
