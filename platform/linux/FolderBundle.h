// The bundle found from the running executable: Name.app/Contents/MacOS/executable. The Info
// dictionary is Contents/Info.plist (InfoFile.h); one that is too large, damaged or no dictionary
// counts as empty, which is logged. Immutable after construction; any thread.
#pragma once

#include "platform/Bundle.h"
#include "platform/Log.h"

namespace platform {

// The file this process runs, symbolic links resolved by the kernel; the path it had at the start
// when it was replaced or removed meanwhile. Empty when /proc is not there.
[[nodiscard]] std::filesystem::path runningExecutable();

// The Info dictionary of the bundle folder, read as above; empty when there is none.
[[nodiscard]] InfoDictionary readInfoDictionary(const std::filesystem::path& bundle, Log& log);

class FolderBundle final : public Bundle {
  public:
    // The log is used during construction only.
    FolderBundle(std::filesystem::path executable, Log& log);

    [[nodiscard]] std::optional<std::filesystem::path> bundlePath() const override;
    [[nodiscard]] std::optional<std::filesystem::path> resourcesPath() const override;
    [[nodiscard]] std::filesystem::path executablePath() const override;
    // A regular file (after symbolic links) beside the executable. Whether it may be executed is
    // found out by starting it, which gives a better message than its absence would.
    [[nodiscard]] std::optional<std::filesystem::path>
    auxiliaryExecutable(std::string_view name) const override;
    [[nodiscard]] std::optional<std::string> infoString(std::string_view key) const override;
    [[nodiscard]] InfoDictionary infoDictionary() const override { return info_; }
    [[nodiscard]] std::optional<std::string> resource(std::string_view name,
                                                      std::string_view extension) const override;

  private:
    std::filesystem::path executable_;
    std::optional<std::filesystem::path> bundle_;
    InfoDictionary info_;
};

} // namespace platform
