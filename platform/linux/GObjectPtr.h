// Owns one reference to a GObject and gives it back once. Moving empties the source; copying is
// left out on purpose. For objects that gtkmm has no class for. Not for sharing between threads.
#pragma once

#include <glib-object.h>

#include <memory>

namespace platform::gtk {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};

template <typename Type>
using GObjectPtr = std::unique_ptr<Type, GObjectUnref>;

struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
};

template <typename Type>
using GMemory = std::unique_ptr<Type, GFree>;

struct GErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};

using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

struct VariantUnref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};

using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

} // namespace platform::gtk
