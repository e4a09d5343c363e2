// Puts cookies into a network session, by way of libsoup's representation of them.
#pragma once

#include "platform/WebWindow.h"

#include <webkit/webkit.h>

#include <functional>

namespace platform::gtk {

// Main thread; the completion is called there, once, whether or not the cookie was taken.
void addCookie(WebKitNetworkSession* session, const WebCookie& cookie,
               std::function<void()> completion);

} // namespace platform::gtk
