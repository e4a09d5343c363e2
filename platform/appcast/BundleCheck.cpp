#include "platform/appcast/BundleCheck.h"

#include <elf.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <optional>
#include <system_error>
#include <vector>

namespace platform::appcast {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostSystemLinks = 100;

std::vector<fs::path> contentOf(const fs::path& folder) {
    std::vector<fs::path> found;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        found.push_back(entry->path());
    }
    return found;
}

bool isRealFolder(const fs::path& path) {
    std::error_code failed;
    return fs::symlink_status(path, failed).type() == fs::file_type::directory;
}

bool isProgram(const fs::path& path) {
    std::error_code failed;
    const auto status = fs::symlink_status(path, failed);
    return status.type() == fs::file_type::regular &&
           (status.permissions() & fs::perms::owner_exec) != fs::perms::none;
}

// Class, byte order and machine of an ELF program (System V ABI); nothing for a script.
std::optional<std::array<char, 4>> processorOf(const fs::path& program) {
    std::array<char, sizeof(Elf64_Ehdr)> header{};
    std::ifstream file(program, std::ios::binary);
    if (!file.read(header.data(), EI_NIDENT + 4) ||
        std::memcmp(header.data(), ELFMAG, SELFMAG) != 0) {
        return std::nullopt;
    }
    constexpr std::size_t machine = EI_NIDENT + 2;
    return std::array<char, 4>{header[EI_CLASS], header[EI_DATA], header[machine],
                               header[machine + 1]};
}

std::unexpected<std::string> refused(const char* reason) {
    return std::unexpected(std::string("the archive ") + reason);
}

} // namespace

std::expected<fs::path, std::string>
findBundle(const fs::path& folder, const ExpectedBundle& expected, const ReadInfo& readInfo) {
    const auto content = contentOf(folder);
    if (content.size() != 1 || content.front().extension() != ".app" ||
        !isRealFolder(content.front())) {
        return refused("does not hold exactly one application");
    }
    const auto& bundle = content.front();
    const auto info = readInfo(bundle);
    if (infoString(info, "CFBundleIdentifier") != expected.identifier) {
        return refused("holds another application");
    }
    if (infoString(info, "CFBundleVersion") != expected.version) {
        return refused("holds another version than announced");
    }
    const fs::path program = infoString(info, "CFBundleExecutable").value_or("");
    if (program.empty() || program != program.filename() ||
        !isProgram(bundle / "Contents/MacOS" / program)) {
        return refused("holds an application without its program");
    }
    const auto processor = processorOf(bundle / "Contents/MacOS" / program);
    if (processor && processor != processorOf(expected.runningProgram)) {
        return refused("is made for another kind of processor");
    }
    return bundle;
}

void carryOverSystemLinks(const fs::path& installed, const fs::path& fresh) {
    std::size_t made = 0;
    std::error_code failed;
    for (fs::recursive_directory_iterator entry(installed, failed), end;
         !failed && entry != end && made < mostSystemLinks; entry.increment(failed)) {
        std::error_code ignored;
        if (!entry->is_symlink(ignored)) {
            continue;
        }
        const auto target = fs::read_symlink(entry->path(), ignored);
        if (!target.is_absolute()) {
            continue;
        }
        const auto place = fresh / entry->path().lexically_relative(installed);
        // Every folder on the way is checked: a link of the new bundle is not followed.
        bool reachable = isRealFolder(fresh);
        fs::path walked = fresh;
        for (const auto& name : place.parent_path().lexically_relative(fresh)) {
            walked /= name;
            reachable =
                reachable && (fs::create_directory(walked, ignored) || isRealFolder(walked));
        }
        if (reachable && fs::symlink_status(place, ignored).type() == fs::file_type::not_found) {
            fs::create_symlink(target, place, ignored);
            ++made;
        }
    }
}

} // namespace platform::appcast
