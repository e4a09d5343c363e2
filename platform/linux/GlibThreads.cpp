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

Say* say = nullptr;

[[noreturn]] void end() {
    (*say)(posix::noMoreThreads);
    ::_exit(EXIT_FAILURE);
}

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
GLogWriterOutput write(GLogLevelFlags level, const GLogField* fields, gsize count,
                       gpointer /*data*/) {
    if ((level & G_LOG_LEVEL_ERROR) != 0 &&
        textOf({fields, count}, "MESSAGE").starts_with("creating thread ")) {
        end();
    }
    return g_log_writer_default(level, fields, count, nullptr);
}

// In newer GLib (2.84) the pool of GIO's tasks comes with its first thread, and without it not at
// all: an assertion is GIO's last word then.
void printError(const gchar* text) {
    if (std::string_view(text).find("assertion failed: (task_pool != NULL)") !=
        std::string_view::npos) {
        end();
    }
    (void)!::write(STDERR_FILENO, text, std::string_view(text).size());
}

} // namespace

void sayWhenGlibGetsNoThread(std::function<void(std::string_view why)> newSay) {
    say = new Say(std::move(newSay));
    g_log_set_writer_func(write, nullptr, nullptr);
    g_set_printerr_handler(printError);
}

} // namespace platform::desktop
