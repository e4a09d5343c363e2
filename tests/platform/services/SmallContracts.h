// What every LoopbackPorts and every RandomSource promises. Include it in one source file of an
// executable.
#pragma once

#include "platform/LoopbackPorts.h"
#include "platform/RandomSource.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

using LoopbackPortsFactory = std::function<std::unique_ptr<platform::LoopbackPorts>()>;

class LoopbackPortsContract : public testing::TestWithParam<LoopbackPortsFactory> {
  protected:
    std::unique_ptr<platform::LoopbackPorts> ports = GetParam()();
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LoopbackPortsContract);

TEST_P(LoopbackPortsContract, findsAPortOfTheSystemsChoice) {
    const auto port = ports->tryBind(0);
    ASSERT_TRUE(port);
    EXPECT_GT(*port, 1024);
}

TEST_P(LoopbackPortsContract, answersWithThePortAskedForAndLeavesItFree) {
    // Another process may take the port in between; it will not do so every time.
    for (int attempt = 0; attempt < 20; ++attempt) {
        const auto chosen = ports->tryBind(0);
        ASSERT_TRUE(chosen);
        const auto again = ports->tryBind(*chosen);
        if (again) {
            EXPECT_EQ(*again, *chosen);
            return;
        }
    }
    FAIL() << "a port that was just free never is";
}

using RandomSourceFactory = std::function<std::unique_ptr<platform::RandomSource>()>;

class RandomSourceContract : public testing::TestWithParam<RandomSourceFactory> {
  protected:
    std::unique_ptr<platform::RandomSource> random = GetParam()();
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RandomSourceContract);

TEST_P(RandomSourceContract, drawsDifferentBytesEachTime) {
    std::array<std::byte, 16> one{};
    std::array<std::byte, 16> other{};
    ASSERT_TRUE(random->fill(one));
    ASSERT_TRUE(random->fill(other));
    EXPECT_NE(one, other);
}

TEST_P(RandomSourceContract, touchesOnlyTheBytesItWasGiven) {
    std::vector<std::byte> bytes(64, std::byte{0x5A});
    for (int round = 0; round < 100; ++round) {
        ASSERT_TRUE(random->fill(std::span(bytes).subspan(16, 32)));
    }
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(bytes[i], std::byte{0x5A});
        EXPECT_EQ(bytes[48 + i], std::byte{0x5A});
    }
    EXPECT_TRUE(random->fill({}));
}
