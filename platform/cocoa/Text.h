// Text and paths on their way between C++ and Foundation. C++ text is UTF-8; bytes that are not
// are taken as ISO Latin 1, so that no text is lost. Any thread.
#pragma once

#include "platform/cocoa/RequireArc.h"

#import <Foundation/Foundation.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace platform::cocoa {

[[nodiscard]] NSString* toFoundation(std::string_view text);

// Up to the first NUL; nothing for nil and for what Unicode cannot say (a lone surrogate).
[[nodiscard]] std::optional<std::string> fromFoundation(NSString* text);

// The path of a file URL; nothing for nil.
[[nodiscard]] std::optional<std::filesystem::path> pathOf(NSURL* url);

} // namespace platform::cocoa
