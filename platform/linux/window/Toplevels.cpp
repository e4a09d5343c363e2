#include "platform/linux/window/Toplevels.h"

#include "platform/linux/window/ApplicationId.h"
#include "platform/linux/window/Present.h"

#include <algorithm>
#include <utility>

namespace platform::gtk {
namespace {

// A window that is not ours (a file chooser) gets it from its kind's default.
gboolean onIconDue(gpointer window) {
    gtk_window_set_icon_name(GTK_WINDOW(window), applicationId().c_str());
    gtk_window_set_default_icon_name(applicationId().c_str());
    return G_SOURCE_REMOVE;
}

// Drawing the icon takes longer than anything else that a window needs to be shown.
void onMapped(GtkWidget* window, gpointer /*data*/) {
    g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, onIconDue, g_object_ref(window), g_object_unref);
}

} // namespace

Toplevels::Toplevels()
    : commands_(Gio::SimpleActionGroup::create()) {}

Toplevels::~Toplevels() {
    for (Entry& entry : entries_) {
        entry.activity.disconnect();
    }
}

void Toplevels::add(Gtk::Window& window) {
    window.insert_action_group("app", commands_);
    Entry entry{.window = &window,
                .activity = window.property_is_active().signal_changed().connect([this, &window] {
                    if (window.is_active()) {
                        used(&window);
                    }
                }),
                .keys = nullptr};
    giveKeys(entry);
    entries_.insert(entries_.begin(), std::move(entry));
    g_signal_connect(window.gobj(), "map", G_CALLBACK(onMapped), nullptr);
}

void Toplevels::remove(Gtk::Window& window) {
    std::erase_if(entries_, [&](Entry& entry) {
        if (entry.window != &window) {
            return false;
        }
        entry.activity.disconnect();
        return true;
    });
}

void Toplevels::addCommand(const std::string& name, const std::function<void()>& command) {
    commands_->add_action(name, command);
}

void Toplevels::setKey(const std::string& action, const std::string& accelerator) {
    keys_[action] = accelerator;
    for (Entry& entry : entries_) {
        giveKeys(entry);
    }
}

void Toplevels::giveKeys(Entry& entry) {
    auto* const widget = GTK_WIDGET(entry.window->gobj());
    if (entry.keys != nullptr) {
        gtk_widget_remove_controller(widget, GTK_EVENT_CONTROLLER(entry.keys));
    }
    entry.keys = GTK_SHORTCUT_CONTROLLER(gtk_shortcut_controller_new());
    gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(entry.keys), GTK_PHASE_CAPTURE);
    for (const auto& [action, accelerator] : keys_) {
        gtk_shortcut_controller_add_shortcut(
            entry.keys, gtk_shortcut_new(gtk_shortcut_trigger_parse_string(accelerator.c_str()),
                                         gtk_named_action_new(action.c_str())));
    }
    gtk_widget_add_controller(widget, GTK_EVENT_CONTROLLER(entry.keys));
}

void Toplevels::used(Gtk::Window* window) {
    const auto found = std::ranges::find(entries_, window, &Entry::window);
    if (found != entries_.end()) {
        std::rotate(entries_.begin(), found, found + 1);
    }
}

void Toplevels::present(const std::string& token) {
    const auto found = std::ranges::find_if(
        entries_, [](const Entry& entry) { return entry.window->get_visible(); });
    if (found == entries_.end()) {
        return;
    }
    gtk::present(*found->window, token);
}

bool Toplevels::haveTheFocus() const {
    return std::ranges::any_of(entries_,
                               [](const Entry& entry) { return entry.window->is_active(); });
}

void Toplevels::hide() {
    for (const Entry& entry : entries_) {
        entry.window->set_visible(false);
    }
}

Gtk::Window* Toplevels::lastUsed() const {
    return entries_.empty() ? nullptr : entries_.front().window;
}

} // namespace platform::gtk
