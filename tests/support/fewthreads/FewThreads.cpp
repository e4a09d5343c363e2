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

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    static const long limit = most();
    return ++started > limit ? EAGAIN : create(thread, attributes, body, argument);
}
