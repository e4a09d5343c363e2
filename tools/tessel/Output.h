// What the tool prints. Results go to standard output, which is looked after once at the end: what
// could not be written there makes the command fail. Everything else goes to standard error, where
// nothing can fail. Main thread only.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

namespace tool {

// Puts something in the place of standard descriptors that are closed, so that no file of ours gets
// their numbers: on it every read and write fails. Call it first.
void takeStandardDescriptors();

// To standard output, byte for byte.
void printText(std::string_view text);

template <typename... Arguments>
void emit(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    printText(fmt::format(format, std::forward<Arguments>(arguments)...));
}

// Lets a reader have what was printed so far. False once nothing more can be written.
bool flushOutput();

// False when standard output is a pipe or a socket whose other end is closed.
[[nodiscard]] bool outputHasReader();

// To standard error, as it is.
void sayText(std::string_view text);
// "tessel: ", the message and a line feed.
void say(std::string_view message);

// Whether a person reads standard output or standard error.
[[nodiscard]] bool outputIsTerminal();
[[nodiscard]] bool errorIsTerminal();

// Writes what is left and closes standard output. The exit status: the one given, or 1 with a
// sentence on standard error when something could not be written, or 141 and no word when the
// reader has gone.
[[nodiscard]] int finishOutput(int status);

// Text from elsewhere, fit for a terminal: control characters, marks that turn the direction of
// writing and bytes that are no UTF-8 become escapes such as \n, \x1b and \u202e.
[[nodiscard]] std::string visible(std::string_view text);

} // namespace tool
