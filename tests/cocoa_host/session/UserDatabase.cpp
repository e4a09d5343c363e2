// Loaded before everything else in a session of the Cocoa host: the account that runs it has its
// home where $HOME says, and is called after $LOGNAME; root's is where a Mac has it. GNUstep, its
// helper programs included, asks the user database for home folders, and so keeps everything in
// the session's own.
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

char name[256];
char home[4096];
char password[] = "*";
char description[] = "";
char shell[] = "/bin/sh";

passwd* entry(const char* user, const char* folder, uid_t uid, gid_t gid) {
    static passwd made;
    std::strncpy(name, user, sizeof name - 1);
    std::strncpy(home, folder, sizeof home - 1);
    made = {.pw_name = name,
            .pw_passwd = password,
            .pw_uid = uid,
            .pw_gid = gid,
            .pw_gecos = description,
            .pw_dir = home,
            .pw_shell = shell};
    return &made;
}

const char* variable(const char* key) {
    const char* const value = std::getenv(key);
    return value == nullptr ? "" : value;
}

} // namespace

extern "C" {

passwd* getpwuid(uid_t uid) {
    return uid == ::getuid() ? entry(variable("LOGNAME"), variable("HOME"), uid, ::getgid())
                             : nullptr;
}

passwd* getpwnam(const char* user) {
    if (std::strcmp(user, variable("LOGNAME")) == 0) {
        return getpwuid(::getuid());
    }
    return std::strcmp(user, "root") == 0 ? entry("root", "/var/root", 0, 0) : nullptr;
}

static int copyEntry(const passwd* found, passwd* to, char* buffer, size_t size, passwd** result) {
    *result = nullptr;
    if (found == nullptr) {
        return 0;
    }
    *to = *found;
    char* place = buffer;
    for (char** const field :
         {&to->pw_name, &to->pw_passwd, &to->pw_gecos, &to->pw_dir, &to->pw_shell}) {
        const size_t length = std::strlen(*field) + 1;
        if (length > size) {
            return ERANGE;
        }
        *field = static_cast<char*>(std::memcpy(place, *field, length));
        place += length;
        size -= length;
    }
    *result = to;
    return 0;
}

int getpwuid_r(uid_t uid, passwd* to, char* buffer, size_t size, passwd** result) {
    return copyEntry(getpwuid(uid), to, buffer, size, result);
}

int getpwnam_r(const char* user, passwd* to, char* buffer, size_t size, passwd** result) {
    return copyEntry(getpwnam(user), to, buffer, size, result);
}

} // extern "C"
