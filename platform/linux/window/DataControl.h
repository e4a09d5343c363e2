// The clipboard of a Wayland compositor that lets programs without a window set it: by
// ext-data-control-v1, or by zwlr_data_control_manager_v1, its forerunner with the same requests.
// Both are spoken in version 1. What was set stays until somebody else sets something or the object
// goes. Main thread only, which iterates GLib's default main context; outlived by the display.
#pragma once

#include <gdk/gdk.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct wl_proxy;
struct wl_registry;

namespace platform::gtk {

class DataControl {
  public:
    // Waits once for the compositor. `taken` is called when somebody else has set the clipboard.
    DataControl(GdkDisplay* display, std::function<void()> taken);
    ~DataControl();
    DataControl(const DataControl&) = delete;
    DataControl& operator=(const DataControl&) = delete;

    // Whether the compositor has either protocol; never on X11.
    [[nodiscard]] bool isThere() const { return device_ != nullptr; }
    // Plain text.
    void setText(const std::string& text);

  private:
    struct Source;

    static void onGlobal(void* self, wl_registry* registry, std::uint32_t name,
                         const char* interface, std::uint32_t version);
    static void onSend(void* source, wl_proxy* proxy, const char* type, std::int32_t descriptor);
    static void onCancelled(void* source, wl_proxy* proxy);

    void bind(GdkDisplay* display);

    std::function<void()> taken_;
    std::uint32_t extName_ = 0; // of the globals; 0: not offered
    std::uint32_t wlrName_ = 0;
    wl_proxy* manager_ = nullptr;
    wl_proxy* device_ = nullptr;
    std::unique_ptr<Source> source_;
};

} // namespace platform::gtk
