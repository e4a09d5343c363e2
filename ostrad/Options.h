#pragma once

#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>

namespace ostrad {

// The command line of the server: single-dash flags, each given as "-flag value" or "-flag=value".
// Parsing is pure and touches neither files nor sockets; what is wrong comes back as one sentence
// for standard error. A flag given twice takes its last value.

struct ListenAddress {
    std::string host; // an address literal: "127.0.0.1" or "::1"
    std::uint16_t port = 0;

    bool operator==(const ListenAddress&) const = default;
};

struct Options {
    enum class Action { serve, printVersion, printHelp };

    Action action = Action::serve;
    ListenAddress address{.host = "127.0.0.1", .port = 4280};
    std::string databasePath;
    std::string pluginsPath;
    std::string ffmpegPath;
    std::string ffprobePath;
    std::string fpcalcPath;
};

std::expected<Options, std::string> parseOptions(std::span<const std::string_view> arguments);

// "127.0.0.1:80", "localhost:80" or "[::1]:80". Every other host is refused: this server answers
// on the loopback interface only.
std::expected<ListenAddress, std::string> parseListenAddress(std::string_view text);

std::string_view helpText();

} // namespace ostrad
