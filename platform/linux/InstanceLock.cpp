#include "platform/linux/InstanceLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <glib-unix.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

namespace platform::desktop {
namespace {

using Steady = std::chrono::steady_clock;

constexpr const char* lockName = "instance.lock";
constexpr const char* socketName = "instance.socket";
constexpr std::string_view requestPrefix = "reopen ";
constexpr std::string_view acceptedReply = "accepted";
constexpr std::size_t maxTokenBytes = 1024;
constexpr std::chrono::milliseconds retryInterval{50};
// A holder answers from its main loop, which may be busy for a moment when the machine is.
constexpr std::chrono::milliseconds replyPatience{5000};
// An instance that was accepted says what it wants at once; nobody holds up the main loop longer.
constexpr std::chrono::milliseconds requestPatience{200};

// A socket's address holds 107 bytes, less than a path may have; the folder's descriptor makes it
// short.
sockaddr_un socketAddress(int folderDescriptor) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto end = fmt::format_to_n(address.sun_path, sizeof address.sun_path - 1,
                                      "/proc/self/fd/{}/{}", folderDescriptor, socketName);
    *end.out = '\0';
    return address;
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

posix::UniqueFd makeSocket() {
    return posix::UniqueFd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

bool belongsToThisUser(int connection) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

bool waitReadable(int descriptor, std::chrono::milliseconds patience) {
    const Steady::time_point deadline = Steady::now() + patience;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Steady::now()).count();
        pollfd entry{.fd = descriptor, .events = POLLIN, .revents = 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::max<long>(left, 0)));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

// One packet, cut to what one of ours can hold; empty for a closed or broken connection too.
std::string receivePacket(int connection) {
    std::array<char, requestPrefix.size() + maxTokenBytes> buffer{};
    const ssize_t size = ::recv(connection, buffer.data(), buffer.size(), 0);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

bool sendPacket(int connection, std::string_view packet) {
    return ::send(connection, packet.data(), packet.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(packet.size());
}

// Folders above the private one are made like it: the XDG base directories are 0700.
void makePrivateFolder(const std::filesystem::path& folder) {
    if (folder.empty() || ::mkdir(folder.c_str(), 0700) == 0 || errno != ENOENT) {
        return; // whatever is wrong shows when the folder is opened
    }
    makePrivateFolder(folder.parent_path());
    ::mkdir(folder.c_str(), 0700);
}

} // namespace

bool InstanceLock::isHeld(const std::filesystem::path& folder) {
    const posix::UniqueFd lock(
        ::open((folder / lockName).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    return lock && ::flock(lock.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

InstanceLock::InstanceLock(std::filesystem::path folder)
    : folder_(std::move(folder)) {}

InstanceLock::~InstanceLock() {
    stopListening();
}

void InstanceLock::fail(const std::string& attempt, int errnoValue) {
    failure_ = fmt::format("cannot {} in {}: {}", attempt, folder_.string(),
                           std::generic_category().message(errnoValue));
}

bool InstanceLock::openFolder() {
    makePrivateFolder(folder_);
    folderDescriptor_.reset(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folderDescriptor_) {
        fail("open the folder of the instance lock", errno);
        return false;
    }
    lock_.reset(::openat(folderDescriptor_.get(), lockName,
                         O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock_) {
        fail("open the instance lock", errno);
        return false;
    }
    return true;
}

InstanceLock::Outcome InstanceLock::claim(const std::string& token,
                                          std::chrono::milliseconds patience) {
    if (!openFolder()) {
        return Outcome::unavailable;
    }
    const Steady::time_point deadline = Steady::now() + patience;
    for (;;) {
        if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) {
            return Outcome::held;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            fail("lock the instance lock", errno);
            return Outcome::unavailable;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Steady::now());
        if (left <= std::chrono::milliseconds::zero()) {
            return Outcome::unreachable;
        }
        switch (ask(token, std::min(left, replyPatience))) {
        case Reply::accepted:
            return Outcome::handedOver;
        case Reply::silent:
            return Outcome::unreachable;
        case Reply::goingAway:
            std::this_thread::sleep_for(std::min(retryInterval, left));
        }
    }
}

void InstanceLock::waitForHolder(std::chrono::milliseconds patience) {
    const Steady::time_point deadline = Steady::now() + patience;
    if (!openFolder()) {
        return;
    }
    while (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0 && Steady::now() < deadline) {
        std::this_thread::sleep_for(retryInterval);
    }
    lock_.reset(); // claim() decides anew
}

InstanceLock::Reply InstanceLock::ask(const std::string& token,
                                      std::chrono::milliseconds patience) {
    const posix::UniqueFd connection = makeSocket();
    const sockaddr_un address = socketAddress(folderDescriptor_.get());
    const std::string request = std::string(requestPrefix) + token.substr(0, maxTokenBytes);
    // EAGAIN, a full backlog, is a busy holder and not an absent one; asking again serves both.
    if (!connection || ::connect(connection.get(), generic(address), sizeof address) != 0 ||
        !belongsToThisUser(connection.get()) || !sendPacket(connection.get(), request)) {
        return Reply::goingAway;
    }
    if (!waitReadable(connection.get(), patience)) {
        return Reply::silent;
    }
    return receivePacket(connection.get()) == acceptedReply ? Reply::accepted : Reply::goingAway;
}

void InstanceLock::listen(std::function<void(std::string)> onRequest) {
    // Whoever holds the lock owns the name; what is there now belonged to an instance before.
    ::unlinkat(folderDescriptor_.get(), socketName, 0);
    posix::UniqueFd listening = makeSocket();
    const sockaddr_un address = socketAddress(folderDescriptor_.get());
    // The mode of the socket before bind is that of the file from the moment it exists.
    if (!listening || ::fchmod(listening.get(), 0600) != 0 ||
        ::bind(listening.get(), generic(address), sizeof address) != 0 ||
        ::listen(listening.get(), 16) != 0) {
        fail("listen for other instances", errno);
        return;
    }
    onRequest_ = std::move(onRequest);
    socket_ = std::move(listening);
    watch_ = g_unix_fd_add(socket_.get(), G_IO_IN, onReadable, this);
}

void InstanceLock::stopListening() {
    if (!socket_) {
        return;
    }
    g_source_remove(watch_);
    ::unlinkat(folderDescriptor_.get(), socketName, 0);
    socket_.reset();
}

gboolean InstanceLock::onReadable(gint /*descriptor*/, GIOCondition /*condition*/, gpointer self) {
    static_cast<InstanceLock*>(self)->answerOne();
    return G_SOURCE_CONTINUE;
}

void InstanceLock::answerOne() {
    const posix::UniqueFd connection(
        ::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!connection || !belongsToThisUser(connection.get()) ||
        !waitReadable(connection.get(), requestPatience)) {
        return;
    }
    const std::string request = receivePacket(connection.get());
    if (request.starts_with(requestPrefix) && sendPacket(connection.get(), acceptedReply)) {
        // A copy: the request may end the application and with it this object.
        const auto handler = onRequest_;
        handler(request.substr(requestPrefix.size()));
    }
}

} // namespace platform::desktop
