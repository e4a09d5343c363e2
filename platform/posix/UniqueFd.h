// Owns one file descriptor and closes it once. Moving empties the source; -1 means none. Not for
// sharing between threads.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform::posix {

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor)
        : fd(descriptor) {}
    UniqueFd(UniqueFd&& other) noexcept
        : fd(std::exchange(other.fd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.fd, -1));
        }
        return *this;
    }
    ~UniqueFd() { reset(); }

    [[nodiscard]] int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }
    [[nodiscard]] int release() { return std::exchange(fd, -1); }

    void reset(int replacement = -1) {
        if (fd >= 0) {
            ::close(fd);
        }
        fd = replacement;
    }

  private:
    int fd = -1;
};

} // namespace platform::posix
