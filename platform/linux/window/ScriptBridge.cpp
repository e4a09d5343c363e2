#include "platform/linux/window/ScriptBridge.h"

#include "platform/linux/window/ScriptValue.h"

#include <boost/json/serialize.hpp>

#include <memory>
#include <utility>

namespace platform::gtk {
namespace {

struct UserScriptUnref {
    void operator()(WebKitUserScript* script) const { webkit_user_script_unref(script); }
};

} // namespace

ScriptBridge::ScriptBridge(const std::vector<UserScript>& scripts, OnMessage onMessage)
    : manager_(webkit_user_content_manager_new())
    , onMessage_(std::move(onMessage)) {
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

ScriptBridge::~ScriptBridge() {
    for (const Handler& handler : handlers_) {
        g_signal_handler_disconnect(manager_.get(), handler.connection);
        webkit_user_content_manager_unregister_script_message_handler(
            manager_.get(), handler.name.c_str(), nullptr);
    }
}

void ScriptBridge::addHandler(const std::string& name) {
    Handler& added = handlers_.emplace_back(Handler{.bridge = *this, .name = name});
    // Connected first, so that no message is lost in between.
    added.connection =
        g_signal_connect(manager_.get(), ("script-message-received::" + added.name).c_str(),
                         G_CALLBACK(ScriptBridge::onMessage), &added);
    webkit_user_content_manager_register_script_message_handler(manager_.get(), added.name.c_str(),
                                                                nullptr);
}

void ScriptBridge::onMessage(WebKitUserContentManager* /*manager*/, JSCValue* body, gpointer data) {
    const auto& handler = *static_cast<Handler*>(data);
    handler.bridge.onMessage_(handler.name, boost::json::serialize(scriptValue(body)));
}

} // namespace platform::gtk
