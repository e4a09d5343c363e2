// Text of a configuration that is spliced into a script as a literal. JavaScriptCore, evaluating
// the literal, has to get the text back; where a line ends in it, there is no script at all.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/WebApp/WebAppScripts.h"
#include "platform/Utf8.h"
#include "tests/support/javascript/ScriptEngine.h"

#include <memory>
#include <string>

namespace {

// The engine remembers scripts that it has seen; a new one now and then bounds that.
test_support::ScriptEngine& engine() {
    constexpr int scriptsForAnEngine = 5'000;
    static std::unique_ptr<test_support::ScriptEngine> current;
    static int left = 0;
    if (left-- == 0) {
        current = std::make_unique<test_support::ScriptEngine>();
        left = scriptsForAnEngine;
    }
    return *current;
}

} // namespace

// Of the leak sanitizer: what the engine keeps is in memory that it does not look through.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = fuzzing::textOf(data, size);
    if (!platform::isValidUtf8(text)) {
        return 0; // no script is made of it: a web view takes UTF-8
    }
    const auto value = engine().evaluate(tessel::quotedForScript(text));
    if (text.find_first_of("\n\r") != std::string_view::npos) {
        fuzzing::require(!value && value.error() == "SyntaxError", "a line end is no literal");
    } else {
        fuzzing::require(value.has_value() && *value == text, "the literal is the text");
    }
    return 0;
}
