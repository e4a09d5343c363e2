#include "platform/cocoa/OsLog.h"

#include "platform/cocoa/LogPieces.h"

namespace platform::cocoa {
namespace {

// Below the kilobyte that a message may have with all its arguments.
constexpr std::size_t longestPiece = 900;

} // namespace

OsLog::OsLog(const std::string& subsystem, const std::string& category)
    : log_(os_log_create(subsystem.c_str(), category.c_str())) {}

void OsLog::write(std::string_view message) { writeLines({}, {&message, 1}); }

void OsLog::writeLines(std::string_view prefix, std::span<const std::string_view> lines) {
    for (const auto line : lines) {
        for (const std::string& piece : logPieces(prefix, line, longestPiece)) {
            os_log(log_, "%{public}s", piece.c_str());
        }
    }
}

} // namespace platform::cocoa
