#include "platform/posix/InstanceLock.h"

#include "platform/posix/LocalSocket.h"
#include "platform/posix/Socket.h"

#include <fcntl.h>
#include <fmt/format.h>
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

namespace platform::posix {
namespace {

using Steady = std::chrono::steady_clock;

constexpr const char* lockName = "instance.lock";
constexpr const char* socketName = "instance.socket";
constexpr std::string_view requestPrefix = "reopen ";
constexpr std::string_view displacedRequest = "displaced";
constexpr std::string_view acceptedReply = "accepted";
constexpr std::string_view staysReply = "stays";
constexpr std::size_t maxPlaceBytes = 8192;
constexpr std::size_t maxTokenBytes = 1024;
constexpr mode_t ownerOnly = 0600;
constexpr std::chrono::milliseconds retryInterval{50};
// A holder answers from its main loop, which may be busy for a moment when the machine is.
constexpr std::chrono::milliseconds replyPatience{5000};
// An instance that was accepted says what it wants at once; nobody holds up the main loop longer.
constexpr std::chrono::milliseconds requestPatience{200};

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

bool makeNonBlocking(int descriptor) {
    return ::fcntl(descriptor, F_SETFL, O_NONBLOCK) == 0;
}

UniqueFd makeSocket() {
    UniqueFd made(makeClosedOnExecSocket(AF_UNIX, SOCK_STREAM, 0));
    if (made && !makeNonBlocking(made.get())) {
        made.reset();
    }
    return made;
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

// What the other side says until it has no more to say, up to what one of ours may say; empty when
// it takes longer than that.
std::string receiveAll(int connection, std::chrono::milliseconds patience) {
    const Steady::time_point deadline = Steady::now() + patience;
    std::array<char, requestPrefix.size() + maxTokenBytes> buffer{};
    std::size_t size = 0;
    while (size < buffer.size()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Steady::now());
        if (!waitReadable(connection, left)) {
            return {};
        }
        const ssize_t count = ::recv(connection, &buffer[size], buffer.size() - size, 0);
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
            break;
        }
        size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return {buffer.data(), size};
}

bool sayAll(int connection, std::string_view text) {
    return sendQuietly(connection, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
           ::shutdown(connection, SHUT_WR) == 0;
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
    const UniqueFd lock(
        ::open((folder / lockName).c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    return lock && ::flock(lock.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

InstanceLock::InstanceLock(std::filesystem::path folder)
    : InstanceLock(std::move(folder), Place()) {}

InstanceLock::InstanceLock(std::filesystem::path folder, Place place)
    : folder_(std::move(folder))
    , place_(std::move(place)) {}

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
            sayWhere();
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
        findHolder();
        const bool isSeen = !place_.sees || holder_.empty() || place_.sees(holder_);
        const std::string request =
            isSeen ? std::string(requestPrefix) + token.substr(0, maxTokenBytes)
                   : std::string(displacedRequest);
        switch (ask(request, std::min(left, replyPatience))) {
        case Reply::accepted:
            return Outcome::handedOver;
        case Reply::stays:
            return Outcome::elsewhere;
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

// Others may read it while it is written, and then know nothing of this instance.
void InstanceLock::sayWhere() const {
    const std::string_view text = std::string_view(place_.text).substr(0, maxPlaceBytes);
    if (::ftruncate(lock_.get(), 0) == 0) {
        [[maybe_unused]] const auto size = ::pwrite(lock_.get(), text.data(), text.size(), 0);
    }
}

void InstanceLock::findHolder() {
    std::array<char, maxPlaceBytes> buffer{};
    const ssize_t size = ::pread(lock_.get(), buffer.data(), buffer.size(), 0);
    holder_.assign(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
}

InstanceLock::Reply InstanceLock::ask(const std::string& request,
                                      std::chrono::milliseconds patience) {
    const UniqueFd connection = makeSocket();
    const auto address = localSocketAddress(folderDescriptor_.get(), folder_, socketName);
    // EAGAIN, a full backlog, is a busy holder and not an absent one; asking again serves both.
    if (!connection || !address ||
        ::connect(connection.get(), generic(*address), sizeof *address) != 0 ||
        !belongsToThisUser(connection.get()) || !sayAll(connection.get(), request)) {
        return Reply::goingAway;
    }
    if (!waitReadable(connection.get(), patience)) {
        return Reply::silent;
    }
    const std::string reply = receiveAll(connection.get(), replyPatience);
    return reply == acceptedReply ? Reply::accepted
           : reply == staysReply  ? Reply::stays
                                  : Reply::goingAway;
}

bool InstanceLock::listen(std::function<void(std::string)> onRequest, std::function<bool()> stays) {
    // Whoever holds the lock owns the name; what is there now belonged to an instance before.
    ::unlinkat(folderDescriptor_.get(), socketName, 0);
    const auto address = localSocketAddress(folderDescriptor_.get(), folder_, socketName);
    if (!address) {
        fail("listen for other instances", ENAMETOOLONG);
        return false;
    }
    UniqueFd listening = makeSocket();
    // Where the mode of the socket before bind is that of the file, nobody ever sees another one;
    // elsewhere the folder keeps others out until it is put right.
    if (listening) {
        (void)::fchmod(listening.get(), ownerOnly);
    }
    if (!listening || ::bind(listening.get(), generic(*address), sizeof *address) != 0 ||
        ::fchmodat(folderDescriptor_.get(), socketName, ownerOnly, 0) != 0 ||
        ::listen(listening.get(), 16) != 0) {
        fail("listen for other instances", errno);
        return false;
    }
    onRequest_ = std::move(onRequest);
    stays_ = std::move(stays);
    socket_ = std::move(listening);
    return true;
}

void InstanceLock::stopListening() {
    if (socket_) {
        ::unlinkat(folderDescriptor_.get(), socketName, 0);
        socket_.reset();
    }
}

void InstanceLock::answerOne() {
    const UniqueFd connection(acceptClosedOnExec(socket_.get()));
    if (!connection || !makeNonBlocking(connection.get()) || !belongsToThisUser(connection.get())) {
        return;
    }
    const std::string request = receiveAll(connection.get(), requestPatience);
    if (request == displacedRequest) {
        if (!stays_ || stays_()) {
            sayAll(connection.get(), staysReply);
        }
    } else if (request.starts_with(requestPrefix) && sayAll(connection.get(), acceptedReply)) {
        // A copy: the request may end the application and with it this object.
        const auto handler = onRequest_;
        handler(request.substr(requestPrefix.size()));
    }
}

} // namespace platform::posix
