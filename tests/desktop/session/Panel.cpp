#include "tests/desktop/session/Panel.h"

#include "tests/desktop/session/Waiting.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace desktop {
namespace {

constexpr const char* configuration = R"xml(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
)xml";

std::string settingsDaemon() {
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib")) {
        const auto file = entry.path() / "xfce4/xfconf/xfconfd";
        if (std::filesystem::exists(file)) {
            return file.string();
        }
    }
    throw std::runtime_error("there is no xfconfd");
}

} // namespace

Panel::Panel(DesktopSession& session)
    : session_(session) {
    const auto folder = session.configHome() / "xfce4/xfconf/xfce-perchannel-xml";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "xfce4-panel.xml") << configuration;
    settings_ = session.start({settingsDaemon()}, "xfconfd");
    panel_ = session.start({"xfce4-panel", "--disable-wm-check"}, "panel");
}

void Panel::clickFirstItem() const {
    session_.click(height / 3, height / 2);
}

// The panel runs its tray in a program whose windows bear the program's name: the tray itself, in
// the panel, and the menus, below it.
std::optional<WindowGeometry> Panel::menu() const {
    for (const std::string& window : session_.visibleWindows("wrapper-2.0")) {
        const WindowGeometry place = session_.geometry(window);
        if (place.y >= height) {
            return place;
        }
    }
    return std::nullopt;
}

bool Panel::showsAnItem() const {
    return eventually([this] {
        const auto shot = session_.screenshotOf({.x = 0, .y = 0, .width = 24, .height = height});
        return shot && shot->distinctColours() > 8;
    });
}

} // namespace desktop
