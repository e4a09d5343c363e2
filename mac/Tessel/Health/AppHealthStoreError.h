// Why the health store could not do what it was asked. what() is ASCII English without a full
// stop.
#pragma once

#include "platform/FileSystem.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace tessel {

class AppHealthStoreError : public std::runtime_error {
  public:
    // Which of the three below it is.
    enum class Kind { invalidLimit, unableToCreatePrivateFile, posixFailure };

    // With what what() says of it.
    [[nodiscard]] static AppHealthStoreError invalidLimit();
    [[nodiscard]] static AppHealthStoreError unableToCreatePrivateFile();
    // "rename", "open directory" or "sync directory", and the errno it failed with.
    [[nodiscard]] static AppHealthStoreError posixFailure(std::string_view operation,
                                                          int errnoValue);

    // Which one.
    [[nodiscard]] Kind kind() const { return kind_; }
    // Of a posixFailure; empty and 0 otherwise.
    [[nodiscard]] const std::string& operation() const { return operation_; }
    [[nodiscard]] int errnoValue() const { return errnoValue_; }

  private:
    AppHealthStoreError(Kind kind, const std::string& text, std::string operation, int errnoValue);

    Kind kind_;
    std::string operation_;
    int errnoValue_;
};

// What the file system answered, passed on; what() names the operation, the path and the reason.
class AppHealthFileError : public std::runtime_error {
  public:
    // Passes on operation, path and errno.
    explicit AppHealthFileError(platform::FileError error);

    // As given.
    [[nodiscard]] const platform::FileError& error() const { return error_; }

  private:
    platform::FileError error_;
};

} // namespace tessel
