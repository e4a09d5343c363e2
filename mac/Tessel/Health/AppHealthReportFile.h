// The names of report files. A report's key is when it was made, to the millisecond and in UTC, a
// dash, and the beginning of the SHA-256 of its stored bytes: keys sort by time, and only equal
// reports have equal keys. Pure functions; any thread.
#pragma once

#include "mac/Tessel/Health/AppHealthReport.h"

#include <string>
#include <string_view>

namespace tessel {

struct AppHealthReportFile {
    static constexpr std::string_view extension = ".json";

    // yyyyMMddHHmmssSSS-0123456789abcdef. Throws AppHealthValidationError when the date is none.
    [[nodiscard]] static std::string keyOf(const AppHealthReport& report,
                                           std::string_view storedData);
    [[nodiscard]] static std::string nameOf(std::string_view key);
    // A key and the extension; anything else in a folder of reports is somebody else's.
    [[nodiscard]] static bool isName(std::string_view name);

    // What a file is called while it is being written: ".NAME.tmp-UUID".
    [[nodiscard]] static std::string temporaryName(std::string_view name, std::string_view uuid);
    // The NAME of a temporary file; empty when the name is not of that form.
    [[nodiscard]] static std::string_view temporaryFor(std::string_view name);
};

} // namespace tessel
