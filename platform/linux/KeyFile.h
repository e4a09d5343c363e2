// GLib's key files, the form of freedesktop.org's desktop entries, and what it hands out of them.
#pragma once

#include <glib.h>

#include <memory>
#include <string>

namespace platform {

struct KeyFileFree {
    void operator()(GKeyFile* file) const { ::g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileFree>;

inline constexpr const char* desktopEntryGroup = "Desktop Entry";

// With its comments and translations, so that it can be written again. Nothing for an empty text,
// and for what is no key file.
[[nodiscard]] inline KeyFile parseKeyFile(const std::string& content) {
    // NOLINTBEGIN(clang-analyzer-optin.core.EnumCastOutOfRange): a C enumeration of flags
    constexpr auto keepAll =
        static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
    // NOLINTEND(clang-analyzer-optin.core.EnumCastOutOfRange)
    KeyFile file(::g_key_file_new());
    const bool isText = !content.empty() && content.find('\0') == std::string::npos;
    if (!isText || ::g_key_file_load_from_data(file.get(), content.data(), content.size(), keepAll,
                                               nullptr) == FALSE) {
        return nullptr;
    }
    return file;
}

// The text, which is freed; nothing is an empty one.
[[nodiscard]] inline std::string takeText(char* text) {
    const std::unique_ptr<char, decltype(&::g_free)> owner(text, &::g_free);
    return text == nullptr ? std::string() : std::string(text);
}

} // namespace platform
