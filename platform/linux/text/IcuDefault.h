// ICU's default locale, where it cannot be had from the environment: ICU 76 ends the process at its
// first use when LC_ALL, LC_MESSAGES or LANG name a locale whose form it does not accept.
#pragma once

namespace platform {

// Whether a name in POSIX's form can become ICU's default locale. An empty one can.
[[nodiscard]] bool icuAccepts(const char* posixLocale);

// To be called before anything of ICU's: once in a process it looks at the environment, and gives
// ICU a default of its own (en_US_POSIX) only where the environment's would not do. Nothing here
// depends on which one it is. Any thread.
void makeIcuUsable();

} // namespace platform
