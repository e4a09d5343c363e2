#include "tests/support/traymenu/TrayMenu.h"

#include <memory>

namespace traymenu {
namespace {

std::string lookUpText(GVariant* dictionary, const char* key) {
    const char* text = nullptr;
    return g_variant_lookup(dictionary, key, "&s", &text) != FALSE ? text : "";
}

std::string describe(GVariant* properties) {
    if (lookUpText(properties, "type") == "separator") {
        return "-";
    }
    std::string text = lookUpText(properties, "label");
    gboolean enabled = TRUE;
    gboolean visible = TRUE;
    gint32 state = 0;
    (void)g_variant_lookup(properties, "enabled", "b", &enabled);
    (void)g_variant_lookup(properties, "visible", "b", &visible);
    (void)g_variant_lookup(properties, "toggle-state", "i", &state);
    if (enabled == FALSE) {
        text = "[" + text + "]";
    }
    if (lookUpText(properties, "toggle-type") == "checkmark") {
        text = (state == 1 ? "* " : "o ") + text;
    }
    return visible != FALSE ? text : "hidden";
}

} // namespace

Layout readLayout(GVariant* reply) {
    Layout layout;
    GVariant* rootProperties = nullptr;
    GVariantIter* children = nullptr;
    g_variant_get(reply, "(u(i@a{sv}av))", &layout.revision, nullptr, &rootProperties, &children);
    const std::unique_ptr<GVariant, decltype(&g_variant_unref)> owned(rootProperties,
                                                                      &g_variant_unref);
    GVariant* child = nullptr;
    while (g_variant_iter_loop(children, "v", &child) != FALSE) {
        gint32 id = 0;
        GVariant* values = nullptr;
        g_variant_get(child, "(i@a{sv}@av)", &id, &values, nullptr);
        layout.ids.push_back(id);
        layout.items.push_back(describe(values));
        g_variant_unref(values);
    }
    g_variant_iter_free(children);
    return layout;
}

} // namespace traymenu
