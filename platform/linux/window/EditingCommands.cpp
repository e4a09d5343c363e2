#include "platform/linux/window/EditingCommands.h"

#include "platform/linux/GObjectPtr.h"
#include "platform/linux/window/MenuModel.h"

#include <giomm/simpleactiongroup.h>
#include <webkit/webkit.h>

#include <algorithm>
#include <array>

namespace platform::gtk {

struct EditingCommands::Command {
    StandardAction action;
    const char* name;
    const char* forPages;   // WebKit's editing command
    const char* forEntries; // GtkText's action
    bool ofSelection = false;
};

namespace {

using Command = EditingCommands::Command;

constexpr std::array commands = {
    Command{StandardAction::undo, "undo", WEBKIT_EDITING_COMMAND_UNDO, "text.undo"},
    Command{StandardAction::redo, "redo", WEBKIT_EDITING_COMMAND_REDO, "text.redo"},
    Command{StandardAction::cut, "cut", WEBKIT_EDITING_COMMAND_CUT, "clipboard.cut", true},
    Command{StandardAction::copy, "copy", WEBKIT_EDITING_COMMAND_COPY, "clipboard.copy", true},
    Command{StandardAction::paste, "paste", WEBKIT_EDITING_COMMAND_PASTE, "clipboard.paste"},
    Command{StandardAction::selectAll, "select-all", WEBKIT_EDITING_COMMAND_SELECT_ALL,
            "selection.select-all"},
};

const Command* find(StandardAction action) {
    const auto* const found = std::ranges::find(commands, action, &Command::action);
    return found == commands.end() ? nullptr : found;
}

bool canBeEdited(GtkWidget* widget) {
    return widget != nullptr &&
           (WEBKIT_IS_WEB_VIEW(widget) || GTK_IS_TEXT(widget) || GTK_IS_TEXT_VIEW(widget));
}

// Whether something is selected that can be seen. Where Tab has left the page WebKit takes a
// selection of nothing for one, and empties the clipboard. What is selected in a frame or in an
// element with a tree of its own only these know.
constexpr const char* isSomethingSelected = R"js((() => {
  const at = document.activeElement;
  if (at instanceof HTMLIFrameElement || at instanceof HTMLFrameElement) return true;
  if (at && (at.shadowRoot || at.localName.includes('-'))) return true;
  if (at && typeof at.selectionStart === 'number' && at.selectionStart !== at.selectionEnd)
    return true;
  const selection = getSelection();
  if (selection.isCollapsed) return false;
  return selection.toString().trim() !== '' ||
      selection.getRangeAt(0).cloneContents().querySelector('img,svg,canvas,video,object') !== null;
})())js";

void performInPage(WebKitWebView* view, const Command& command) {
    webkit_web_view_execute_editing_command(view, command.forPages);
}

} // namespace

EditingCommands::EditingCommands(Gtk::Window& window)
    : window_(window)
    , asking_(g_cancellable_new()) {
    g_weak_ref_init(&target_, nullptr);
    const auto actions = Gio::SimpleActionGroup::create();
    for (const Command& command : commands) {
        actions->add_action(command.name, [this, action = command.action] { perform(action); });
    }
    window_.insert_action_group("edit", actions);
    focusWatch_ =
        window_.property_focus_widget().signal_changed().connect([this] { focusChanged(); });
}

EditingCommands::~EditingCommands() {
    g_cancellable_cancel(asking_.get());
    focusWatch_.disconnect();
    g_weak_ref_clear(&target_);
}

std::string EditingCommands::actionName(StandardAction command) {
    const Command* const found = find(command);
    return found == nullptr ? std::string() : std::string("edit.") + found->name;
}

void EditingCommands::focusChanged() {
    GtkWidget* const focus = gtk_window_get_focus(window_.gobj());
    if (canBeEdited(focus)) {
        g_weak_ref_set(&target_, focus);
    }
}

void EditingCommands::perform(StandardAction action) {
    const GObjectPtr<GtkWidget> target(static_cast<GtkWidget*>(g_weak_ref_get(&target_)));
    const Command* const command = find(action);
    if (!target || command == nullptr) {
        return;
    }
    if (!WEBKIT_IS_WEB_VIEW(target.get())) {
        gtk_widget_activate_action(target.get(), command->forEntries, nullptr);
        return;
    }
    waiting_.push_back(command);
    if (waiting_.size() == 1) {
        performWaiting(WEBKIT_WEB_VIEW(target.get()));
    }
}

// One after the other, since each may change what is selected.
void EditingCommands::performWaiting(WebKitWebView* view) {
    while (!waiting_.empty() && !waiting_.front()->ofSelection) {
        performInPage(view, *waiting_.front());
        waiting_.pop_front();
    }
    if (!waiting_.empty()) {
        webkit_web_view_evaluate_javascript(view, isSomethingSelected, -1, "editing", nullptr,
                                            asking_.get(), onAnswered, this);
    }
}

void EditingCommands::onAnswered(GObject* view, GAsyncResult* result, gpointer data) {
    GError* error = nullptr;
    const GObjectPtr<JSCValue> answer(
        webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(view), result, &error));
    const bool isGone = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
    g_clear_error(&error);
    if (isGone) {
        return;
    }
    auto* const self = static_cast<EditingCommands*>(data);
    if (answer && jsc_value_to_boolean(answer.get()) != FALSE) {
        performInPage(WEBKIT_WEB_VIEW(view), *self->waiting_.front());
    }
    self->waiting_.pop_front();
    self->performWaiting(WEBKIT_WEB_VIEW(view));
}

void EditingCommands::removeAccelerators() {
    if (accelerators_ != nullptr) {
        gtk_widget_remove_controller(GTK_WIDGET(window_.gobj()),
                                     GTK_EVENT_CONTROLLER(accelerators_));
        accelerators_ = nullptr;
    }
}

void EditingCommands::setAccelerators(const Menu& mainMenu) {
    removeAccelerators();
    accelerators_ = GTK_SHORTCUT_CONTROLLER(gtk_shortcut_controller_new());
    gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(accelerators_),
                                               GTK_PHASE_BUBBLE);
    for (const MenuItem& menu : mainMenu) {
        for (const MenuItem& item : menu.submenu) {
            const std::string accelerator = acceleratorOf(item.keyEquivalent);
            const std::string name = item.standardAction ? actionName(*item.standardAction) : "";
            if (!accelerator.empty() && !name.empty()) {
                gtk_shortcut_controller_add_shortcut(
                    accelerators_,
                    gtk_shortcut_new(gtk_shortcut_trigger_parse_string(accelerator.c_str()),
                                     gtk_named_action_new(name.c_str())));
            }
        }
    }
    gtk_widget_add_controller(GTK_WIDGET(window_.gobj()), GTK_EVENT_CONTROLLER(accelerators_));
}

} // namespace platform::gtk
