#include "platform/linux/AutostartEntry.h"

#include "platform/linux/ExecLine.h"
#include "platform/linux/KeyFile.h"

#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

namespace platform {
namespace {

KeyFile parseEntry(const std::string& content) {
    KeyFile file = parseKeyFile(content);
    return file && ::g_key_file_has_group(file.get(), desktopEntryGroup) != FALSE ? std::move(file)
                                                                                  : nullptr;
}

std::optional<std::string> text(GKeyFile* file, const char* key) {
    char* const value = ::g_key_file_get_string(file, desktopEntryGroup, key, nullptr);
    return value == nullptr ? std::nullopt : std::optional(takeText(value));
}

// What is neither true nor false counts as absent.
std::optional<bool> boolean(GKeyFile* file, const char* key) {
    GError* error = nullptr;
    const bool value = ::g_key_file_get_boolean(file, desktopEntryGroup, key, &error) != FALSE;
    if (error != nullptr) {
        ::g_error_free(error);
        return std::nullopt;
    }
    return value;
}

std::optional<std::vector<std::string>> list(GKeyFile* file, const char* key) {
    char** const values =
        ::g_key_file_get_string_list(file, desktopEntryGroup, key, nullptr, nullptr);
    if (values == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> result;
    for (char** value = values; *value != nullptr; ++value) {
        result.emplace_back(*value);
    }
    ::g_strfreev(values);
    return result;
}

std::vector<std::string> split(const std::string& joined) {
    std::vector<std::string> parts;
    std::istringstream input(joined);
    for (std::string part; std::getline(input, part, ':');) {
        parts.push_back(part);
    }
    return parts;
}

bool isForDesktop(GKeyFile* file, const std::vector<std::string>& desktops) {
    const auto names = [&](const std::vector<std::string>& wanted) {
        return std::ranges::any_of(desktops, [&](const std::string& desktop) {
            return std::ranges::find(wanted, desktop) != wanted.end();
        });
    };
    const auto only = list(file, "OnlyShowIn");
    const auto never = list(file, "NotShowIn");
    return (!only || names(*only)) && (!never || !names(*never));
}

bool isProgram(const std::filesystem::path& path) {
    std::error_code failed;
    return std::filesystem::is_regular_file(path, failed) && ::access(path.c_str(), X_OK) == 0;
}

std::optional<std::filesystem::path> findProgram(const std::string& name,
                                                 const Environment& session) {
    if (name.find('/') != std::string::npos) {
        return name.starts_with('/') && isProgram(name) ? std::optional(name) : std::nullopt;
    }
    for (const std::string& folder : split(valueOf(session, "PATH"))) {
        const auto path = std::filesystem::path(folder) / name;
        if (folder.starts_with('/') && isProgram(path)) {
            return path;
        }
    }
    return std::nullopt;
}

bool isSwitchedOff(GKeyFile* file, const Environment& session) {
    return boolean(file, "Hidden").value_or(false) ||
           !boolean(file, "X-GNOME-Autostart-enabled").value_or(true) ||
           !isForDesktop(file, split(valueOf(session, "XDG_CURRENT_DESKTOP")));
}

std::string write(GKeyFile* file) {
    return takeText(::g_key_file_to_data(file, nullptr, nullptr));
}

void set(GKeyFile* file, const char* key, const std::string& value) {
    ::g_key_file_set_string(file, desktopEntryGroup, key, value.c_str());
}

} // namespace

AutostartVerdict judgeAutostart(const std::string& content, const std::filesystem::path& executable,
                                const Environment& session) {
    const auto file = parseEntry(content);
    if (!file) {
        return AutostartVerdict::broken;
    }
    if (isSwitchedOff(file.get(), session)) {
        return AutostartVerdict::switchedOff;
    }
    const auto command = argumentsOfExec(text(file.get(), "Exec").value_or(""));
    const auto tried = text(file.get(), "TryExec");
    if (text(file.get(), "Type") != "Application" || !command ||
        (tried && !findProgram(*tried, session))) {
        return AutostartVerdict::broken;
    }
    const auto program = findProgram(command->front(), session);
    if (!program) {
        return AutostartVerdict::broken;
    }
    std::error_code failed;
    return std::filesystem::equivalent(*program, executable, failed) ? AutostartVerdict::starts
                                                                     : AutostartVerdict::another;
}

std::string autostartEntry(const AutostartFields& fields) {
    const KeyFile file(::g_key_file_new());
    set(file.get(), "Type", "Application");
    set(file.get(), "Name", fields.name);
    set(file.get(), "Exec", quotedForExec(fields.executable.native()));
    set(file.get(), "Icon", fields.icon);
    set(file.get(), "Terminal", "false");
    set(file.get(), "X-GNOME-Autostart-enabled", "true");
    return write(file.get());
}

std::string hidingAutostartEntry(std::string_view name) {
    const KeyFile file(::g_key_file_new());
    set(file.get(), "Type", "Application");
    set(file.get(), "Name", std::string(name));
    set(file.get(), "Hidden", "true");
    return write(file.get());
}

} // namespace platform
