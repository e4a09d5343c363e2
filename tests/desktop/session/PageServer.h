// A server of two pages in one colour each, which the application can be given in place of ostrad.
// The first, red, is one large link to the second, green; every page that was asked for is written
// down.
#pragma once

#include "tests/desktop/session/Screenshot.h"

#include <filesystem>
#include <string>

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

  private:
    std::filesystem::path program_;
};

} // namespace desktop
