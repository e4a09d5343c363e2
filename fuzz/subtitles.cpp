// Names of files beside a film, and what a tool says is WebVTT: the name of the film without its
// extension in the first line, the file's in the second, then the text.
#include "ostrad/Subtitles.h"

#include "fuzz/Fuzzing.h"
#include "ostrad/Naming.h"

#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto text = fuzzing::textOf(data, size);
    const auto stem = fuzzing::takeLine(text);
    const auto name = fuzzing::takeLine(text);
    if (const auto language = ostrad::subtitleLanguage(stem, name)) {
        require(name.starts_with(stem), "it is that film's");
        require(ostrad::validUtf8(*language) == *language, "the language can be told");
    }
    if (const auto clean = ostrad::checkedWebVtt(text)) {
        require(clean->starts_with("WEBVTT"), "it begins like WebVTT");
        require(ostrad::validUtf8(*clean) == *clean, "it is text");
        require(clean->find('\0') == std::string::npos, "it holds no NUL");
        require(ostrad::checkedWebVtt(*clean) == *clean, "it stays what it is");
    }
    return 0;
}
