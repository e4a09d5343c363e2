#include "ostrad/Options.h"

#include <fmt/format.h>

#include <array>
#include <charconv>

namespace ostrad {

namespace {

struct ValueFlag {
    std::string_view name;
    std::string Options::* field;
};

constexpr std::array<ValueFlag, 5> kPathFlags{{
    {"db", &Options::databasePath},
    {"plugins", &Options::pluginsPath},
    {"ffmpeg", &Options::ffmpegPath},
    {"ffprobe", &Options::ffprobePath},
    {"fpcalc", &Options::fpcalcPath},
}};

struct Flag {
    std::string_view name;
    std::string_view value;
    bool hasValue = false;
};

Flag splitFlag(std::string_view argument) {
    argument.remove_prefix(argument.starts_with("--") ? 2 : 1);
    const std::size_t equals = argument.find('=');
    if (equals == std::string_view::npos) {
        return {argument, {}, false};
    }
    return {argument.substr(0, equals), argument.substr(equals + 1), true};
}

std::expected<void, std::string> store(Options& options, const Flag& flag) {
    if (flag.value.empty()) {
        return std::unexpected(fmt::format("flag -{} needs a value", flag.name));
    }
    if (flag.name == "addr") {
        auto address = parseListenAddress(flag.value);
        if (!address) {
            return std::unexpected(std::move(address.error()));
        }
        options.address = std::move(*address);
        return {};
    }
    for (const ValueFlag& known : kPathFlags) {
        if (known.name == flag.name) {
            options.*known.field = flag.value;
        }
    }
    return {};
}

bool takesValue(std::string_view name) {
    if (name == "addr") {
        return true;
    }
    for (const ValueFlag& known : kPathFlags) {
        if (known.name == name) {
            return true;
        }
    }
    return false;
}

} // namespace

std::expected<ListenAddress, std::string> parseListenAddress(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return std::unexpected(fmt::format("-addr \"{}\" is not of the form HOST:PORT", text));
    }
    const std::string_view host = text.substr(0, colon);
    const std::string_view portText = text.substr(colon + 1);

    ListenAddress address;
    const char* const end = portText.data() + portText.size();
    const auto [stoppedAt, error] = std::from_chars(portText.data(), end, address.port);
    if (portText.empty() || error != std::errc{} || stoppedAt != end) {
        return std::unexpected(
            fmt::format("-addr \"{}\" has no port number between 0 and 65535", text));
    }
    if (host == "127.0.0.1" || host == "localhost") {
        address.host = "127.0.0.1";
    } else if (host == "[::1]") {
        address.host = "::1";
    } else {
        return std::unexpected(fmt::format(
            "-addr host \"{}\" is refused: only 127.0.0.1, [::1] and localhost are served", host));
    }
    return address;
}

std::expected<Options, std::string> parseOptions(std::span<const std::string_view> arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (argument.size() < 2 || argument[0] != '-') {
            return std::unexpected(fmt::format("unexpected argument \"{}\"", argument));
        }
        Flag flag = splitFlag(argument);
        if (!flag.hasValue && flag.name == "version") {
            options.action = Options::Action::printVersion;
            return options;
        }
        if (!flag.hasValue && (flag.name == "help" || flag.name == "h")) {
            options.action = Options::Action::printHelp;
            return options;
        }
        if (!takesValue(flag.name)) {
            return std::unexpected(fmt::format("unknown flag \"{}\"", argument));
        }
        if (!flag.hasValue) {
            if (i + 1 == arguments.size()) {
                return std::unexpected(fmt::format("flag -{} needs a value", flag.name));
            }
            flag.value = arguments[++i];
        }
        if (auto stored = store(options, flag); !stored) {
            return std::unexpected(std::move(stored.error()));
        }
    }
    if (options.databasePath.empty()) {
        return std::unexpected("flag -db PATH is required: it names the database file");
    }
    return options;
}

std::string_view helpText() {
    return R"(usage: ostrad -db PATH [flags]

A small media server for this computer only.

  -addr HOST:PORT   address to listen on; HOST is 127.0.0.1, [::1] or localhost,
                    port 0 takes a free one (default 127.0.0.1:4280)
  -db PATH          database file, created when missing
  -ffprobe PATH     reads durations and tags of media files with this ffprobe
  -ffmpeg PATH      draws cover art and converts what a browser cannot play
  -plugins DIR      asks the executables in DIR for titles and summaries
  -fpcalc PATH      knows moved and retagged files again with this fpcalc
  -version          print the version and exit
  -help             print this text and exit

environment
  MEDIASERVER_HEALTH_NONCE   repeated by GET /api/health
  MEDIASERVER_ARTWORK_DIR    folder for cover art, created when missing
)";
}

} // namespace ostrad
