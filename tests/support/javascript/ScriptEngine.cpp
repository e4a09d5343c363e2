#include "tests/support/javascript/ScriptEngine.h"

#include "platform/linux/GObjectPtr.h"

#include <jsc/jsc.h>

namespace test_support {

using platform::gtk::GObjectPtr;

struct ScriptEngine::Context {
    GObjectPtr<JSCContext> context{jsc_context_new()};
};

ScriptEngine::ScriptEngine()
    : context_(std::make_unique<Context>()) {}

ScriptEngine::~ScriptEngine() = default;

std::expected<std::string, std::string> ScriptEngine::evaluate(std::string_view script) {
    JSCContext* const context = context_->context.get();
    const GObjectPtr<JSCValue> value(
        jsc_context_evaluate(context, script.data(), static_cast<gssize>(script.size())));
    if (JSCException* const exception = jsc_context_get_exception(context)) {
        const char* const name = jsc_exception_get_name(exception);
        std::string thrown = name == nullptr ? "" : name;
        jsc_context_clear_exception(context);
        return std::unexpected(std::move(thrown));
    }
    GBytes* const bytes = jsc_value_to_string_as_bytes(value.get());
    gsize size = 0;
    const auto* const data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    std::string text(data == nullptr ? "" : data, size);
    g_bytes_unref(bytes);
    return text;
}

} // namespace test_support
