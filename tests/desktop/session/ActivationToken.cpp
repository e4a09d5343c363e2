#include "tests/desktop/session/ActivationToken.h"

#include <wayland-client.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace desktop {
namespace {

constexpr std::uint32_t version = 1;
// The places of the requests in their interfaces.
constexpr std::uint32_t getToken = 1;
constexpr std::uint32_t commit = 3;

class Protocol {
    // Before what points to them.
    std::array<const wl_interface*, 2> none{};
    std::array<const wl_interface*, 1> ofToken{&token};
    std::array<wl_message, 5> tokenRequests{{{"set_serial", "uo", none.data()},
                                             {"set_app_id", "s", none.data()},
                                             {"set_surface", "o", none.data()},
                                             {"commit", "", none.data()},
                                             {"destroy", "", none.data()}}};
    std::array<wl_message, 1> tokenEvents{{{"done", "s", none.data()}}};
    std::array<wl_message, 3> managerRequests{{{"destroy", "", none.data()},
                                               {"get_activation_token", "n", ofToken.data()},
                                               {"activate", "so", none.data()}}};

  public:
    Protocol()
        : token{"xdg_activation_token_v1", version, 5, tokenRequests.data(), 1, tokenEvents.data()}
        , manager{"xdg_activation_v1", version, 3, managerRequests.data(), 0, nullptr} {}
    Protocol(const Protocol&) = delete;
    Protocol& operator=(const Protocol&) = delete;

    wl_interface token;
    wl_interface manager;
};

const Protocol& protocol() {
    static const Protocol only;
    return only;
}

void onGlobal(void* found, wl_registry* registry, std::uint32_t name, const char* interface,
              std::uint32_t /*version*/) {
    if (std::strcmp(interface, protocol().manager.name) == 0) {
        *static_cast<wl_proxy**>(found) =
            static_cast<wl_proxy*>(wl_registry_bind(registry, name, &protocol().manager, version));
    }
}

struct TokenListener {
    void (*done)(void* token, wl_proxy* proxy, const char* text);
};

} // namespace

std::string askForActivationToken(const std::filesystem::path& socket) {
    // Whatever was made on the connection goes with it.
    const std::unique_ptr<wl_display, decltype(&wl_display_disconnect)> display(
        wl_display_connect(socket.c_str()), &wl_display_disconnect);
    if (!display) {
        throw std::runtime_error("no compositor at " + socket.string());
    }
    wl_proxy* manager = nullptr;
    wl_registry* const registry = wl_display_get_registry(display.get());
    static constexpr wl_registry_listener globals{
        .global = onGlobal,
        .global_remove = [](void* /*found*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}};
    wl_registry_add_listener(registry, &globals, static_cast<void*>(&manager));
    wl_display_roundtrip(display.get());
    if (manager == nullptr) {
        throw std::runtime_error("the compositor gives no permissions");
    }
    wl_proxy* const proxy =
        wl_proxy_marshal_flags(manager, getToken, &protocol().token, version, 0, nullptr);
    std::string token;
    static constexpr TokenListener done{
        .done = [](void* text, wl_proxy* /*proxy*/, const char* given) {
            *static_cast<std::string*>(text) = given;
        }};
    wl_proxy_add_listener(
        proxy, reinterpret_cast<void (**)()>(const_cast<TokenListener*>(&done)), // NOLINT
        &token);
    wl_proxy_marshal_flags(proxy, commit, nullptr, version, 0);
    wl_display_roundtrip(display.get());
    for (wl_proxy* each : {proxy, manager, reinterpret_cast<wl_proxy*>(registry)}) {
        wl_proxy_destroy(each);
    }
    return token;
}

} // namespace desktop
