// Preloaded: whoever starts bubblewrap starts the program in the variable FAKE_BWRAP instead, for
// the web engine knows bubblewrap by its absolute path.
#include <dlfcn.h>
#include <spawn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

const char* redirected(const char* path) {
    const char* const fake = std::getenv("FAKE_BWRAP");
    return fake != nullptr && path != nullptr && std::strcmp(path, "/usr/bin/bwrap") == 0 ? fake
                                                                                          : path;
}

template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int execve(const char* path, char* const arguments[], char* const environment[]) noexcept {
    return original<decltype(execve)>("execve")(redirected(path), arguments, environment);
}

int execv(const char* path, char* const arguments[]) noexcept {
    return original<decltype(execve)>("execve")(redirected(path), arguments, environ);
}

int execvp(const char* path, char* const arguments[]) noexcept {
    return original<decltype(execvp)>("execvp")(redirected(path), arguments);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[],
                char* const environment[]) {
    return original<decltype(posix_spawn)>("posix_spawn")(pid, redirected(path), actions,
                                                          attributes, arguments, environment);
}
}
