// https://developer.apple.com/documentation/security/secrandomcopybytes(_:_:_:)
#include <Security/Security.h>
#include <sys/random.h>

extern "C" {

const SecRandomRef kSecRandomDefault = nullptr;

int SecRandomCopyBytes(SecRandomRef /*generator*/, size_t count, void* bytes) {
    auto* place = static_cast<char*>(bytes);
    while (count > 0) {
        const ssize_t filled = ::getrandom(place, count, 0);
        if (filled < 0) {
            return -1;
        }
        place += filled;
        count -= static_cast<size_t>(filled);
    }
    return errSecSuccess;
}

} // extern "C"
