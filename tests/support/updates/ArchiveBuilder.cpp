#include "tests/support/updates/ArchiveBuilder.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <stdexcept>

namespace test_support {
namespace {

struct EntryFree {
    void operator()(archive_entry* entry) const { ::archive_entry_free(entry); }
};
using Entry = std::unique_ptr<archive_entry, EntryFree>;

constexpr std::int64_t modified = 1'700'000'000;

Entry makeEntry(const std::string& path, unsigned type, unsigned mode) {
    Entry entry(::archive_entry_new());
    ::archive_entry_set_pathname(entry.get(), path.c_str());
    ::archive_entry_set_filetype(entry.get(), type);
    ::archive_entry_set_perm(entry.get(), mode);
    ::archive_entry_set_mtime(entry.get(), modified, 0);
    ::archive_entry_set_size(entry.get(), 0);
    return entry;
}

la_ssize_t append(archive* /*writer*/, void* text, const void* data, std::size_t size) {
    static_cast<std::string*>(text)->append(static_cast<const char*>(data), size);
    return static_cast<la_ssize_t>(size);
}

} // namespace

struct ArchiveBuilder::Writer {
    archive* writer = ::archive_write_new();
    std::string bytes{};

    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() { ::archive_write_free(writer); }

    void header(const Entry& entry) {
        if (::archive_write_header(writer, entry.get()) < ARCHIVE_WARN) {
            throw std::runtime_error(::archive_error_string(writer));
        }
    }
    void data(std::string_view piece) { ::archive_write_data(writer, piece.data(), piece.size()); }
};

ArchiveBuilder::ArchiveBuilder(Format format)
    : writer_(std::make_unique<Writer>()) {
    archive* const writer = writer_->writer;
    ::archive_write_set_bytes_in_last_block(writer, 1);
    if (format == Format::zip) {
        ::archive_write_set_format_zip(writer);
    } else {
        ::archive_write_set_format_pax_restricted(writer);
    }
    switch (format) {
    case Format::tarGzip:
        ::archive_write_add_filter_gzip(writer);
        break;
    case Format::tarBzip2:
        ::archive_write_add_filter_bzip2(writer);
        break;
    case Format::tarXz:
        ::archive_write_add_filter_xz(writer);
        break;
    case Format::tarZstd:
        ::archive_write_add_filter_zstd(writer);
        break;
    case Format::tar:
    case Format::zip:
        break;
    }
    ::archive_write_open(writer, &writer_->bytes, nullptr, &append, nullptr);
}

ArchiveBuilder::~ArchiveBuilder() = default;

ArchiveBuilder& ArchiveBuilder::folder(const std::string& path, unsigned mode) {
    writer_->header(makeEntry(path, AE_IFDIR, mode));
    return *this;
}

ArchiveBuilder& ArchiveBuilder::file(const std::string& path, std::string_view content,
                                     unsigned mode) {
    const auto entry = makeEntry(path, AE_IFREG, mode);
    ::archive_entry_set_size(entry.get(), static_cast<std::int64_t>(content.size()));
    writer_->header(entry);
    writer_->data(content);
    return *this;
}

ArchiveBuilder& ArchiveBuilder::zeros(const std::string& path, std::uint64_t size) {
    const auto entry = makeEntry(path, AE_IFREG, 0644);
    ::archive_entry_set_size(entry.get(), static_cast<std::int64_t>(size));
    writer_->header(entry);
    const std::string piece(std::size_t{1} << 20, '\0');
    for (std::uint64_t done = 0; done < size; done += piece.size()) {
        writer_->data(std::string_view(piece).substr(0, size - done));
    }
    return *this;
}

ArchiveBuilder& ArchiveBuilder::link(const std::string& path, const std::string& target) {
    const auto entry = makeEntry(path, AE_IFLNK, 0777);
    ::archive_entry_set_symlink(entry.get(), target.c_str());
    writer_->header(entry);
    return *this;
}

ArchiveBuilder& ArchiveBuilder::hardLink(const std::string& path, const std::string& target) {
    const auto entry = makeEntry(path, AE_IFREG, 0644);
    ::archive_entry_set_hardlink(entry.get(), target.c_str());
    writer_->header(entry);
    return *this;
}

ArchiveBuilder& ArchiveBuilder::special(const std::string& path, unsigned type) {
    writer_->header(makeEntry(path, type, 0644));
    return *this;
}

std::string ArchiveBuilder::finish() {
    ::archive_write_close(writer_->writer);
    return std::move(writer_->bytes);
}

} // namespace test_support
