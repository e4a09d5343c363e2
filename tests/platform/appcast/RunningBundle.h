// The bundle folder of a test as the running application, and an update delegate that writes down
// what it is asked.
#pragma once

#include "platform/Bundle.h"
#include "platform/UpdateFramework.h"
#include "tests/support/updates/TestBundle.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class RunningBundle final : public platform::Bundle {
  public:
    explicit RunningBundle(std::filesystem::path folder)
        : folder_(std::move(folder)) {}

    [[nodiscard]] std::optional<std::filesystem::path> bundlePath() const override {
        return folder_.empty() ? std::nullopt : std::optional(folder_);
    }
    [[nodiscard]] std::optional<std::filesystem::path> resourcesPath() const override { return {}; }
    [[nodiscard]] std::filesystem::path executablePath() const override {
        return folder_ / "Contents/MacOS/Example";
    }
    [[nodiscard]] std::optional<std::filesystem::path>
    auxiliaryExecutable(std::string_view /*name*/) const override {
        return {};
    }
    [[nodiscard]] std::optional<std::string>
    resource(std::string_view /*name*/, std::string_view /*extension*/) const override {
        return {};
    }
    [[nodiscard]] std::optional<std::string> infoString(std::string_view key) const override {
        const auto values = infoDictionary();
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : found->second;
    }
    [[nodiscard]] platform::InfoDictionary infoDictionary() const override {
        return test_support::readTestInfo(folder_);
    }

  private:
    std::filesystem::path folder_;
};

class RecordingDelegate final : public platform::UpdateDelegate {
  public:
    [[nodiscard]] bool supportsGentleScheduledUpdateReminders() const override { return isGentle; }
    [[nodiscard]] bool shouldHandleShowingScheduledUpdate(bool inImmediateFocus) override {
        asked.push_back(inImmediateFocus);
        return agrees;
    }
    void willHandleShowingUpdate(bool handledByFramework) override {
        told.push_back(handledByFramework);
    }

    bool isGentle = true;
    bool agrees = true;
    std::vector<bool> asked;
    std::vector<bool> told;
};
