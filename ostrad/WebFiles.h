#pragma once

#include <span>
#include <string_view>

namespace ostrad {

// The files of the web interface, built into the executable from the folder ostrad/web. The bytes
// live as long as the program.

struct WebFile {
    std::string_view name; // "index.html"
    std::span<const unsigned char> bytes;
};

std::span<const WebFile> webFiles();

} // namespace ostrad
