#include "platform/linux/tray/NotifierObject.h"

#include "platform/linux/tray/NotifierInterface.h"

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace platform::tray {
namespace {

GVariant* pixmapArray(const std::vector<IconPixmap>& pixmaps) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a(iiay)"));
    for (const IconPixmap& image : pixmaps) {
        g_variant_builder_add(&builder, "(ii@ay)", image.width, image.height,
                              g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, image.bytes.data(),
                                                        image.bytes.size(), 1));
    }
    return g_variant_builder_end(&builder);
}

// The subtitle may hold markup, so what is meant as text has to be escaped.
GVariant* toolTip(const NotifierContent& content) {
    const gtk::GMemory<char> subtitle(g_markup_escape_text(content.toolTipSubtitle.c_str(), -1));
    return g_variant_new("(s@a(iiay)ss)", "", pixmapArray({}), content.toolTipTitle.c_str(),
                         subtitle.get());
}

} // namespace

NotifierObject::NotifierObject(GDBusConnection* connection, const char* objectPath,
                               const char* menuPath, NotifierContent content)
    : connection_(static_cast<GDBusConnection*>(g_object_ref(connection)))
    , objectPath_(objectPath)
    , menuPath_(menuPath)
    , content_(std::move(content)) {
    static constexpr GDBusInterfaceVTable calls{
        .method_call = onCall, .get_property = onGet, .set_property = nullptr, .padding = {}};
    GError* error = nullptr;
    registration_ = g_dbus_connection_register_object(connection, objectPath, notifierInterface(),
                                                      &calls, this, nullptr, &error);
    if (registration_ == 0) {
        const gtk::GErrorPtr owned(error);
        throw std::runtime_error(error->message);
    }
}

NotifierObject::~NotifierObject() {
    g_dbus_connection_unregister_object(connection_.get(), registration_);
}

void NotifierObject::show(NotifierContent content) {
    const NotifierContent before = std::exchange(content_, std::move(content));
    const auto differs = [&](auto member) { return before.*member != content_.*member; };
    if (differs(&NotifierContent::title)) {
        announce("NewTitle");
    }
    if (differs(&NotifierContent::iconThemePath)) {
        announce("NewIconThemePath", g_variant_new("(s)", content_.iconThemePath.c_str()));
    }
    if (differs(&NotifierContent::iconName) || differs(&NotifierContent::iconFile) ||
        differs(&NotifierContent::iconText)) {
        pixmaps_.reset();
        announce("NewIcon");
    }
    if (differs(&NotifierContent::label)) {
        announce("XAyatanaNewLabel", g_variant_new("(ss)", content_.label.c_str(), ""));
    }
    if (differs(&NotifierContent::toolTipTitle) || differs(&NotifierContent::toolTipSubtitle)) {
        announce("NewToolTip");
    }
}

void NotifierObject::announce(const char* signal, GVariant* parameters) const {
    g_dbus_connection_emit_signal(connection_.get(), nullptr, objectPath_.c_str(),
                                  notifierInterfaceName, signal, parameters, nullptr);
}

void NotifierObject::onCall(GDBusConnection* /*connection*/, const char* /*sender*/,
                            const char* /*path*/, const char* /*interface*/, const char* method,
                            GVariant* parameters, GDBusMethodInvocation* invocation,
                            gpointer self) {
    const std::string_view called = method;
    // Copies: what they do may end this object.
    const auto activate = static_cast<NotifierObject*>(self)->onActivate;
    const auto given = static_cast<NotifierObject*>(self)->onActivationToken;
    if (called == "Activate" && activate && activate()) {
        g_dbus_method_invocation_return_value(invocation, nullptr);
    } else if (called == "Activate" || called == "ContextMenu") {
        g_dbus_method_invocation_return_error_literal(
            invocation, G_DBUS_ERROR, G_DBUS_ERROR_NOT_SUPPORTED,
            "this item is a menu, which the host shows (see the properties ItemIsMenu and Menu)");
    } else {
        if (called == "ProvideXdgActivationToken" && given) {
            const char* token = nullptr;
            g_variant_get(parameters, "(&s)", &token);
            given(token);
        }
        g_dbus_method_invocation_return_value(invocation, nullptr);
    }
}

GVariant* NotifierObject::onGet(GDBusConnection* /*connection*/, const char* /*sender*/,
                                const char* /*path*/, const char* /*interface*/,
                                const char* property, GError** error, gpointer self) {
    GVariant* const value = static_cast<NotifierObject*>(self)->property(property);
    if (value == nullptr) {
        g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "no property %s", property);
    }
    return value;
}

const std::vector<IconPixmap>& NotifierObject::pixmaps() {
    if (!pixmaps_) {
        pixmaps_ =
            content_.iconFile.empty() ? drawText(content_.iconText) : drawSymbol(content_.iconFile);
    }
    return *pixmaps_;
}

GVariant* NotifierObject::property(std::string_view name) {
    const std::array<std::pair<std::string_view, const char*>, 11> texts{{
        {"Category", "ApplicationStatus"},
        {"Id", content_.id.c_str()},
        {"Title", content_.title.c_str()},
        {"Status", "Active"},
        {"IconThemePath", content_.iconThemePath.c_str()},
        {"IconName", content_.iconName.c_str()},
        {"OverlayIconName", ""},
        {"AttentionIconName", ""},
        {"AttentionMovieName", ""},
        {"XAyatanaLabel", content_.label.c_str()},
        {"XAyatanaLabelGuide", ""},
    }};
    for (const auto& [key, text] : texts) {
        if (key == name) {
            return g_variant_new_string(text);
        }
    }
    if (name == "Version" || name == "WindowId") {
        return g_variant_new_int32(0);
    }
    if (name == "ItemIsMenu") {
        return g_variant_new_boolean(TRUE);
    }
    if (name == "Menu") {
        return g_variant_new_object_path(menuPath_.c_str());
    }
    if (name == "ToolTip") {
        return toolTip(content_);
    }
    if (name == "IconPixmap") {
        return pixmapArray(pixmaps());
    }
    return name.ends_with("IconPixmap") ? pixmapArray({}) : nullptr;
}

} // namespace platform::tray
