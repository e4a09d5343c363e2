#include "tests/support/fewthreads/FewThreads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>

namespace {

std::atomic<long> started{0};

long most() {
    const char* const program = std::getenv(fewthreads::programVariable);
    const char* const number = std::getenv(fewthreads::mostVariable);
    return program != nullptr && number != nullptr &&
                   std::string_view(program) == program_invocation_short_name
               ? std::strtol(number, nullptr, 10)
               : LONG_MAX;
}

long refused() {
    const char* const number = std::getenv(fewthreads::refusedVariable);
    return number == nullptr ? LONG_MAX : std::strtol(number, nullptr, 10);
}

bool counts(const void* caller) {
    const char* const library = std::getenv(fewthreads::libraryVariable);
    if (library == nullptr) {
        return true;
    }
    Dl_info info = {};
    if (::dladdr(caller, &info) == 0) {
        return false;
    }
    const std::string_view file(info.dli_fname);
    return file.substr(file.rfind('/') + 1).starts_with(library);
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    static const long limit = most();
    if (limit == LONG_MAX || !counts(__builtin_return_address(0))) {
        return create(thread, attributes, body, argument);
    }
    const long later = ++started - limit;
    return later > 0 && later <= refused() ? EAGAIN : create(thread, attributes, body, argument);
}
