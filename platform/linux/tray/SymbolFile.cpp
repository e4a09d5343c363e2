#include "platform/linux/tray/SymbolFile.h"

namespace platform::tray {

std::string symbolIconName(std::string_view symbol) {
    return std::string(symbol) + "-symbolic";
}

std::optional<std::filesystem::path> symbolFile(const std::filesystem::path& folder,
                                                std::string_view symbol) {
    constexpr std::string_view notInNames("/\0", 2);
    if (symbol.empty() || symbol.find_first_of(notInNames) != std::string_view::npos) {
        return std::nullopt;
    }
    auto file = folder / (symbolIconName(symbol) + ".svg");
    std::error_code failed;
    return std::filesystem::is_regular_file(file, failed) ? std::optional(std::move(file))
                                                          : std::nullopt;
}

} // namespace platform::tray
