#include "platform/linux/window/Cookies.h"

#include <libsoup/soup.h>

#include <chrono>
#include <memory>
#include <utility>

namespace platform::gtk {
namespace {

constexpr int withTheSession = -1; // libsoup's lifetime of a cookie that has no date

struct CookieFree {
    void operator()(SoupCookie* cookie) const { soup_cookie_free(cookie); }
};

struct DateUnref {
    void operator()(GDateTime* date) const { g_date_time_unref(date); }
};

void onAdded(GObject* manager, GAsyncResult* result, gpointer completion) {
    const std::unique_ptr<std::function<void()>> call(
        static_cast<std::function<void()>*>(completion));
    webkit_cookie_manager_add_cookie_finish(WEBKIT_COOKIE_MANAGER(manager), result, nullptr);
    (*call)();
}

} // namespace

void addCookie(WebKitNetworkSession* session, const WebCookie& cookie,
               std::function<void()> completion) {
    const std::unique_ptr<SoupCookie, CookieFree> made(
        soup_cookie_new(cookie.name.c_str(), cookie.value.c_str(), cookie.domain.c_str(),
                        cookie.path.c_str(), withTheSession));
    const std::unique_ptr<GDateTime, DateUnref> expires(
        g_date_time_new_from_unix_utc(std::chrono::system_clock::to_time_t(cookie.expires)));
    soup_cookie_set_expires(made.get(), expires.get());
    soup_cookie_set_secure(made.get(), cookie.secure ? TRUE : FALSE);
    webkit_cookie_manager_add_cookie(
        webkit_network_session_get_cookie_manager(session), made.get(), nullptr, onAdded,
        std::make_unique<std::function<void()>>(std::move(completion)).release());
}

} // namespace platform::gtk
