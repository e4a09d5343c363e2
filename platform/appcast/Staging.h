// A private folder beside a bundle, on its file system, in which an update is made ready. It is
// removed together with the object unless it is kept, and it is locked as long as the object lives:
// what a process that was killed left behind is known by the missing lock and can be cleared away.
// Any thread, one at a time; throws nothing.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <sys/types.h>
#include <unistd.h>

#include <expected>
#include <filesystem>

namespace platform::appcast {

class Staging {
  public:
    // An errno value when the folder of the bundle takes no new folder.
    [[nodiscard]] static std::expected<Staging, int> beside(const std::filesystem::path& bundle);
    Staging(Staging&& other) noexcept;
    Staging& operator=(Staging&& other) = delete;
    ~Staging();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] int descriptor() const { return folder_.get(); }
    // Whether it stays until removeLeftovers() finds it without its lock.
    void keep(bool keeps) { keeps_ = keeps; }

  private:
    Staging(std::filesystem::path path, posix::UniqueFd folder);

    std::filesystem::path path_; // empty once moved from
    posix::UniqueFd folder_;
    bool keeps_ = false;
};

// Removes the staging folders of this bundle that nobody holds any more. One that is not `owner`'s
// is not ours, whatever its name; and none is touched while there is no bundle, which then is in
// one of them.
void removeLeftovers(const std::filesystem::path& bundle, uid_t owner = ::geteuid());

// A new file without a name in that folder, which goes with its descriptor; or an errno value.
[[nodiscard]] std::expected<posix::UniqueFd, int>
makeNamelessFile(const std::filesystem::path& folder);

} // namespace platform::appcast
