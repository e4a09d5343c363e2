// Rules whose violation is a bug of ours, not an event: the process says which one and traps.
#pragma once

#include <string_view>

namespace tessel {

// Ends the process with a message on standard error unless the condition holds. Any thread.
void precondition(bool holds, std::string_view rule);

} // namespace tessel
