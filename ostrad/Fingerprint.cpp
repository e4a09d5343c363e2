#include "ostrad/Fingerprint.h"

#include "ostrad/ToolProcess.h"

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

namespace ostrad {

namespace json = boost::json;

namespace {

constexpr const char* kSeconds = "30";
constexpr std::size_t kShortest = 20; // letters; what is shorter says too little
constexpr std::size_t kLongest = 4096;
constexpr std::size_t kFewestLetters = 8;
constexpr double kLongestSeconds = 1e7;
constexpr std::chrono::seconds kPatience{20};
constexpr ToolBounds kBounds{.niceness = 10};

bool isUrlBase64(std::string_view text) {
    return std::ranges::all_of(text, [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
}

std::size_t differentLetters(std::string letters) {
    std::ranges::sort(letters);
    return letters.size() - std::ranges::unique(letters).size();
}

} // namespace

std::optional<std::string> parseFingerprint(std::string_view text) {
    boost::system::error_code error;
    const json::value document = json::parse({text.data(), text.size()}, error);
    const json::object* const root = error ? nullptr : document.if_object();
    const json::value* const print = root == nullptr ? nullptr : root->if_contains("fingerprint");
    const json::value* const length = root == nullptr ? nullptr : root->if_contains("duration");
    if (print == nullptr || !print->is_string() || length == nullptr || !length->is_number()) {
        return std::nullopt;
    }
    const std::string letters(print->get_string());
    const auto seconds = length->to_number<double>();
    if (letters.size() < kShortest || letters.size() > kLongest || !isUrlBase64(letters) ||
        differentLetters(letters) < kFewestLetters || !(seconds >= 0) ||
        seconds > kLongestSeconds) {
        return std::nullopt;
    }
    return fmt::format("{}:{}", std::lround(seconds), letters);
}

std::optional<std::string> takeFingerprint(const std::string& fpcalc, const std::string& filePath,
                                           const std::atomic<bool>& stop) {
    const auto deadline = ToolProcess::Clock::now() + kPatience;
    auto tool = ToolProcess::start({fpcalc, "-json", "-length", kSeconds, filePath}, kBounds);
    std::string output;
    std::array<char, 8192> piece{};
    ssize_t got = tool ? 1 : -1;
    while (got > 0 && output.size() <= 2 * kLongest) {
        got = tool->read(piece, stop, deadline);
        output.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    // Its status says nothing: versions that meet the end of a short file as a mistake fail then.
    return got == 0 ? parseFingerprint(output) : std::nullopt;
}

} // namespace ostrad
