// A web application as a JSON object: a member for each field of tessel::WebAppConfig, by the
// field's name, and no other. The names of the page's globals and of the bridge go into scripts as
// they are, and have to be JavaScript identifiers of ASCII letters, digits, _ and $.
#pragma once

#include "mac/Tessel/WebApp/WebAppConfig.h"

#include <expected>
#include <string>
#include <string_view>

namespace tool {

// Or what is wrong with it, naming the field, as a sentence without a full stop.
[[nodiscard]] std::expected<tessel::WebAppConfig, std::string>
readWebApp(std::string_view document);

// Of a file, or of standard input for "-". The failure names the file too.
[[nodiscard]] std::expected<tessel::WebAppConfig, std::string>
readWebAppFile(const std::string& file);

} // namespace tool
