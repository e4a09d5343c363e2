// Makes archives in memory, well-behaved and not: nothing about an entry is checked. Throws
// std::runtime_error when libarchive refuses an entry.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace test_support {

class ArchiveBuilder {
  public:
    enum class Format { tar, tarGzip, tarBzip2, tarXz, tarZstd, zip };

    explicit ArchiveBuilder(Format format = Format::tarGzip);
    ~ArchiveBuilder();
    ArchiveBuilder(const ArchiveBuilder&) = delete;
    ArchiveBuilder& operator=(const ArchiveBuilder&) = delete;

    ArchiveBuilder& folder(const std::string& path, unsigned mode = 0755);
    ArchiveBuilder& file(const std::string& path, std::string_view content = "",
                         unsigned mode = 0644);
    ArchiveBuilder& zeros(const std::string& path, std::uint64_t size);
    ArchiveBuilder& link(const std::string& path, const std::string& target);
    ArchiveBuilder& hardLink(const std::string& path, const std::string& target);
    // `type` is a file type of <sys/stat.h>, S_IFIFO for example.
    ArchiveBuilder& special(const std::string& path, unsigned type);

    // The archive; once.
    [[nodiscard]] std::string finish();

  private:
    struct Writer;

    std::unique_ptr<Writer> writer_;
};

} // namespace test_support
