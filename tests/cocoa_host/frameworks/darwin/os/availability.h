// Everything is available here: the macOS build is where availability is examined.
#pragma once

#define API_AVAILABLE(...)
#define API_DEPRECATED(...)
