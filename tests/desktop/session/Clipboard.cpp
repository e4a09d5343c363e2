#include "tests/desktop/session/Clipboard.h"

#include "tests/desktop/session/Waiting.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace desktop {
namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

} // namespace

std::optional<std::string> clipboardText(const std::string& display) {
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> owner(
        xcb_connect(display.c_str(), nullptr), &xcb_disconnect);
    xcb_connection_t* const connection = owner.get();
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_window_t window = xcb_generate_id(connection);
    xcb_create_window(connection, 0, window, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, screen->root_visual, 0, nullptr);
    const xcb_atom_t property = atom(connection, "DESKTOP_TEST_CLIPBOARD");
    xcb_convert_selection(connection, window, atom(connection, "CLIPBOARD"),
                          atom(connection, "UTF8_STRING"), property, XCB_CURRENT_TIME);
    xcb_flush(connection);
    std::optional<std::string> text;
    (void)eventually(
        [&] {
            const std::unique_ptr<xcb_generic_event_t, Free> event(xcb_poll_for_event(connection));
            if (!event || (event->response_type & 0x7f) != XCB_SELECTION_NOTIFY) {
                return false;
            }
            const std::unique_ptr<xcb_get_property_reply_t, Free> reply(
                xcb_get_property_reply(connection,
                                       xcb_get_property(connection, 0, window, property,
                                                        XCB_GET_PROPERTY_TYPE_ANY, 0, 4096),
                                       nullptr));
            if (reply && reply->type != XCB_ATOM_NONE) {
                text.emplace(static_cast<const char*>(xcb_get_property_value(reply.get())),
                             static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
            }
            return true;
        },
        std::chrono::seconds(1));
    return text;
}

} // namespace desktop
