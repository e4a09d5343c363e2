#include "tools/tessel/HealthTable.h"

#include "mac/Tessel/Health/AppHealthEnumerations.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace tool::health {
namespace {

using tessel::AppHealthStatus;
using Row = std::vector<std::string>;

std::string_view colourOf(AppHealthStatus status) {
    switch (status) {
    case AppHealthStatus::pass:
        return "32";
    case AppHealthStatus::warning:
        return "33";
    case AppHealthStatus::fail:
        return "31";
    case AppHealthStatus::skip:
        break;
    }
    return "2";
}

// One column holds a status; it is padded before it is coloured.
struct Line {
    Row cells;
    AppHealthStatus status;
};

std::string laidOut(const Row& heading, const std::vector<Line>& lines, std::size_t statusColumn,
                    bool isColoured) {
    std::vector<std::size_t> widths(heading.size());
    for (std::size_t column = 0; column < heading.size(); ++column) {
        widths[column] = heading[column].size();
        for (const Line& line : lines) {
            widths[column] = std::max(widths[column], line.cells[column].size());
        }
    }
    std::string text;
    const auto add = [&](const Row& cells, const AppHealthStatus* status) {
        std::string line;
        for (std::size_t column = 0; column < cells.size(); ++column) {
            line += column == statusColumn && status != nullptr
                        ? statusText(*status, isColoured, widths[column])
                        : fmt::format("{:{}}", cells[column], widths[column]);
            line += "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    };
    add(heading, nullptr);
    for (const Line& line : lines) {
        add(line.cells, &line.status);
    }
    return text;
}

std::string metricsText(const tessel::AppHealthMetrics& metrics) {
    std::string text;
    for (const auto& [key, value] : metrics) {
        text += fmt::format("{}{}={}", text.empty() ? "" : " ", key, value);
    }
    return text;
}

std::string countsOf(const tessel::AppHealthReport& report) {
    std::string text;
    for (const auto& [status, word] :
         {std::pair(AppHealthStatus::pass, "passed"), std::pair(AppHealthStatus::warning, "warned"),
          std::pair(AppHealthStatus::fail, "failed"),
          std::pair(AppHealthStatus::skip, "skipped")}) {
        const auto count =
            std::ranges::count(report.checks, status, &tessel::AppHealthCheckResult::status);
        if (count > 0) {
            text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, word);
        }
    }
    return text.empty() ? "none" : text;
}

} // namespace

bool wantsColour(const platform::Environment& environment) {
    const auto valueOf = [&environment](const char* name) {
        const auto found = environment.find(name);
        return found == environment.end() ? std::string() : found->second;
    };
    return valueOf("NO_COLOR").empty() && valueOf("TERM") != "dumb";
}

std::string statusText(AppHealthStatus status, bool isColoured, std::size_t width) {
    const std::string text = fmt::format("{:{}}", tessel::rawValue(status), width);
    return isColoured ? fmt::format("\x1b[{}m{}\x1b[0m", colourOf(status), text) : text;
}

std::string tableOf(const tessel::AppHealthReport& report, bool isColoured) {
    std::string text =
        fmt::format("{} {} ({})  {}  {}  {}  {}  {}\n", report.app, report.version, report.build,
                    tessel::rawValue(report.channel), tessel::rawValue(report.artifact),
                    tessel::rawValue(report.trigger), report.generatedAt,
                    statusText(report.status, isColoured));
    if (report.checks.empty()) {
        return text + "no checks\n";
    }
    std::vector<Line> lines;
    for (const auto& check : report.checks) {
        lines.push_back(
            {.cells = {check.id, std::string(tessel::rawValue(check.category)),
                       std::string(tessel::rawValue(check.status)),
                       fmt::format("{} ms", check.durationMs), metricsText(check.metrics)},
             .status = check.status});
    }
    return text + laidOut({"CHECK", "CATEGORY", "STATUS", "TIME", "METRICS"}, lines, 2, isColoured);
}

std::string tableOf(const std::vector<tessel::StoredAppHealthReport>& entries, bool isColoured) {
    if (entries.empty()) {
        return {};
    }
    std::vector<Line> lines;
    for (const auto& [file, report] : entries) {
        lines.push_back({.cells = {report.generatedAt, report.app, report.version, report.build,
                                   std::string(tessel::rawValue(report.trigger)),
                                   std::string(tessel::rawValue(report.status)), countsOf(report)},
                         .status = report.status});
    }
    return laidOut({"MADE", "APP", "VERSION", "BUILD", "TRIGGER", "STATUS", "CHECKS"}, lines, 5,
                   isColoured);
}

} // namespace tool::health
