// A server of two pages in one colour each, which the application can be given in place of ostrad.
// The first, red, is one large link to the second, green; every page that was asked for is written
// down. It is a witness of its own end.
#pragma once

#include "tests/desktop/session/Screenshot.h"

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace desktop {

constexpr Colour firstPage{.red = 0xc0, .green = 0, .blue = 0};
constexpr Colour secondPage{.red = 0, .green = 0x80, .blue = 0};

class PageServer {
  public:
    // Writes it into the folder.
    explicit PageServer(const std::filesystem::path& folder);

    [[nodiscard]] std::string program() const { return program_.string(); }
    // The paths of the pages, one a line.
    [[nodiscard]] std::string asked() const;

    // When it is told to end (SIGTERM) it writes down which of these processes are still there.
    void watch(const std::vector<pid_t>& processes) const;
    // Nothing until then.
    [[nodiscard]] std::optional<std::vector<pid_t>> seenAtItsEnd() const;

  private:
    std::filesystem::path program_;
};

} // namespace desktop
