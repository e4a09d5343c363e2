// The Apple event that is being handled while an object of this class lives.
// https://developer.apple.com/documentation/foundation/nsappleeventmanager/currentappleevent
#pragma once

#include <cstdint>
#include <optional>

namespace cocoa_host {

// How the attribute "why?" holds its four characters: the system sends an enumeration, some
// programs a type.
enum class CodeKind { enumeration, type };

class CurrentAppleEvent {
  public:
    CurrentAppleEvent(std::uint32_t eventClass, std::uint32_t eventId,
                      std::optional<std::uint32_t> why = std::nullopt,
                      CodeKind kind = CodeKind::enumeration);
    ~CurrentAppleEvent();
    CurrentAppleEvent(const CurrentAppleEvent&) = delete;
    CurrentAppleEvent& operator=(const CurrentAppleEvent&) = delete;

    const std::uint32_t eventClass;
    const std::uint32_t eventId;
    const std::optional<std::uint32_t> why;
    const CodeKind kind;
};

} // namespace cocoa_host
