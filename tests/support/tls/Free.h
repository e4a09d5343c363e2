#pragma once

namespace test_support {

// The deleter of what OpenSSL gave.
template <auto free>
struct Free {
    template <typename Type>
    void operator()(Type* object) const {
        static_cast<void>(free(object));
    }
};

} // namespace test_support
