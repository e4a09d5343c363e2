// What a page posted, on its way out of JavaScriptCore. See ScriptMessageHandler in
// platform/WebWindow.h for what becomes of each type; getters and toJSON of the page are not run,
// since the value is a copy. At most 64 levels and 100,000 values are taken. Main thread only.
#pragma once

#include <boost/json/value.hpp>
#include <jsc/jsc.h>

namespace platform::gtk {

[[nodiscard]] boost::json::value scriptValue(JSCValue* value);

} // namespace platform::gtk
