#include "platform/linux/GlibThreads.h"

#include "platform/posix/ProcessEntry.h"

#include <glib.h>
#include <unistd.h>

#include <cstdlib>
#include <span>
#include <utility>

namespace platform::desktop {
namespace {

using Say = std::function<void(std::string_view why)>;

std::string_view textOf(std::span<const GLogField> fields, std::string_view key) {
    for (const GLogField& field : fields) {
        if (field.key == key) {
            const auto* const text = static_cast<const char*>(field.value);
            return field.length < 0
                       ? std::string_view(text)
                       : std::string_view(text, static_cast<std::size_t>(field.length));
        }
    }
    return {};
}

// What GLib writes at this level is its last word.
GLogWriterOutput write(GLogLevelFlags level, const GLogField* fields, gsize count, gpointer data) {
    if ((level & G_LOG_LEVEL_ERROR) != 0 &&
        textOf({fields, count}, "MESSAGE").starts_with("creating thread ")) {
        (*static_cast<const Say*>(data))(posix::noMoreThreads);
        ::_exit(EXIT_FAILURE);
    }
    return g_log_writer_default(level, fields, count, data);
}

} // namespace

void sayWhenGlibGetsNoThread(Say say) {
    g_log_set_writer_func(write, new Say(std::move(say)),
                          [](gpointer data) { delete static_cast<Say*>(data); });
}

} // namespace platform::desktop
