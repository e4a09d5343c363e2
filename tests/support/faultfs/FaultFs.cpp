// Preloaded into a program under test: takes the place of the C library's file-system calls.
#include "tests/support/faultfs/FaultFs.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

constexpr int mostDescriptors = 1024;

struct Plan {
    std::string_view root;
    std::string_view action;
    long call = 0;
    int log = -1;
};

const Plan& plan() {
    static const Plan made = [] {
        const auto variable = [](const char* name) {
            const char* const value = std::getenv(name);
            return value == nullptr ? "" : value;
        };
        const char* const log = variable(faultfs::logVariable);
        return Plan{
            .root = variable(faultfs::rootVariable),
            .action = variable(faultfs::actionVariable),
            .call = std::strtol(variable(faultfs::callVariable), nullptr, 10),
            .log = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, log,
                                              O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600))};
    }();
    return made;
}

std::atomic<long> calls{0};
std::array<std::atomic<bool>, mostDescriptors> isOurs{};
std::array<std::atomic<bool>, mostDescriptors> flushFailed{};

bool isBelowRoot(const char* path) {
    const auto& root = plan().root;
    const std::string_view text = path == nullptr ? "" : path;
    return !root.empty() && text.starts_with(root) &&
           (text.size() == root.size() || text[root.size()] == '/');
}

bool isOurDescriptor(int descriptor) {
    return descriptor >= 0 && descriptor < mostDescriptors &&
           isOurs[static_cast<std::size_t>(descriptor)];
}

void note(long number, const char* name, const char* path) {
    std::array<char, PATH_MAX + 64> line{};
    const int size =
        number < 0 ? std::snprintf(line.data(), line.size(), "AGAIN %s %s\n", name, path)
                   : std::snprintf(line.data(), line.size(), "%ld %s %s\n", number, name, path);
    ::syscall(SYS_write, plan().log, line.data(), static_cast<std::size_t>(size));
}

[[noreturn]] void die() {
    ::syscall(SYS_kill, ::syscall(SYS_getpid), SIGKILL);
    ::_exit(1);
}

int errnoOf(std::string_view action) {
    return action == "EIO" ? EIO : action == "ENOSPC" ? ENOSPC : action == "EINTR" ? EINTR : 0;
}

bool needsRoom(std::string_view name) {
    return name == "open" || name == "mkdir" || name == "write" || name == "fsync" ||
           name == "rename";
}

// Makes the call, or lets it go wrong. `real` is told whether it shall write half only. `claimed`
// is what the call returns when it succeeds, if that is known without it.
template <class Result, class Real>
Result perform(const char* name, const char* path, Result failed, Real real,
               std::optional<Result> claimed = std::nullopt) {
    const long number = ++calls;
    note(number, name, path);
    const auto& action = plan().action;
    const bool isReached = plan().call > 0 && number >= plan().call;
    const bool isNow = plan().call > 0 && number == plan().call;
    if (isNow && action == "before") {
        die();
    }
    const int error = isNow ? errnoOf(action) : 0;
    if (error != 0 || (isReached && action == "full" && needsRoom(name))) {
        errno = error != 0 ? error : ENOSPC;
        return failed;
    }
    if (isNow && action == "lost" && claimed) {
        return *claimed;
    }
    const Result result = real(isNow && action == "short");
    if (isNow && action == "after") {
        die();
    }
    return result;
}

template <class Function>
Function realFunction(const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

#define REAL(name) realFunction<decltype(&::name)>(#name)

// Whether a path that a folder's descriptor comes with is below the root.
bool isBelowRoot(int folder, const char* path) {
    return isOurDescriptor(folder) || isBelowRoot(path);
}

int openAt(int folder, const char* path, int flags, mode_t mode) {
    static const auto real = REAL(openat);
    if (!isBelowRoot(folder, path)) {
        return real(folder, path, flags, mode);
    }
    const int descriptor =
        perform("open", path, -1, [&](bool) { return real(folder, path, flags, mode); });
    if (descriptor >= 0 && descriptor < mostDescriptors) {
        isOurs[static_cast<std::size_t>(descriptor)] = true;
        flushFailed[static_cast<std::size_t>(descriptor)] = false;
    }
    return descriptor;
}

mode_t modeArgument(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : mode_t{0};
}

int flush(const char* name, int (*real)(int), int descriptor) {
    if (!isOurDescriptor(descriptor)) {
        return real(descriptor);
    }
    auto& failedBefore = flushFailed[static_cast<std::size_t>(descriptor)];
    if (failedBefore) {
        note(-1, name, "a failed flush is tried again");
    }
    const int result = perform("fsync", name, -1, [&](bool) { return real(descriptor); });
    failedBefore = result != 0;
    return result;
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return openAt(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return openAt(AT_FDCWD, path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return openAt(folder, path, flags, mode);
}

int mkdir(const char* path, mode_t mode) noexcept {
    static const auto real = REAL(mkdir);
    return !isBelowRoot(path) ? real(path, mode)
                              : perform("mkdir", path, -1, [&](bool) { return real(path, mode); });
}

int lstat(const char* path, struct stat* status) noexcept {
    static const auto real = REAL(lstat);
    return !isBelowRoot(path)
               ? real(path, status)
               : perform("lstat", path, -1, [&](bool) { return real(path, status); });
}

int fstat(int descriptor, struct stat* status) noexcept {
    static const auto real = REAL(fstat);
    return !isOurDescriptor(descriptor)
               ? real(descriptor, status)
               : perform("fstat", "", -1, [&](bool) { return real(descriptor, status); });
}

ssize_t read(int descriptor, void* bytes, std::size_t size) {
    static const auto real = REAL(read);
    return !isOurDescriptor(descriptor) ? real(descriptor, bytes, size)
                                        : perform("read", "", ssize_t{-1}, [&](bool) {
                                              return real(descriptor, bytes, size);
                                          });
}

ssize_t write(int descriptor, const void* bytes, std::size_t size) {
    static const auto real = REAL(write);
    return !isOurDescriptor(descriptor)
               ? real(descriptor, bytes, size)
               : perform(
                     "write", "", ssize_t{-1},
                     [&](bool isShort) {
                         return real(descriptor, bytes, isShort ? (size + 1) / 2 : size);
                     },
                     std::optional(static_cast<ssize_t>(size)));
}

int fsync(int descriptor) {
    static const auto real = REAL(fsync);
    return flush("fsync", real, descriptor);
}

int fdatasync(int descriptor) {
    static const auto real = REAL(fdatasync);
    return flush("fdatasync", real, descriptor);
}

int rename(const char* from, const char* to) noexcept {
    static const auto real = REAL(rename);
    return !isBelowRoot(to)
               ? real(from, to)
               : perform("rename", to, -1, [&](bool) { return real(from, to); }, std::optional(0));
}

int renameat(int oldFolder, const char* from, int newFolder, const char* to) noexcept {
    static const auto real = REAL(renameat);
    const auto make = [&](bool = false) { return real(oldFolder, from, newFolder, to); };
    return !isBelowRoot(newFolder, to) ? make() : perform("rename", to, -1, make, std::optional(0));
}

int chmod(const char* path, mode_t mode) noexcept {
    static const auto real = REAL(chmod);
    return !isBelowRoot(path) ? real(path, mode)
                              : perform("chmod", path, -1, [&](bool) { return real(path, mode); });
}

int fchmod(int descriptor, mode_t mode) noexcept {
    static const auto real = REAL(fchmod);
    return !isOurDescriptor(descriptor)
               ? real(descriptor, mode)
               : perform("fchmod", "", -1, [&](bool) { return real(descriptor, mode); });
}

int unlink(const char* path) noexcept {
    static const auto real = REAL(unlink);
    return !isBelowRoot(path)
               ? real(path)
               : perform("unlink", path, -1, [&](bool) { return real(path); }, std::optional(0));
}

int flock(int descriptor, int operation) noexcept {
    static const auto real = REAL(flock);
    return !isOurDescriptor(descriptor)
               ? real(descriptor, operation)
               : perform("flock", "", -1, [&](bool) { return real(descriptor, operation); });
}

DIR* fdopendir(int descriptor) {
    static const auto real = REAL(fdopendir);
    return !isOurDescriptor(descriptor) ? real(descriptor)
                                        : perform("fdopendir", "", static_cast<DIR*>(nullptr),
                                                  [&](bool) { return real(descriptor); });
}

dirent* readdir(DIR* folder) {
    static const auto real = REAL(readdir);
    return !isOurDescriptor(::dirfd(folder)) ? real(folder)
                                             : perform("readdir", "", static_cast<dirent*>(nullptr),
                                                       [&](bool) { return real(folder); });
}

// It closes the descriptor by itself.
int closedir(DIR* folder) {
    static const auto real = REAL(closedir);
    const int descriptor = ::dirfd(folder);
    if (isOurDescriptor(descriptor)) {
        isOurs[static_cast<std::size_t>(descriptor)] = false;
    }
    return real(folder);
}

// The descriptor is gone even when closing it fails.
int close(int descriptor) {
    static const auto real = REAL(close);
    if (!isOurDescriptor(descriptor)) {
        return real(descriptor);
    }
    isOurs[static_cast<std::size_t>(descriptor)] = false;
    bool isClosed = false;
    const int result = perform("close", "", -1, [&](bool) {
        isClosed = true;
        return real(descriptor);
    });
    if (!isClosed) {
        const int error = errno;
        real(descriptor);
        errno = error;
    }
    return result;
}

} // extern "C"
