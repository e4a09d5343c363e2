// The D-Bus interface of a StatusNotifierWatcher, as far as an item talks to one: what every
// watcher that the tests play offers.
#pragma once

#include <gio/gio.h>

namespace traymenu {

// Lives as long as the process.
[[nodiscard]] inline GDBusInterfaceInfo* watcherInterface() {
    static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(R"xml(<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <signal name="StatusNotifierHostRegistered"/>
    <signal name="StatusNotifierHostUnregistered"/>
  </interface>
</node>)xml",
                                                                    nullptr);
    return node->interfaces[0];
}

} // namespace traymenu
