// The two interfaces of WindowInterface.xml, read once; and the judgement of a message before
// anybody acts on it. Any thread.
#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <string>

namespace platform::connection {

enum class Side { program, owner };

struct Endpoint {
    const char* path;
    const char* interface;
    GDBusInterfaceInfo* description; // never null, never freed
};

// Where that side answers.
[[nodiscard]] const Endpoint& endpointOf(Side side);

// The types of a method's arguments, or of what it returns, without brackets. Throws
// std::logic_error for a method that the interface does not have.
[[nodiscard]] std::string argumentsOf(Side side, const char* method);
[[nodiscard]] std::string resultsOf(Side side, const char* method);

// Whether a message may reach `side`: a call of one of its methods with just those types, or a
// reply, and a body of at most `largest` bytes.
[[nodiscard]] bool isAcceptable(GDBusMessage* message, Side side, std::size_t largest);

} // namespace platform::connection
