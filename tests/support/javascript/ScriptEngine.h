// The JavaScript engine of the web views, JavaScriptCore, alone: a global object with what the
// language has and no document, location or fetch. A script sees what scripts before it have left.
// For tests; one thread.
#pragma once

#include <expected>
#include <memory>
#include <string>
#include <string_view>

namespace test_support {

class ScriptEngine {
  public:
    ScriptEngine();
    ~ScriptEngine();
    ScriptEngine(const ScriptEngine&) = delete;
    ScriptEngine& operator=(const ScriptEngine&) = delete;

    // Runs a script, which is UTF-8, and then the promises that are due. The last value as text,
    // or the name of the exception that ended the script, such as "SyntaxError".
    std::expected<std::string, std::string> evaluate(std::string_view script);

  private:
    struct Context;
    std::unique_ptr<Context> context_;
};

} // namespace test_support
