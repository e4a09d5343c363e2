#include "tools/tessel/FileContent.h"

#include "platform/ErrnoText.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

namespace tool {

std::expected<std::string, std::string> contentOf(const std::string& file, std::size_t most) {
    const auto close = [](std::FILE* open) { std::fclose(open); };
    std::unique_ptr<std::FILE, decltype(close)> opened;
    if (file != "-") {
        opened.reset(std::fopen(file.c_str(), "rbe"));
    }
    std::FILE* const input = file == "-" ? stdin : opened.get();
    std::string content;
    std::array<char, 4096> chunk{};
    while (input != nullptr && std::feof(input) == 0 && std::ferror(input) == 0) {
        content.append(chunk.data(), std::fread(chunk.data(), 1, chunk.size(), input));
        if (content.size() > most) {
            return std::unexpected(
                fmt::format("cannot read {}: it has more than {} bytes", file, most));
        }
    }
    if (input == nullptr || std::ferror(input) != 0) {
        return std::unexpected(fmt::format("cannot read {}: {}", file, platform::errnoText(errno)));
    }
    return content;
}

} // namespace tool
