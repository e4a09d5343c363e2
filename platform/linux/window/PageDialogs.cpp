#include "platform/linux/window/PageDialogs.h"

#include <gtk/gtkunixprint.h>

#include <chrono>
#include <utility>

namespace platform::gtk {

PageDialogs::PageDialogs(Gtk::Window& window, WebKitWebView* view)
    : window_(window)
    , view_(view) {
    g_signal_connect(view, "script-dialog", G_CALLBACK(onScriptDialog), this);
    g_signal_connect(view, "print", G_CALLBACK(onPrint), this);
}

PageDialogs::~PageDialogs() {
    g_signal_handlers_disconnect_by_data(view_, this);
    endPrintDialog();
}

bool PageDialogs::mayAsk() {
    return limit_.admits(std::chrono::steady_clock::now());
}

gboolean PageDialogs::onScriptDialog(WebKitWebView* /*view*/, WebKitScriptDialog* dialog,
                                     gpointer self) {
    if (static_cast<PageDialogs*>(self)->mayAsk()) {
        return FALSE; // the view shows its own
    }
    if (webkit_script_dialog_get_dialog_type(dialog) ==
        WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM) {
        webkit_script_dialog_confirm_set_confirmed(dialog, TRUE); // no page keeps its window
    }
    return TRUE;
}

// WebKit's own dialog runs a main loop of its own, which an end would have to wait for.
gboolean PageDialogs::onPrint(WebKitWebView* /*view*/, WebKitPrintOperation* operation,
                              gpointer data) {
    auto* const self = static_cast<PageDialogs*>(data);
    if (self->printDialog_ != nullptr || !self->mayAsk()) {
        return TRUE;
    }
    self->printing_.reset(WEBKIT_PRINT_OPERATION(g_object_ref(operation)));
    self->printDialog_ = gtk_print_unix_dialog_new(nullptr, self->window_.gobj());
    auto* const dialog = GTK_PRINT_UNIX_DIALOG(self->printDialog_);
    gtk_print_unix_dialog_set_embed_page_setup(dialog, TRUE);
    // What WebKit does itself, whatever the printer can.
    gtk_print_unix_dialog_set_manual_capabilities(
        dialog, static_cast<GtkPrintCapabilities>(
                    GTK_PRINT_CAPABILITY_PAGE_SET | GTK_PRINT_CAPABILITY_NUMBER_UP |
                    GTK_PRINT_CAPABILITY_COPIES | GTK_PRINT_CAPABILITY_COLLATE |
                    GTK_PRINT_CAPABILITY_REVERSE | GTK_PRINT_CAPABILITY_SCALE |
                    GTK_PRINT_CAPABILITY_GENERATE_PDF | GTK_PRINT_CAPABILITY_GENERATE_PS));
    g_signal_connect(dialog, "response", G_CALLBACK(onPrintAnswered), self);
    gtk_window_present(GTK_WINDOW(dialog));
    return TRUE;
}

void PageDialogs::onPrintAnswered(GtkDialog* dialog, int response, gpointer data) {
    auto* const self = static_cast<PageDialogs*>(data);
    if (response == GTK_RESPONSE_OK) {
        auto* const print = GTK_PRINT_UNIX_DIALOG(dialog);
        const GObjectPtr<GtkPrintSettings> settings(gtk_print_unix_dialog_get_settings(print));
        webkit_print_operation_set_print_settings(self->printing_.get(), settings.get());
        webkit_print_operation_set_page_setup(self->printing_.get(),
                                              gtk_print_unix_dialog_get_page_setup(print));
        // It lives until its last page is printed.
        webkit_print_operation_print(self->printing_.get());
    }
    self->endPrintDialog();
}

void PageDialogs::endPrintDialog() {
    printing_.reset();
    if (GtkWidget* const dialog = std::exchange(printDialog_, nullptr)) {
        gtk_window_destroy(GTK_WINDOW(dialog));
    }
}

} // namespace platform::gtk
