#include "platform/linux/window/MenuModel.h"

#include <fmt/format.h>

#include <cctype>
#include <string_view>

namespace platform::gtk {
namespace {

std::string literalLabel(std::string_view title) {
    std::string label;
    for (const char character : title) {
        label.append(character == '_' ? 2 : 1, character);
    }
    return label;
}

class Builder {
  public:
    Builder(std::string group, const StandardActionNames& standardActions)
        : group_(std::move(group))
        , standardActions_(standardActions) {}

    Glib::RefPtr<Gio::Menu> sections(const Menu& menu) {
        auto all = Gio::Menu::create();
        auto section = Gio::Menu::create();
        for (const MenuItem& item : menu) {
            if (item.separator) {
                all->append_section(section);
                section = Gio::Menu::create();
            } else if (!item.submenu.empty()) {
                section->append_submenu(literalLabel(item.title), sections(item.submenu));
            } else {
                section->append_item(entry(item));
            }
        }
        all->append_section(section);
        return all;
    }

    Glib::RefPtr<Gio::SimpleActionGroup> actions = Gio::SimpleActionGroup::create();

  private:
    Glib::RefPtr<Gio::MenuItem> entry(const MenuItem& item) {
        auto made = Gio::MenuItem::create(literalLabel(item.title), actionFor(item));
        const std::string accelerator = acceleratorOf(item.keyEquivalent);
        if (!accelerator.empty()) {
            made->set_attribute_value("accel", Glib::Variant<Glib::ustring>::create(accelerator));
        }
        return made;
    }

    std::string actionFor(const MenuItem& item) {
        const std::string standard =
            item.standardAction ? standardActions_(*item.standardAction) : std::string();
        if (!standard.empty() && item.enabled) {
            return standard;
        }
        const std::string name = fmt::format("item-{}", ++made_);
        const auto action = item.checkable || item.checked
                                ? Gio::SimpleAction::create_bool(name, item.checked)
                                : Gio::SimpleAction::create(name);
        action->set_enabled(item.enabled && item.action);
        action->signal_activate().connect(
            [chosen = item.action](const Glib::VariantBase& /*parameter*/) {
                const auto copy = chosen; // which may end the menu that holds it
                copy();
            });
        actions->add_action(action);
        return group_ + "." + name;
    }

    std::string group_;
    const StandardActionNames& standardActions_;
    int made_ = 0;
};

} // namespace

MenuModel makeMenuModel(const Menu& menu, const std::string& actionGroup,
                        const StandardActionNames& standardActions) {
    Builder builder(actionGroup, standardActions);
    auto model = builder.sections(menu);
    return {.model = model, .actions = builder.actions};
}

std::string acceleratorOf(const std::string& keyEquivalent) {
    if (keyEquivalent.size() != 1) {
        return {};
    }
    const auto key = static_cast<unsigned char>(keyEquivalent.front());
    return fmt::format("<Control>{}{}", std::isupper(key) != 0 ? "<Shift>" : "",
                       static_cast<char>(std::tolower(key)));
}

} // namespace platform::gtk
