#include "tools/tessel/HealthSubmit.h"

#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthReportFile.h"
#include "platform/ErrnoText.h"
#include "tools/tessel/CheckCommand.h"
#include "tools/tessel/Output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>

namespace tool::health {
namespace {

// The report in a file of its own, private as mkstemp makes it.
class ReportFile {
  public:
    explicit ReportFile(const std::string& content)
        : path_((std::filesystem::temp_directory_path() / "tessel-report-XXXXXX").string()) {
        const int file = ::mkstemp(path_.data());
        if (file < 0) {
            throw failure();
        }
        const bool isWhole =
            ::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size());
        const auto failed = failure();
        ::close(file);
        if (!isWhole) {
            ::unlink(path_.c_str());
            throw failed;
        }
    }
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;
    ~ReportFile() { ::unlink(path_.c_str()); }

    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    [[nodiscard]] std::runtime_error failure() const {
        return std::runtime_error(
            fmt::format("cannot write {}: {}", path_, platform::errnoText(errno)));
    }

    std::string path_;
};

} // namespace

tessel::AppHealthRunner::Submit Submitter::asFunction() {
    if (command_.empty()) {
        return {};
    }
    return [this](const tessel::AppHealthReport& report) {
        try {
            return submit(report);
        } catch (const std::exception& error) {
            hasFailed_ = true;
            say(fmt::format("a report was not sent: {}", error.what()));
            return false;
        }
    };
}

bool Submitter::submit(const tessel::AppHealthReport& report) {
    constexpr std::chrono::minutes patience{2};
    const std::string data = tessel::AppHealthJSON::storedData(report);
    const ReportFile file(data);
    const auto end = runShell("exec <\"$1\" || exit 1; eval \"$2\"", {file.path(), command_},
                              environment_, interrupts_, patience);
    using Reason = platform::posix::WatchedEnd::Reason;
    if (end.reason == Reason::exited && end.status.succeeded()) {
        return true;
    }
    hasFailed_ = true;
    if (end.reason != Reason::interrupted) {
        say(fmt::format("report {} was not taken: {}",
                        tessel::AppHealthReportFile::keyOf(report, data), explain(end, patience)));
    }
    return false;
}

} // namespace tool::health
