// ICU 72: https://unicode-org.github.io/icu-docs/
#include "platform/TextTables.h"
#include "platform/linux/text/IcuDefault.h"

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>

namespace platform::tables {
namespace {

void require(UErrorCode code, const char* attempt) {
    if (code == U_MEMORY_ALLOCATION_ERROR) {
        throw std::bad_alloc();
    }
    if (U_FAILURE(code)) {
        throw std::runtime_error(std::string(attempt) + ": " + u_errorName(code));
    }
}

icu::StringPiece piece(std::string_view text) {
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

// Finding the rules in ICU's data takes far longer than copying an iterator.
std::unique_ptr<icu::BreakIterator> makeCharacterIterator() {
    static const std::unique_ptr<const icu::BreakIterator> original = [] {
        makeIcuUsable();
        UErrorCode code = U_ZERO_ERROR;
        std::unique_ptr<const icu::BreakIterator> made(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), code));
        require(code, "ICU has no rules for characters");
        return made;
    }();
    std::unique_ptr<icu::BreakIterator> copy(original->clone());
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

} // namespace

std::string upperCased(std::string_view text) {
    std::string mapped;
    icu::StringByteSink<std::string> sink(&mapped, static_cast<std::int32_t>(text.size()));
    UErrorCode code = U_ZERO_ERROR;
    icu::CaseMap::utf8ToUpper("", 0, piece(text), sink, nullptr, code);
    require(code, "ICU cannot map to upper case");
    return mapped;
}

std::string lowerCased(std::string_view text) {
    std::string mapped;
    icu::StringByteSink<std::string> sink(&mapped, static_cast<std::int32_t>(text.size()));
    UErrorCode code = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0, piece(text), sink, nullptr, code);
    require(code, "ICU cannot map to lower case");
    return mapped;
}

bool isLetterOrNumber(char32_t codePoint) {
    constexpr std::uint32_t letterOrNumber = U_GC_L_MASK | U_GC_N_MASK;
    return (U_GET_GC_MASK(static_cast<UChar32>(codePoint)) & letterOrNumber) != 0;
}

void visitCharacters(std::string_view text, const std::function<bool(std::string_view)>& visit) {
    UErrorCode code = U_ZERO_ERROR;
    UText bytes = UTEXT_INITIALIZER;
    utext_openUTF8(&bytes, text.data(), static_cast<std::int64_t>(text.size()), &code);
    require(code, "ICU cannot read the text");
    const std::unique_ptr<UText, UText* (*)(UText*)> closing(&bytes, &utext_close);

    const auto characters = makeCharacterIterator();
    characters->setText(&bytes, code);
    require(code, "ICU cannot find characters");
    auto start = static_cast<std::size_t>(characters->first());
    while (true) {
        const std::int32_t end = characters->next();
        if (end == icu::BreakIterator::DONE) {
            return;
        }
        if (!visit(text.substr(start, static_cast<std::size_t>(end) - start))) {
            return;
        }
        start = static_cast<std::size_t>(end);
    }
}

} // namespace platform::tables
