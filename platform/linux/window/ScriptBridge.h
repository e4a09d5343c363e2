// The user scripts of one web view and the handlers of its script messages: a
// WebKitUserContentManager, which the view is made with. Owned by the window; main thread only.
#pragma once

#include "platform/WebWindow.h"
#include "platform/linux/GObjectPtr.h"

#include <webkit/webkit.h>

#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace platform::gtk {

class ScriptBridge {
  public:
    // The name of the handler, and what was posted as JSON.
    using OnMessage = std::function<void(const std::string& name, const std::string& body)>;

    ScriptBridge(const std::vector<UserScript>& scripts, OnMessage onMessage);
    ~ScriptBridge();
    ScriptBridge(const ScriptBridge&) = delete;
    ScriptBridge& operator=(const ScriptBridge&) = delete;

    [[nodiscard]] WebKitUserContentManager* manager() const { return manager_.get(); }
    void addHandler(const std::string& name);

  private:
    struct Handler {
        ScriptBridge& bridge;
        std::string name;
        gulong connection = 0;
    };

    static void onMessage(WebKitUserContentManager* manager, JSCValue* body, gpointer handler);

    GObjectPtr<WebKitUserContentManager> manager_;
    OnMessage onMessage_;
    std::list<Handler> handlers_; // which stay where they are
};

} // namespace platform::gtk
