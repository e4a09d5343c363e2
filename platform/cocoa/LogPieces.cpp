#include "platform/cocoa/LogPieces.h"

#include "platform/posix/LogLine.h"

namespace platform::cocoa {
namespace {

std::string escaped(std::string_view prefix, std::string_view line) {
    std::string text(posix::escapedSize(prefix) + posix::escapedSize(line), '\0');
    posix::appendEscaped(posix::appendEscaped(text.data(), prefix), line);
    return text;
}

// The bytes after a character's first are 10xxxxxx in UTF-8.
bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

std::vector<std::string> logPieces(std::string_view prefix, std::string_view line,
                                   std::size_t longest) {
    const std::string text = escaped(prefix, line);
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (text.size() - start > longest) {
        std::size_t end = start + longest;
        while (continuesCharacter(text[end])) {
            --end;
        }
        pieces.push_back(text.substr(start, end - start));
        start = end;
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

} // namespace platform::cocoa
