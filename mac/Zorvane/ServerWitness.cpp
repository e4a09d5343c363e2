#include "mac/Zorvane/ServerWitness.h"

#include <algorithm>
#include <utility>

namespace zorvane {

void LaunchRecord::addOutput(std::string_view piece) {
    const std::lock_guard lock(mutex_);
    output_ += piece.substr(0, std::min(piece.size(), mostOutput - output_.size()));
}

std::string LaunchRecord::output() const {
    const std::lock_guard lock(mutex_);
    return output_;
}

void LaunchRecord::setExit(platform::ExitStatus status) {
    std::shared_ptr<platform::ChildProcess> released; // after the lock
    const std::lock_guard lock(mutex_);
    exit_ = status;
    released = std::move(child_);
}

void LaunchRecord::keep(std::shared_ptr<platform::ChildProcess> child) {
    const std::lock_guard lock(mutex_);
    if (!exit_) {
        child_ = std::move(child);
    }
}

std::optional<platform::ExitStatus> LaunchRecord::exit() const {
    const std::lock_guard lock(mutex_);
    return exit_;
}

std::expected<std::shared_ptr<platform::ChildProcess>, platform::LaunchError>
WitnessedLauncher::launch(platform::ChildOptions options) {
    const auto record = std::make_shared<LaunchRecord>();
    record->options.executable = options.executable;
    record->options.arguments = options.arguments;
    record->options.environment = options.environment;
    options.onOutput = [record, onOutput = std::move(options.onOutput)](std::string_view piece) {
        record->addOutput(piece);
        if (onOutput) {
            onOutput(piece);
        }
    };
    options.onExit = [record, onExit = std::move(options.onExit)](platform::ExitStatus status) {
        record->setExit(status);
        if (onExit) {
            onExit(status);
        }
    };
    record_ = record;
    child_.reset();
    auto child = launcher_.launch(std::move(options));
    if (child) {
        child_ = *child;
        record->keep(*child);
    }
    return child;
}

void WitnessedHttp::send(platform::HttpRequest request,
                         std::function<void(platform::HttpResult)> completion) {
    const std::string url = request.url;
    http_.send(std::move(request),
               [url, exchanges = exchanges_,
                completion = std::move(completion)](platform::HttpResult result) {
                   {
                       const std::lock_guard lock(exchanges->mutex);
                       exchanges->byUrl.insert_or_assign(url, result);
                   }
                   completion(std::move(result));
               });
}

std::optional<platform::HttpResult> WitnessedHttp::exchange(std::string_view url) const {
    const std::lock_guard lock(exchanges_->mutex);
    const auto found = exchanges_->byUrl.find(url);
    return found == exchanges_->byUrl.end() ? std::nullopt : std::optional(found->second);
}

std::vector<platform::HttpResult> WitnessedHttp::exchangesBelow(std::string_view prefix) const {
    const std::lock_guard lock(exchanges_->mutex);
    std::vector<platform::HttpResult> found;
    for (const auto& [url, result] : exchanges_->byUrl) {
        if (url.starts_with(prefix)) {
            found.push_back(result);
        }
    }
    return found;
}

void WitnessedHttp::forget() {
    const std::lock_guard lock(exchanges_->mutex);
    exchanges_->byUrl.clear();
}

std::int64_t PassingDefaults::integer(std::string_view key) const {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    return found == values_.end() ? 0 : found->second;
}

void PassingDefaults::setInteger(std::string_view key, std::int64_t value) {
    const std::lock_guard lock(mutex_);
    values_.insert_or_assign(std::string(key), value);
}

void PassingDefaults::remove(std::string_view key) {
    const std::lock_guard lock(mutex_);
    values_.erase(std::string(key));
}

bool RelocatedFiles::fileExists(const std::filesystem::path& path) const {
    return files_.fileExists(path);
}

std::expected<std::vector<std::string>, platform::FileError>
RelocatedFiles::fileNames(const std::filesystem::path& folder) const {
    return files_.fileNames(folder);
}

std::expected<std::filesystem::path, platform::FileError>
RelocatedFiles::applicationSupportFolder(bool /*create*/) {
    return support_;
}

std::filesystem::path RelocatedFiles::currentFolder() const {
    return files_.currentFolder();
}

std::expected<void, platform::FileError>
RelocatedFiles::createFolders(const std::filesystem::path& folder, mode_t mode) {
    return files_.createFolders(folder, mode);
}

std::expected<void, platform::FileError>
RelocatedFiles::createFolders(const std::filesystem::path& folder) {
    return files_.createFolders(folder);
}

std::expected<void, platform::FileError>
RelocatedFiles::setPermissions(const std::filesystem::path& path, mode_t mode) {
    return files_.setPermissions(path, mode);
}

mode_t RelocatedFiles::exchangeFileCreationMask(mode_t mask) {
    return files_.exchangeFileCreationMask(mask);
}

} // namespace zorvane
