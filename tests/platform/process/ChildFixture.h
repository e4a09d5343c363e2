// What tests of launched children share: a launcher, a recorder for what a child says and how it
// ends, and the options for zorvane-testchild.
#pragma once

#include "platform/posix/PosixChildLauncher.h"
#include "tests/support/processes/ProcessTable.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/testchild/TestChild.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace process_test {

// Collects what arrives on the launcher's thread. Outlives every callback that was made from it.
class Recorder {
  public:
    [[nodiscard]] std::function<void(std::string_view)> onOutput() const {
        return [shared = shared_](std::string_view bytes) {
            const std::lock_guard lock(shared->mutex);
            shared->output += bytes;
            shared->outputAfterExit |= shared->status.has_value();
            shared->changed.notify_all();
        };
    }
    [[nodiscard]] std::function<void(platform::ExitStatus)> onExit() const {
        return [shared = shared_](platform::ExitStatus status) {
            const std::lock_guard lock(shared->mutex);
            shared->status = status;
            ++shared->exits;
            shared->changed.notify_all();
        };
    }

    // True once the output holds the text.
    [[nodiscard]] bool says(std::string_view text) const {
        std::unique_lock lock(shared_->mutex);
        return shared_->changed.wait_for(
            lock, patience, [&] { return shared_->output.find(text) != std::string::npos; });
    }
    // The number after the word, once the line is complete.
    [[nodiscard]] pid_t numberAfter(const std::string& word) const {
        std::unique_lock lock(shared_->mutex);
        const auto line = [&] {
            const auto start = shared_->output.find(word + ' ');
            const bool whole = start != std::string::npos &&
                               shared_->output.find('\n', start) != std::string::npos;
            return whole ? shared_->output.substr(start + word.size() + 1) : std::string();
        };
        if (!shared_->changed.wait_for(lock, patience, [&] { return !line().empty(); })) {
            throw std::runtime_error("the child never said " + word);
        }
        return std::stoi(line());
    }
    [[nodiscard]] std::optional<platform::ExitStatus> exit() const {
        std::unique_lock lock(shared_->mutex);
        shared_->changed.wait_for(lock, patience, [&] { return shared_->status.has_value(); });
        return shared_->status;
    }
    [[nodiscard]] std::string output() const {
        const std::lock_guard lock(shared_->mutex);
        return shared_->output;
    }
    [[nodiscard]] int exits() const {
        const std::lock_guard lock(shared_->mutex);
        return shared_->exits;
    }
    [[nodiscard]] bool hadOutputAfterExit() const {
        const std::lock_guard lock(shared_->mutex);
        return shared_->outputAfterExit;
    }

  private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::string output;
        std::optional<platform::ExitStatus> status;
        int exits = 0;
        bool outputAfterExit = false;
    };
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

inline platform::ChildOptions testChild(std::vector<std::string> cues) {
    return {.executable = testchild::path(), .arguments = std::move(cues)};
}

inline platform::ChildOptions testChild(std::vector<std::string> cues, const Recorder& recorder) {
    auto options = testChild(std::move(cues));
    options.onOutput = recorder.onOutput();
    options.onExit = recorder.onExit();
    return options;
}

constexpr platform::ExitStatus exitedWith(int code) {
    return {.signalled = false, .code = code};
}

constexpr platform::ExitStatus killedBy(int signal) {
    return {.signalled = true, .code = signal};
}

inline std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class ChildTest : public testing::Test {
  protected:
    // Throws, and so fails the test, when the launch does.
    std::shared_ptr<platform::ChildProcess> launch(platform::ChildOptions options) {
        auto child = launcher->launch(std::move(options));
        if (!child) {
            throw std::runtime_error(child.error().description());
        }
        return *child;
    }

    // Launches, waits for the end and returns the output.
    std::string outputOf(platform::ChildOptions options) {
        options.onOutput = recorder.onOutput();
        options.onExit = recorder.onExit();
        const auto child = launch(std::move(options));
        EXPECT_TRUE(recorder.exit().has_value());
        return recorder.output();
    }

    // A path that is free until the test makes something of it.
    std::filesystem::path temporaryPath() {
        return folder.path() / ("file" + std::to_string(++temporaryPaths));
    }

    test_support::TemporaryFolder folder;
    int temporaryPaths = 0;
    Recorder recorder;
    std::unique_ptr<platform::PosixChildLauncher> launcher =
        std::make_unique<platform::PosixChildLauncher>(ZORVANE_GUARDIAN_PATH);
};

} // namespace process_test
