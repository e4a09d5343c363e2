#include "platform/linux/WebsiteFolders.h"

#include "platform/ErrnoText.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <utility>

namespace platform::desktop {

WebsiteFolders::WebsiteFolders(std::filesystem::path data, std::filesystem::path cache,
                               FileSystem& files, Log& log)
    : data_(std::move(data))
    , cache_(std::move(cache))
    , files_(files)
    , log_(log) {}

WebsiteFolders::Places WebsiteFolders::make() {
    if (!makeFolder(data_) || !makeFolder(cache_)) {
        return {};
    }
    const std::filesystem::path cookies = data_ / "cookies.sqlite";
    // Made here, since the web engine would make it readable to others.
    const posix::UniqueFd made(
        ::open(cookies.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!made) {
        log_.write(fmt::format("cookies are not kept: cannot open {}: {}", cookies.string(),
                               errnoText(errno)));
    }
    return {.data = data_, .cache = cache_, .cookies = made ? cookies.string() : std::string()};
}

bool WebsiteFolders::makeFolder(const std::filesystem::path& folder) {
    const auto made = files_.createFolders(folder, 0700);
    if (!made) {
        log_.write(fmt::format("website data is not kept: {}", made.error().description()));
    }
    return made.has_value();
}

} // namespace platform::desktop
