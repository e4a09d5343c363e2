#include "mac/Tessel/Health/AppHealthReportFile.h"

#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Values/Timestamp.h"
#include "mac/Tessel/Values/Uuid.h"
#include "platform/Sha256.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace tessel {
namespace {

constexpr std::string_view decimalDigits = "0123456789";
constexpr std::string_view digestDigits = "0123456789abcdef";
constexpr std::size_t dateLength = 17;
constexpr std::size_t digestBytes = 8;
constexpr std::size_t keyLength = dateLength + 1 + 2 * digestBytes;
constexpr std::string_view temporaryMark = ".tmp-";
constexpr std::size_t uuidLength = 36;

bool consistsOf(std::string_view text, std::string_view characters) {
    return text.find_first_not_of(characters) == std::string_view::npos;
}

} // namespace

std::string AppHealthReportFile::keyOf(const AppHealthReport& report, std::string_view storedData) {
    const auto time = parseTimestamp(report.generatedAt);
    if (!time) {
        throw AppHealthValidationError({"bad generatedAt"});
    }
    const CalendarTime date = calendarTime(*time);
    std::string key = fmt::format("{:04}{:02}{:02}{:02}{:02}{:02}{:03}-", date.year, date.month,
                                  date.day, date.hour, date.minute, date.second, date.millisecond);
    const auto digest = platform::sha256(storedData);
    for (std::size_t index = 0; index < digestBytes; ++index) {
        key += digestDigits[digest.at(index) >> 4U];
        key += digestDigits[digest.at(index) & 15U];
    }
    return key;
}

std::string AppHealthReportFile::nameOf(std::string_view key) {
    return std::string(key).append(extension);
}

bool AppHealthReportFile::isName(std::string_view name) {
    if (name.size() != keyLength + extension.size() || !name.ends_with(extension)) {
        return false;
    }
    return consistsOf(name.substr(0, dateLength), decimalDigits) && name[dateLength] == '-' &&
           consistsOf(name.substr(dateLength + 1, 2 * digestBytes), digestDigits);
}

std::string AppHealthReportFile::temporaryName(std::string_view name, std::string_view uuid) {
    return fmt::format(".{}{}{}", name, temporaryMark, uuid);
}

std::string_view AppHealthReportFile::temporaryFor(std::string_view name) {
    constexpr std::size_t tail = temporaryMark.size() + uuidLength;
    if (name.size() <= 1 + tail || !name.starts_with('.') ||
        !isRandomUuid(name.substr(name.size() - uuidLength))) {
        return {};
    }
    const std::size_t mark = name.size() - tail;
    return name.substr(mark).starts_with(temporaryMark) ? name.substr(1, mark - 1)
                                                        : std::string_view();
}

} // namespace tessel
