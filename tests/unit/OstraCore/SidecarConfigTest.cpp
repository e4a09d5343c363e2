#include "mac/OstraCore/SidecarConfig.h"

#include "platform/testing/InMemorySystem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace ostra {
namespace {

using platform::PortFailure;
using platform::testing::FakeLoopbackPorts;
using platform::testing::FakeRandomSource;
using platform::testing::InMemoryDefaults;

const std::string key(PortPicker::savedPortKey);

TEST(PortPicker, choosesAndSavesAFreePortWhenNothingWasSaved) {
    InMemoryDefaults defaults;
    FakeLoopbackPorts ports;
    EXPECT_EQ(PortPicker::pickStablePort(defaults, ports), 50001);
    EXPECT_EQ(defaults.values[key], 50001);
    EXPECT_EQ(ports.asked, std::vector<std::uint16_t>{0});
}

TEST(PortPicker, returnsASavedFreePortWithoutTouchingTheDefaults) {
    InMemoryDefaults defaults;
    FakeLoopbackPorts ports;
    for (const int saved : {1025, 8080, 65535}) {
        defaults.values[key] = saved;
        EXPECT_EQ(PortPicker::pickStablePort(defaults, ports), saved);
    }
    EXPECT_EQ(defaults.writes, 0);
}

TEST(PortPicker, ignoresASavedNumberOutsideTheRangeAndReplacesIt) {
    for (const std::int64_t saved :
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{1024}, std::int64_t{65536},
          std::int64_t{70000}, std::int64_t{-1}, std::int64_t{-8080}, std::int64_t{65536} + 8080,
          std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
        InMemoryDefaults defaults;
        FakeLoopbackPorts ports;
        defaults.values[key] = saved;
        EXPECT_EQ(PortPicker::pickStablePort(defaults, ports), 50001) << saved;
        EXPECT_EQ(defaults.values[key], 50001) << saved;
        EXPECT_EQ(ports.asked, std::vector<std::uint16_t>{0}) << saved;
    }
}

TEST(PortPicker, choosesANewPortWhenTheSavedOneIsTaken) {
    InMemoryDefaults defaults;
    FakeLoopbackPorts ports;
    defaults.values[key] = 8080;
    ports.taken = {8080};
    EXPECT_EQ(PortPicker::pickStablePort(defaults, ports), 50001);
    EXPECT_EQ(defaults.values[key], 50001);
}

TEST(PortPicker, passesOnWhichCallFailedAndWhy) {
    using Kind = PortPicker::PortError::Kind;
    const std::vector<std::pair<PortFailure, PortPicker::PortError>> cases{
        {{PortFailure::Stage::socket, EMFILE}, {Kind::socketFailed, EMFILE}},
        {{PortFailure::Stage::bind, EACCES}, {Kind::bindFailed, EACCES}},
        {{PortFailure::Stage::getsockname, ENOBUFS}, {Kind::getsocknameFailed, ENOBUFS}},
    };
    for (const auto& [failure, expected] : cases) {
        InMemoryDefaults defaults;
        defaults.values[key] = 8080;
        FakeLoopbackPorts ports;
        ports.failure = failure;
        EXPECT_EQ(PortPicker::pickFreePort(ports), std::unexpected(expected));
        EXPECT_EQ(PortPicker::pickStablePort(defaults, ports), std::unexpected(expected));
        EXPECT_EQ(defaults.values[key], 8080) << "a failure must not lose the saved port";
    }
}

TEST(PortPicker, describesAnErrorWithItsReason) {
    const PortPicker::PortError error{PortPicker::PortError::Kind::socketFailed, EMFILE};
    EXPECT_EQ(error.description(),
              "no socket could be made to choose a port: Too many open files (errno 24)");
}

TEST(PortPicker, forgetsTheSavedPort) {
    InMemoryDefaults defaults;
    defaults.values[key] = 8080;
    PortPicker::forgetStablePort(defaults);
    EXPECT_FALSE(defaults.values.contains(key));
}

bool isNonce(const std::string& text) {
    return text.size() == 32 && std::ranges::all_of(text, [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
           });
}

TEST(Nonce, writesEachRandomByteAsTwoLowerCaseDigits) {
    FakeRandomSource random;
    random.next = 0xF8;
    EXPECT_EQ(Nonce::make(random), "f8f9fafbfcfdfeff0001020304050607");
}

TEST(Nonce, fallsBackToTheRuntimesGeneratorAndStaysDifferent) {
    FakeRandomSource random;
    random.fails = true;
    const std::string first = Nonce::make(random);
    const std::string second = Nonce::make(random);
    EXPECT_TRUE(isNonce(first)) << first;
    EXPECT_TRUE(isNonce(second)) << second;
    EXPECT_NE(first, second);
}

FileExists only(std::vector<std::filesystem::path> paths) {
    return [paths = std::move(paths)](const std::filesystem::path& path) {
        return std::ranges::find(paths, path) != paths.end();
    };
}

TEST(SidecarLocator, takesTheOverrideWhetherOrNotItExists) {
    EXPECT_EQ(SidecarLocator::resolve({{"OSTRA_SIDECAR", "/nowhere/server"}}, "/app/ostrad", "/src",
                                      only({"/app/ostrad"})),
              "/nowhere/server");
}

TEST(SidecarLocator, ignoresAnEmptyOverride) {
    EXPECT_EQ(SidecarLocator::resolve({{"OSTRA_SIDECAR", ""}}, "/app/ostrad", "/src",
                                      only({"/app/ostrad"})),
              "/app/ostrad");
}

TEST(SidecarLocator, prefersTheBundleToTheDevelopmentLayout) {
    const auto both = only({"/app/ostrad", "/data/quillon"});
    EXPECT_EQ(SidecarLocator::resolve({}, "/app/ostrad", "/src", both), "/app/ostrad");
    EXPECT_EQ(SidecarLocator::resolve({}, std::nullopt, "/src", both), "/data/quillon");
}

TEST(SidecarLocator, standardisesTheDevelopmentPath) {
    EXPECT_EQ(SidecarLocator::resolve({}, "/app/ostrad", "/home/ann/src/",
                                      only({"/home/ann/src/../data/quillon"})),
              std::nullopt);
    EXPECT_EQ(SidecarLocator::resolve({}, "/app/ostrad", "/home/ann/src",
                                      only({"/home/ann/data/quillon"})),
              "/home/ann/data/quillon");
}

TEST(SidecarLocator, findsNothingWhereThereIsNothing) {
    EXPECT_EQ(SidecarLocator::resolve({}, "/app/ostrad", "/src", only({})), std::nullopt);
    EXPECT_EQ(SidecarLocator::resolve({}, std::nullopt, "/src", only({})), std::nullopt);
}

TEST(MediaToolLocator, prefersTheApplicationsOwnToolToTheFallbacks) {
    EXPECT_EQ(MediaToolLocator::resolve("ffmpeg", "/app/res", "/app/exe",
                                        {"/opt/homebrew/bin/ffmpeg"},
                                        only({"/app/res/bin/ffmpeg", "/opt/homebrew/bin/ffmpeg"})),
              "/app/res/bin/ffmpeg");
}

TEST(MediaToolLocator, looksInOneFixedOrder) {
    std::vector<std::filesystem::path> asked;
    const auto found = MediaToolLocator::resolve(
        "ffmpeg", "/res", "/exe", {"/opt/homebrew/bin/ffmpeg", "/usr/local/bin/ffmpeg"},
        [&](const std::filesystem::path& path) {
            asked.push_back(path);
            return false;
        });
    EXPECT_EQ(found, std::nullopt);
    EXPECT_EQ(asked, (std::vector<std::filesystem::path>{
                         "/res/bin/ffmpeg", "/res/ffmpeg", "/exe/bin/ffmpeg", "/exe/ffmpeg",
                         "/opt/homebrew/bin/ffmpeg", "/usr/local/bin/ffmpeg"}));
}

TEST(MediaToolLocator, asksOncePerPathWhenBothFoldersAreTheSame) {
    int asked = 0;
    const auto count = [&](const std::filesystem::path&) {
        ++asked;
        return false;
    };
    EXPECT_EQ(MediaToolLocator::resolve("ffmpeg", "/same", "/same", {}, count), std::nullopt);
    EXPECT_EQ(asked, 2);
}

TEST(MediaToolLocator, doesWithoutFoldersThatAreNotThere) {
    EXPECT_EQ(MediaToolLocator::resolve("fpcalc", std::nullopt, std::nullopt,
                                        {"/usr/local/bin/fpcalc"}, only({"/usr/local/bin/fpcalc"})),
              "/usr/local/bin/fpcalc");
    EXPECT_EQ(MediaToolLocator::resolve("fpcalc", std::nullopt, "/exe", {}, only({"/exe/fpcalc"})),
              "/exe/fpcalc");
}

} // namespace
} // namespace ostra
