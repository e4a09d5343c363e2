#include "tests/desktop/session/Accessibility.h"

#include "tests/desktop/session/Waiting.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace desktop {
namespace {

using platform::gtk::GErrorPtr;
using platform::gtk::GObjectPtr;

constexpr const char* launcherProgram = "/usr/libexec/at-spi-bus-launcher";
constexpr const char* accessible = "org.a11y.atspi.Accessible";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr const char* textOf = "org.a11y.atspi.Text";
constexpr std::uint32_t focusedState = 12; // ATSPI_STATE_FOCUSED
constexpr std::uint32_t labelledBy = 2;    // ATSPI_RELATION_LABELLED_BY
constexpr int deepest = 24;
constexpr int patienceMs = 5'000;

GObjectPtr<GDBusConnection> connect(const std::string& address) {
    GError* error = nullptr;
    GObjectPtr<GDBusConnection> connection(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    if (!connection) {
        const GErrorPtr owned(error);
        throw std::runtime_error(error->message);
    }
    return connection;
}

} // namespace

Accessibility::Accessibility(PrivateSession& session) {
    session.environment["GTK_A11Y"] = "atspi";
    launcher_ = session.start({launcherProgram, "--launch-immediately"}, "accessibility");
    const auto bus = connect(session.environment.at("DBUS_SESSION_BUS_ADDRESS"));
    std::string address;
    const bool found = eventually([&] {
        const Variant reply(
            g_dbus_connection_call_sync(bus.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus",
                                        "GetAddress", nullptr, G_VARIANT_TYPE("(s)"),
                                        G_DBUS_CALL_FLAGS_NONE, patienceMs, nullptr, nullptr),
            &g_variant_unref);
        const char* value = "";
        if (reply) {
            g_variant_get(reply.get(), "(&s)", &value);
            address = value;
        }
        return !address.empty();
    });
    if (!found) {
        throw std::runtime_error("there is no accessibility bus: " + launcher_->standardError());
    }
    connection_ = connect(address);
}

Accessibility::Variant Accessibility::call(const Reference& object, const char* interface,
                                           const char* method, GVariant* parameters) const {
    return {g_dbus_connection_call_sync(connection_.get(), object.bus.c_str(), object.path.c_str(),
                                        interface, method, parameters, nullptr,
                                        G_DBUS_CALL_FLAGS_NONE, patienceMs, nullptr, nullptr),
            &g_variant_unref};
}

std::vector<Accessibility::Reference> Accessibility::childrenOf(const Reference& object) const {
    std::vector<Reference> children;
    const Variant reply = call(object, accessible, "GetChildren", nullptr);
    if (!reply || g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(a(so))")) == FALSE) {
        return children;
    }
    const Variant list(g_variant_get_child_value(reply.get(), 0), &g_variant_unref);
    for (gsize index = 0; index < g_variant_n_children(list.get()); ++index) {
        const char* bus = nullptr;
        const char* path = nullptr;
        g_variant_get_child(list.get(), index, "(&s&o)", &bus, &path);
        children.push_back({.bus = bus, .path = path});
    }
    return children;
}

std::string Accessibility::text(const Reference& object, const char* property) const {
    const Variant reply =
        call(object, properties, "Get", g_variant_new("(ss)", accessible, property));
    if (!reply || g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(v)")) == FALSE) {
        return {};
    }
    GVariant* inner = nullptr;
    g_variant_get(reply.get(), "(v)", &inner);
    const Variant value(inner, &g_variant_unref);
    return g_variant_is_of_type(inner, G_VARIANT_TYPE_STRING) == FALSE
               ? std::string()
               : g_variant_get_string(inner, nullptr);
}

// What a screen reader says of an object without a name of its own.
std::string Accessibility::label(const Reference& object) const {
    const Variant reply = call(object, accessible, "GetRelationSet", nullptr);
    if (!reply || g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(a(ua(so)))")) == FALSE) {
        return {};
    }
    const Variant relations(g_variant_get_child_value(reply.get(), 0), &g_variant_unref);
    for (gsize index = 0; index < g_variant_n_children(relations.get()); ++index) {
        std::uint32_t kind = 0;
        GVariant* targets = nullptr;
        g_variant_get_child(relations.get(), index, "(u@a(so))", &kind, &targets);
        const Variant labels(targets, &g_variant_unref);
        if (kind != labelledBy || g_variant_n_children(labels.get()) == 0) {
            continue;
        }
        const char* bus = nullptr;
        const char* path = nullptr;
        g_variant_get_child(labels.get(), 0, "(&s&o)", &bus, &path);
        const Variant answer =
            call({.bus = bus, .path = path}, textOf, "GetText", g_variant_new("(ii)", 0, -1));
        const char* words = nullptr;
        if (answer && g_variant_is_of_type(answer.get(), G_VARIANT_TYPE("(s)")) != FALSE) {
            g_variant_get(answer.get(), "(&s)", &words);
            return words;
        }
    }
    return {};
}

AccessibleObject Accessibility::read(const Reference& object) const {
    AccessibleObject result{.name = text(object, "Name"),
                            .description = text(object, "Description")};
    if (result.name.empty()) {
        result.name = label(object);
    }
    const Variant role = call(object, accessible, "GetRoleName", nullptr);
    const char* roleName = nullptr;
    if (role && g_variant_is_of_type(role.get(), G_VARIANT_TYPE("(s)")) != FALSE) {
        g_variant_get(role.get(), "(&s)", &roleName);
        result.role = roleName;
    }
    const Variant states = call(object, accessible, "GetState", nullptr);
    if (states && g_variant_is_of_type(states.get(), G_VARIANT_TYPE("(au)")) != FALSE) {
        const Variant words(g_variant_get_child_value(states.get(), 0), &g_variant_unref);
        std::uint32_t first = 0;
        if (g_variant_n_children(words.get()) > 0) {
            g_variant_get_child(words.get(), 0, "u", &first);
        }
        result.focused = (first & (std::uint32_t{1} << focusedState)) != 0;
    }
    return result;
}

// A page's objects belong to another process and are nobody's business here.
void Accessibility::addBelow(const Reference& object, const std::string& application, int depth,
                             std::vector<AccessibleObject>& found) const {
    for (const Reference& child : childrenOf(object)) {
        if (child.bus == object.bus && depth < deepest) {
            found.push_back(read(child));
            found.back().application = application;
            addBelow(child, application, depth + 1, found);
        }
    }
}

std::vector<AccessibleObject> Accessibility::objects() const {
    std::vector<AccessibleObject> found;
    const Reference registry{.bus = "org.a11y.atspi.Registry",
                             .path = "/org/a11y/atspi/accessible/root"};
    for (const Reference& program : childrenOf(registry)) {
        addBelow(program, text(program, "Name"), 0, found);
    }
    return found;
}

std::string Accessibility::focusedName() const {
    std::string name;
    for (const AccessibleObject& object : objects()) {
        if (object.focused && !object.name.empty()) {
            name = object.name;
        }
    }
    return name;
}

} // namespace desktop
