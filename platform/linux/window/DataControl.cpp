#include "platform/linux/window/DataControl.h"

#include "platform/linux/GObjectPtr.h"

#include <gio/gunixoutputstream.h>
#include <glib-unix.h>
#ifdef GDK_WINDOWING_WAYLAND
#include <gdk/wayland/gdkwayland.h>
#include <wayland-client.h>
#endif

#include <array>
#include <cstring>
#include <utility>

namespace platform::gtk {

#ifdef GDK_WINDOWING_WAYLAND

namespace {

// The places of the requests in their interfaces.
constexpr std::uint32_t createSource = 0;
constexpr std::uint32_t getDevice = 1;
constexpr std::uint32_t destroyManager = 2;
constexpr std::uint32_t setSelection = 0;
constexpr std::uint32_t destroyDevice = 1;
constexpr std::uint32_t offerType = 0;
constexpr std::uint32_t destroySource = 1;
constexpr std::uint32_t destroyOffer = 1;
constexpr std::uint32_t version = 1;

constexpr std::array textTypes = {"text/plain;charset=utf-8", "text/plain", "UTF8_STRING", "STRING",
                                  "TEXT"};

// One of the two protocols: they differ in their names only.
class Protocol {
    // Before what points to them.
    std::array<const wl_interface*, 2> none{};
    std::array<const wl_interface*, 1> ofSource{&source};
    std::array<const wl_interface*, 1> ofOffer{&offer};
    std::array<const wl_interface*, 2> ofDevice{&device, &wl_seat_interface};
    std::array<wl_message, 3> managerRequests{{{"create_data_source", "n", ofSource.data()},
                                               {"get_data_device", "no", ofDevice.data()},
                                               {"destroy", "", none.data()}}};
    std::array<wl_message, 2> deviceRequests{
        {{"set_selection", "?o", ofSource.data()}, {"destroy", "", none.data()}}};
    std::array<wl_message, 4> deviceEvents{{{"data_offer", "n", ofOffer.data()},
                                            {"selection", "?o", ofOffer.data()},
                                            {"finished", "", none.data()},
                                            {"primary_selection", "?o", ofOffer.data()}}};
    std::array<wl_message, 2> sourceRequests{
        {{"offer", "s", none.data()}, {"destroy", "", none.data()}}};
    std::array<wl_message, 2> sourceEvents{
        {{"send", "sh", none.data()}, {"cancelled", "", none.data()}}};
    std::array<wl_message, 2> offerRequests{
        {{"receive", "sh", none.data()}, {"destroy", "", none.data()}}};
    std::array<wl_message, 1> offerEvents{{{"offer", "s", none.data()}}};

  public:
    Protocol(const char* managerName, const char* deviceName, const char* sourceName,
             const char* offerName)
        : manager{managerName, version, 3, managerRequests.data(), 0, nullptr}
        , device{deviceName, version, 2, deviceRequests.data(), 4, deviceEvents.data()}
        , source{sourceName, version, 2, sourceRequests.data(), 2, sourceEvents.data()}
        , offer{offerName, version, 2, offerRequests.data(), 1, offerEvents.data()} {}
    Protocol(const Protocol&) = delete;
    Protocol& operator=(const Protocol&) = delete;

    wl_interface manager;
    wl_interface device;
    wl_interface source;
    wl_interface offer;
};

const Protocol& ext() {
    static const Protocol protocol("ext_data_control_manager_v1", "ext_data_control_device_v1",
                                   "ext_data_control_source_v1", "ext_data_control_offer_v1");
    return protocol;
}

const Protocol& wlr() {
    static const Protocol protocol("zwlr_data_control_manager_v1", "zwlr_data_control_device_v1",
                                   "zwlr_data_control_source_v1", "zwlr_data_control_offer_v1");
    return protocol;
}

void destroy(wl_proxy* proxy, std::uint32_t request) {
    wl_proxy_marshal_flags(proxy, request, nullptr, version, WL_MARSHAL_FLAG_DESTROY);
}

// Nobody here reads the clipboard: what is offered is given back.
void onOffer(void* /*self*/, wl_proxy* /*device*/, wl_proxy* offer) {
    destroy(offer, destroyOffer);
}
void ignoreSelection(void* /*self*/, wl_proxy* /*device*/, wl_proxy* /*offer*/) {}
void ignoreEnd(void* /*self*/, wl_proxy* /*device*/) {}

struct DeviceListener {
    void (*offer)(void*, wl_proxy*, wl_proxy*);
    void (*selection)(void*, wl_proxy*, wl_proxy*);
    void (*finished)(void*, wl_proxy*);
    void (*primarySelection)(void*, wl_proxy*, wl_proxy*);
};
constexpr DeviceListener deviceListener{.offer = onOffer,
                                        .selection = ignoreSelection,
                                        .finished = ignoreEnd,
                                        .primarySelection = ignoreSelection};

struct SourceListener {
    void (*send)(void*, wl_proxy*, const char*, std::int32_t);
    void (*cancelled)(void*, wl_proxy*);
};

void listen(wl_proxy* proxy, const void* listener, void* data) {
    // libwayland calls the functions in the order of the events, whatever the table's type.
    wl_proxy_add_listener(proxy,
                          reinterpret_cast<void (**)()>(const_cast<void*>(listener)), // NOLINT
                          data);
}

// Until the reader has taken all or closed its end.
void write(int descriptor, const std::string& text) {
    g_unix_set_fd_nonblocking(descriptor, TRUE, nullptr);
    const GObjectPtr<GOutputStream> stream(g_unix_output_stream_new(descriptor, TRUE));
    GBytes* const bytes = g_bytes_new(text.data(), text.size());
    gsize size = 0;
    const void* const data = g_bytes_get_data(bytes, &size);
    g_output_stream_write_all_async(
        stream.get(), data, size, G_PRIORITY_DEFAULT, nullptr,
        [](GObject* writer, GAsyncResult* result, gpointer content) {
            g_output_stream_write_all_finish(G_OUTPUT_STREAM(writer), result, nullptr, nullptr);
            g_bytes_unref(static_cast<GBytes*>(content));
        },
        bytes);
}

} // namespace

struct DataControl::Source {
    Source(DataControl& owner, wl_proxy* proxyOfSource, std::string content)
        : control(owner)
        , proxy(proxyOfSource)
        , text(std::move(content)) {}
    ~Source() { destroy(proxy, destroySource); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    DataControl& control;
    wl_proxy* proxy;
    std::string text;
};

DataControl::DataControl(GdkDisplay* display, std::function<void()> taken)
    : taken_(std::move(taken)) {
    if (!GDK_IS_WAYLAND_DISPLAY(display)) {
        return;
    }
    wl_display* const wayland = gdk_wayland_display_get_wl_display(display);
    // A queue of its own: the answer is waited for without anything else being done meanwhile.
    wl_event_queue* const queue = wl_display_create_queue(wayland);
    auto* const wrapper = static_cast<wl_display*>(wl_proxy_create_wrapper(wayland));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(wrapper), queue);
    wl_registry* const registry = wl_display_get_registry(wrapper);
    static constexpr wl_registry_listener listener{
        .global = onGlobal,
        .global_remove = [](void* /*self*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}};
    wl_registry_add_listener(registry, &listener, this);
    wl_display_roundtrip_queue(wayland, queue);
    const bool isExt = extName_ != 0;
    if (isExt || wlrName_ != 0) {
        const Protocol& protocol = isExt ? ext() : wlr();
        manager_ = static_cast<wl_proxy*>(
            wl_registry_bind(registry, isExt ? extName_ : wlrName_, &protocol.manager, version));
        wl_proxy_set_queue(manager_, nullptr); // GDK's
        bind(display);
    }
    wl_registry_destroy(registry);
    wl_proxy_wrapper_destroy(wrapper);
    wl_event_queue_destroy(queue);
}

void DataControl::bind(GdkDisplay* display) {
    GdkSeat* const seat = gdk_display_get_default_seat(display);
    if (seat == nullptr) {
        return; // nobody to copy for
    }
    const Protocol& protocol = extName_ != 0 ? ext() : wlr();
    device_ = wl_proxy_marshal_flags(manager_, getDevice, &protocol.device, version, 0, nullptr,
                                     gdk_wayland_seat_get_wl_seat(seat));
    listen(device_, &deviceListener, this);
}

DataControl::~DataControl() {
    source_.reset();
    if (device_ != nullptr) {
        destroy(device_, destroyDevice);
    }
    if (manager_ != nullptr) {
        destroy(manager_, destroyManager);
    }
}

void DataControl::onGlobal(void* self, wl_registry* /*registry*/, std::uint32_t name,
                           const char* interface, std::uint32_t /*version*/) {
    auto* const control = static_cast<DataControl*>(self);
    if (std::strcmp(interface, ext().manager.name) == 0) {
        control->extName_ = name;
    } else if (std::strcmp(interface, wlr().manager.name) == 0) {
        control->wlrName_ = name;
    }
}

void DataControl::setText(const std::string& text) {
    const Protocol& protocol = extName_ != 0 ? ext() : wlr();
    wl_proxy* const proxy =
        wl_proxy_marshal_flags(manager_, createSource, &protocol.source, version, 0, nullptr);
    auto source = std::make_unique<Source>(*this, proxy, text);
    static constexpr SourceListener listener{.send = onSend, .cancelled = onCancelled};
    listen(proxy, &listener, source.get());
    for (const char* type : textTypes) {
        wl_proxy_marshal_flags(proxy, offerType, nullptr, version, 0, type);
    }
    wl_proxy_marshal_flags(device_, setSelection, nullptr, version, 0, proxy);
    source_ = std::move(source); // the one before goes
}

void DataControl::onSend(void* source, wl_proxy* /*proxy*/, const char* /*type*/,
                         std::int32_t descriptor) {
    write(descriptor, static_cast<Source*>(source)->text);
}

void DataControl::onCancelled(void* source, wl_proxy* /*proxy*/) {
    DataControl& control = static_cast<Source*>(source)->control;
    control.source_.reset();
    control.taken_();
}

#else

struct DataControl::Source {};

DataControl::DataControl(GdkDisplay* /*display*/, std::function<void()> taken)
    : taken_(std::move(taken)) {}
DataControl::~DataControl() = default;
void DataControl::setText(const std::string& /*text*/) {}

#endif

} // namespace platform::gtk
