// The user scripts of one web view and the handlers of its script messages: a
// WebKitUserContentManager, which the view is made with. Owned by the window; main thread only.
#pragma once

#include "platform/WebWindow.h"
#include "platform/linux/GObjectPtr.h"

#include <webkit/webkit.h>

#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace platform::gtk {

class GtkScriptBridge {
  public:
    explicit GtkScriptBridge(const std::vector<UserScript>& scripts);
    ~GtkScriptBridge();
    GtkScriptBridge(const GtkScriptBridge&) = delete;
    GtkScriptBridge& operator=(const GtkScriptBridge&) = delete;

    [[nodiscard]] WebKitUserContentManager* manager() const { return manager_.get(); }
    void addHandler(std::string_view name, ScriptMessageHandler handler);

  private:
    struct Handler {
        std::string name;
        ScriptMessageHandler call;
        gulong connection = 0;
    };

    static void onMessage(WebKitUserContentManager* manager, JSCValue* body, gpointer handler);

    GObjectPtr<WebKitUserContentManager> manager_;
    std::list<Handler> handlers_; // which stay where they are
};

} // namespace platform::gtk
