#include "platform/linux/GtkScriptBridge.h"

#include "platform/linux/GtkScriptValue.h"

#include <memory>
#include <utility>

namespace platform::gtk {
namespace {

struct UserScriptUnref {
    void operator()(WebKitUserScript* script) const { webkit_user_script_unref(script); }
};

} // namespace

GtkScriptBridge::GtkScriptBridge(const std::vector<UserScript>& scripts)
    : manager_(webkit_user_content_manager_new()) {
    for (const UserScript& script : scripts) {
        const std::unique_ptr<WebKitUserScript, UserScriptUnref> added(
            webkit_user_script_new(script.source.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                                   script.when == ScriptInjectionTime::documentStart
                                       ? WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START
                                       : WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_END,
                                   nullptr, nullptr));
        webkit_user_content_manager_add_script(manager_.get(), added.get());
    }
}

GtkScriptBridge::~GtkScriptBridge() {
    for (const Handler& handler : handlers_) {
        g_signal_handler_disconnect(manager_.get(), handler.connection);
        webkit_user_content_manager_unregister_script_message_handler(
            manager_.get(), handler.name.c_str(), nullptr);
    }
}

void GtkScriptBridge::addHandler(std::string_view name, ScriptMessageHandler handler) {
    Handler& added =
        handlers_.emplace_back(Handler{.name = std::string(name), .call = std::move(handler)});
    // Connected first, so that no message is lost in between.
    added.connection =
        g_signal_connect(manager_.get(), ("script-message-received::" + added.name).c_str(),
                         G_CALLBACK(onMessage), &added);
    webkit_user_content_manager_register_script_message_handler(manager_.get(), added.name.c_str(),
                                                                nullptr);
}

void GtkScriptBridge::onMessage(WebKitUserContentManager* /*manager*/, JSCValue* body,
                                gpointer handler) {
    // A copy: the handler may destroy the window, and this bridge with it.
    const Handler called = *static_cast<Handler*>(handler);
    called.call(called.name, scriptValue(body));
}

} // namespace platform::gtk
