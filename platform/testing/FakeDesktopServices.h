// The desktop's services in memory: alerts answered from a script, a pasteboard, a workspace that
// records what it was asked, a login service, folders to copy, and an update framework. Everything
// asked of them is written to the test's list of events. For tests; one thread only.
#pragma once

#include "platform/Alerts.h"
#include "platform/FolderTree.h"
#include "platform/LoginService.h"
#include "platform/Pasteboard.h"
#include "platform/UpdateFramework.h"
#include "platform/Workspace.h"
#include "platform/testing/FakeDesktop.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace platform::testing {

class FakeAlerts final : public Alerts {
  public:
    explicit FakeAlerts(Events& events)
        : events_(events) {}

    [[nodiscard]] std::size_t runModal(const Alert& alert) override;

    std::deque<std::size_t> answers; // of the next alerts; afterwards the first button
    std::vector<Alert> shown;

  private:
    Events& events_;
};

class FakePasteboard final : public Pasteboard {
  public:
    void setText(std::string_view given) override {
        text = given;
        ++writes;
    }

    std::optional<std::string> text;
    int writes = 0;
};

class FakeWorkspace final : public Workspace {
  public:
    explicit FakeWorkspace(Events& events)
        : events_(events) {}

    void openUrl(const std::string& url) override;
    void openNewInstance(const std::filesystem::path& bundle,
                         std::function<void(OpenResult)> completion) override;

    std::vector<std::string> opened;
    std::function<void(OpenResult)> openCompletion; // of the last openNewInstance

  private:
    Events& events_;
};

class FakeLoginService final : public LoginService {
  public:
    explicit FakeLoginService(Events& events)
        : events_(events) {}

    [[nodiscard]] LoginServiceStatus status() const override { return current; }
    [[nodiscard]] std::expected<void, std::string>
    registerApplication(RegistrationReason reason) override;
    [[nodiscard]] std::expected<void, std::string> unregisterApplication() override;

    LoginServiceStatus current = LoginServiceStatus::notRegistered;
    std::optional<std::string> failure; // of the next changes

  private:
    Events& events_;
};

// Folders that are only asked to be copied; nothing exists.
class FakeFolderTree final : public FolderTree {
  public:
    explicit FakeFolderTree(Events& events)
        : events_(events) {}

    [[nodiscard]] bool isWritableFolder(const std::filesystem::path& folder) const override {
        return writable.contains(folder);
    }
    [[nodiscard]] std::expected<void, FileError>
    replaceWithCopy(const std::filesystem::path& source,
                    const std::filesystem::path& destination) override;
    void clearLeftovers(const std::filesystem::path& destination) override;

    std::set<std::filesystem::path> writable;
    std::optional<FileError> failure; // of the next copies

  private:
    Events& events_;
};

class FakeUpdateFramework final : public UpdateFramework {
  public:
    explicit FakeUpdateFramework(Events& events)
        : events_(events) {}

    [[nodiscard]] std::unique_ptr<UpdateController>
    makeStandardController(UpdateDelegate& given) override;

    bool present = true;
    UpdateDelegate* delegate = nullptr;

  private:
    Events& events_;
};

} // namespace platform::testing
