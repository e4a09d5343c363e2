// LoginService by the autostart rules of freedesktop.org: the entry ID.desktop in the
// user's autostart folder, or, when the user has none, the first one of the system's folders.
//
//   the entry that counts                          status
//   starts this executable here                    enabled
//   is the user's and switched off                 requiresApproval, also when it is another copy's
//   is the system's and switched off, or none      notRegistered
//   starts another copy                            notRegistered
//   is damaged, or its program is gone             notFound
//
// Registering writes the user's own entry, atomically; unregistering removes it, or, where one of
// the system's would then count and start something, hides that. Main thread only.
#pragma once

#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/LoginService.h"
#include "platform/linux/AutostartEntry.h"
#include "platform/linux/XdgFolders.h"

#include <filesystem>
#include <optional>
#include <string>

namespace platform {

class AutostartLoginService final : public LoginService {
  public:
    struct Options {
        std::string applicationId; // also the icon's name
        std::string name;          // what the desktop's settings show
        std::filesystem::path executable;
    };

    // The environment is the session's own. `files` outlives this object.
    AutostartLoginService(Options options, const XdgFolders& folders, Environment environment,
                          FileSystem& files);

    [[nodiscard]] LoginServiceStatus status() const override;
    [[nodiscard]] std::expected<void, std::string>
    registerApplication(RegistrationReason reason) override;
    [[nodiscard]] std::expected<void, std::string> unregisterApplication() override;

  private:
    [[nodiscard]] std::optional<AutostartVerdict> verdict(const std::filesystem::path& entry) const;
    [[nodiscard]] std::optional<AutostartVerdict> systemVerdict() const;
    [[nodiscard]] std::expected<void, std::string> write(const std::string& content);

    const Options options_;
    const Environment environment_;
    const std::filesystem::path userEntry_;
    std::vector<std::filesystem::path> systemEntries_;
    FileSystem& files_;
};

} // namespace platform
