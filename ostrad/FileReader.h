#pragma once

#include "ostrad/UniqueFd.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace ostrad {

// Reads pieces of an open file into a buffer of its own. One thread at a time.
class FileReader {
  public:
    FileReader(UniqueFd openFile, std::size_t mostAtOnce);

    // At most a whole piece. The number of bytes read: 0 at the end, negative when it failed.
    ssize_t read(std::uint64_t offset, std::size_t size);
    // The same without waiting for the disk: what is in memory already. Nothing when that is not
    // enough to begin with, or the system cannot tell.
    std::optional<ssize_t> readAtOnce(std::uint64_t offset, std::size_t size);

    // Hands bytes to a socket that does not block, until it has taken no more for a moment, or all
    // of `size` are gone, without taking them into this process. How many it took; nothing where
    // the system cannot do so with this file. Waits for the disk.
    [[nodiscard]] std::optional<std::uint64_t> sendTo(int socket, std::uint64_t offset,
                                                      std::uint64_t size) const;

    [[nodiscard]] const char* data() const { return piece.data(); }

  private:
    UniqueFd file;
    std::size_t pieceSize;
    std::vector<char> piece;              // empty until it is needed
    [[maybe_unused]] bool mayTell = true; // whether the file system knows what is in memory
};

} // namespace ostrad
