// The words a health report is made of. Each enumeration is written in JSON as its raw value and
// can be read from it; a text that is no raw value yields nothing. Constants and pure functions;
// any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tessel {

// The words of a report. In JSON each is its raw value.
enum class AppHealthStatus : std::uint8_t { pass, warning, fail, skip };
enum class AppHealthCategory : std::uint8_t { unit, smoke, reliability, eval };
enum class AppHealthChannel : std::uint8_t { release, beta, dev };
enum class AppHealthArtifact : std::uint8_t { staticWeb, worker, goServer, macApp };
enum class AppHealthTrigger : std::uint8_t {
    releaseVerification,
    versionLaunch,
    periodic,
    manual,
    postbuild,
    bootBeacon,
};

// The raw values in the order of declaration.
template <class Enumeration>
inline constexpr std::array<std::string_view, 0> appHealthRawValues{};
template <>
inline constexpr std::array<std::string_view, 4> appHealthRawValues<AppHealthStatus>{
    "pass", "warning", "fail", "skip"};
template <>
inline constexpr std::array<std::string_view, 4> appHealthRawValues<AppHealthCategory>{
    "unit", "smoke", "reliability", "eval"};
template <>
inline constexpr std::array<std::string_view, 3> appHealthRawValues<AppHealthChannel>{
    "release", "beta", "dev"};
template <>
inline constexpr std::array<std::string_view, 4> appHealthRawValues<AppHealthArtifact>{
    "static-web", "worker", "go-server", "mac-app"};
template <>
inline constexpr std::array<std::string_view, 6> appHealthRawValues<AppHealthTrigger>{
    "releaseVerification", "versionLaunch", "periodic", "manual", "postbuild", "bootBeacon"};

template <class Enumeration>
concept AppHealthEnumeration = !appHealthRawValues<Enumeration>.empty();

// As JSON has it.
template <AppHealthEnumeration Enumeration>
[[nodiscard]] constexpr std::string_view rawValue(Enumeration value) {
    return appHealthRawValues<Enumeration>[static_cast<std::size_t>(value)];
}

// Absent when no case has that raw value.
template <AppHealthEnumeration Enumeration>
[[nodiscard]] constexpr std::optional<Enumeration> fromRawValue(std::string_view text) {
    for (std::size_t index = 0; index < appHealthRawValues<Enumeration>.size(); ++index) {
        if (appHealthRawValues<Enumeration>[index] == text) {
            return static_cast<Enumeration>(index);
        }
    }
    return std::nullopt;
}

// Every case, in the order of declaration.
template <AppHealthEnumeration Enumeration>
[[nodiscard]] constexpr auto allCases() {
    std::array<Enumeration, appHealthRawValues<Enumeration>.size()> cases{};
    for (std::size_t index = 0; index < cases.size(); ++index) {
        cases[index] = static_cast<Enumeration>(index);
    }
    return cases;
}

} // namespace tessel
