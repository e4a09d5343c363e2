#include "platform/linux/tray/ExportedMenu.h"

#include "platform/linux/tray/MenuContinuity.h"

#include <string>
#include <utility>

namespace platform::tray {
namespace {

// A single underscore would make the next letter the item's key.
std::string literalLabel(const std::string& title) {
    std::string label;
    for (const char character : title) {
        label.append(character == '_' ? 2 : 1, character);
    }
    return label;
}

void setOrRemove(DbusmenuMenuitem* item, const char* property, bool set, const char* text) {
    if (set) {
        dbusmenu_menuitem_property_set(item, property, text);
    } else {
        dbusmenu_menuitem_property_remove(item, property);
    }
}

void setProperties(DbusmenuMenuitem* item, const MenuItem& value) {
    setOrRemove(item, DBUSMENU_MENUITEM_PROP_TYPE, value.separator, "separator");
    if (value.separator) {
        return;
    }
    dbusmenu_menuitem_property_set(item, DBUSMENU_MENUITEM_PROP_LABEL,
                                   literalLabel(value.title).c_str());
    dbusmenu_menuitem_property_set_bool(item, DBUSMENU_MENUITEM_PROP_ENABLED,
                                        value.enabled ? TRUE : FALSE);
    const bool checkable = value.checkable || value.checked;
    setOrRemove(item, DBUSMENU_MENUITEM_PROP_TOGGLE_TYPE, checkable,
                DBUSMENU_MENUITEM_TOGGLE_CHECK);
    if (checkable) {
        dbusmenu_menuitem_property_set_int(item, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE,
                                           value.checked
                                               ? DBUSMENU_MENUITEM_TOGGLE_STATE_CHECKED
                                               : DBUSMENU_MENUITEM_TOGGLE_STATE_UNCHECKED);
    } else {
        dbusmenu_menuitem_property_remove(item, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE);
    }
}

} // namespace

struct ExportedMenu::Node {
    ExportedMenu& menu;
    gtk::GObjectPtr<DbusmenuMenuitem> item;
    MenuItem value = {}; // without its submenu
    Level children = {};

    ~Node() { g_signal_handlers_disconnect_by_data(item.get(), this); }
};

void ExportedMenu::show(Node& node, const MenuItem& value) {
    node.value = value;
    node.value.submenu.clear();
    setProperties(node.item.get(), value);
}

ExportedMenu::ExportedMenu()
    : root_(dbusmenu_menuitem_new())
    , placeholder_(dbusmenu_menuitem_new()) {
    dbusmenu_menuitem_property_set_bool(placeholder_.get(), DBUSMENU_MENUITEM_PROP_VISIBLE, FALSE);
    g_signal_connect(root_.get(), DBUSMENU_MENUITEM_SIGNAL_ABOUT_TO_SHOW, G_CALLBACK(aboutToShow),
                     this);
    update({});
}

ExportedMenu::~ExportedMenu() {
    g_signal_handlers_disconnect_by_data(root_.get(), this);
}

void ExportedMenu::exportAt(const char* objectPath) {
    server_.reset(dbusmenu_server_new(objectPath));
    dbusmenu_server_set_root(server_.get(), root_.get());
}

void ExportedMenu::update(const Menu& menu) {
    if (menu.empty() && !placeholderShown_) {
        dbusmenu_menuitem_child_append(root_.get(), placeholder_.get());
    }
    updateLevel(root_.get(), top_, menu);
    if (!menu.empty() && placeholderShown_) {
        dbusmenu_menuitem_child_delete(root_.get(), placeholder_.get());
    }
    placeholderShown_ = menu.empty();
}

std::unique_ptr<ExportedMenu::Node> ExportedMenu::makeNode(DbusmenuMenuitem* parent,
                                                           std::size_t position) {
    std::unique_ptr<Node> node(new Node{
        .menu = *this, .item = gtk::GObjectPtr<DbusmenuMenuitem>(dbusmenu_menuitem_new())});
    g_signal_connect(node->item.get(), DBUSMENU_MENUITEM_SIGNAL_ITEM_ACTIVATED,
                     G_CALLBACK(activated), node.get());
    dbusmenu_menuitem_child_add_position(parent, node->item.get(), static_cast<guint>(position));
    return node;
}

void ExportedMenu::updateLevel(DbusmenuMenuitem* parent, Level& level, const Menu& menu) {
    const auto continued = continuedItems(level.items, menu);
    std::vector<std::unique_ptr<Node>> nodes(menu.size());
    for (std::size_t index = 0; index < menu.size(); ++index) {
        if (const auto& before = continued[index]) {
            nodes[index] = std::move(level.nodes[*before]);
        }
    }
    for (const auto& gone : level.nodes) {
        if (gone) {
            dbusmenu_menuitem_child_delete(parent, gone->item.get());
        }
    }
    for (std::size_t index = 0; index < menu.size(); ++index) {
        auto& node = nodes[index];
        if (!node) {
            node = makeNode(parent, index);
        }
        show(*node, menu[index]);
        updateLevel(node->item.get(), node->children, menu[index].submenu);
    }
    level.nodes = std::move(nodes);
    level.items = menu;
}

void ExportedMenu::refresh(const Menu& menu) {
    refreshLevel(top_, menu);
}

void ExportedMenu::refreshLevel(Level& level, const Menu& menu) {
    level.items = keptInPlace(std::move(level.items), menu);
    for (std::size_t row = 0; row < level.items.size(); ++row) {
        show(*level.nodes[row], level.items[row]);
        refreshLevel(level.nodes[row]->children, level.items[row].submenu);
    }
}

gboolean ExportedMenu::aboutToShow(DbusmenuMenuitem* /*root*/, gpointer self) {
    const auto* const menu = static_cast<ExportedMenu*>(self);
    if (menu->onAboutToShow) {
        menu->onAboutToShow();
    }
    return TRUE;
}

void ExportedMenu::activated(DbusmenuMenuitem* /*item*/, guint /*timestamp*/, gpointer data) {
    const auto* const node = static_cast<Node*>(data);
    // Copies: what the item does may change this menu, or end it.
    const auto chosen = node->menu.onChosen;
    const MenuItem value = node->value;
    if (chosen && value.enabled && !value.separator) {
        chosen(value);
    }
}

} // namespace platform::tray
