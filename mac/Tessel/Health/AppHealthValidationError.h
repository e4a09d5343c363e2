// What a validation found. Every problem of a document is one message, in the order found; a
// document without messages is valid. Messages are ASCII English without a full stop.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace tessel {

struct AppHealthValidationResult {
    // Valid exactly when there is no message.
    explicit AppHealthValidationResult(std::vector<std::string> found)
        : ok(found.empty())
        , errors(std::move(found)) {}

    // The messages in the order they were found.
    bool ok;
    std::vector<std::string> errors;
};

// Thrown by everything that makes, writes or reads a health value that turns out to be invalid.
// what() is "health-report validation failed: " and the messages, separated by "; ".
class AppHealthValidationError : public std::runtime_error {
  public:
    // With at least one message, each as the validator words it.
    explicit AppHealthValidationError(std::vector<std::string> errors);

    // As given.
    [[nodiscard]] const std::vector<std::string>& errors() const { return errors_; }

  private:
    std::vector<std::string> errors_;
};

} // namespace tessel
