// What a page asks the user for: script dialogs (alert, confirm, prompt, leaving a page) and
// printing. A page that asks too often is answered as by a user who dismisses the question. The
// print dialog is a window like any other: nothing waits for it. Lives as long as its view; main
// thread only.
#pragma once

#include "platform/QuestionLimit.h"
#include "platform/linux/GObjectPtr.h"

#include <gtkmm/window.h>
#include <webkit/webkit.h>

namespace platform::gtk {

class PageDialogs {
  public:
    PageDialogs(Gtk::Window& window, WebKitWebView* view);
    ~PageDialogs();
    PageDialogs(const PageDialogs&) = delete;
    PageDialogs& operator=(const PageDialogs&) = delete;

  private:
    static gboolean onScriptDialog(WebKitWebView* view, WebKitScriptDialog* dialog, gpointer self);
    static gboolean onPrint(WebKitWebView* view, WebKitPrintOperation* operation, gpointer self);
    static void onPrintAnswered(GtkDialog* dialog, int response, gpointer self);

    [[nodiscard]] bool mayAsk();
    void endPrintDialog();

    Gtk::Window& window_;
    WebKitWebView* view_;
    QuestionLimit limit_;
    GtkWidget* printDialog_ = nullptr; // one at a time
    GObjectPtr<WebKitPrintOperation> printing_;
};

} // namespace platform::gtk
