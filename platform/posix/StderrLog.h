// The log on a descriptor, by default standard error. When that is the system journal's stream
// (JOURNAL_STREAM names its device and inode, see systemd.exec(5)), lines open with the priority
// prefix "<6>", informational; otherwise they are plain. Lines carry no time: the journal adds
// one, and so does whoever collects standard error. Text is made harmless first (see LogLine.h).
//
// Callers only copy into a buffer of at most 2 MiB; one thread writes. A reader that is too slow,
// a full disk or a closed pipe costs lines, never a wait: their number is logged in their place
// once writing works again. The destructor gives the writer at most one second to empty the
// buffer. The descriptor is not owned and its flags are never changed.
#pragma once

#include "platform/Environment.h"
#include "platform/Log.h"

#include <unistd.h>

#include <memory>
#include <thread>

namespace platform {

class StderrLog final : public Log {
  public:
    explicit StderrLog(const Environment& environment, int descriptor = STDERR_FILENO);
    ~StderrLog() override;
    StderrLog(const StderrLog&) = delete;
    StderrLog& operator=(const StderrLog&) = delete;

    void write(std::string_view message) override;
    void writeLines(std::string_view prefix, std::span<const std::string_view> lines) override;

  private:
    struct Writer;

    std::shared_ptr<Writer> writer_;
    std::thread thread_;
};

} // namespace platform
