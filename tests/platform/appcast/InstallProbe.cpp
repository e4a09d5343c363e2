// Does what an update does, for tests that watch or kill it on the way:
//   zorvane-install-probe PHASE ARCHIVE BUNDLE IDENTIFIER VERSION KEY SIGNATURE
// The last two are in hexadecimal. From the beginning of PHASE on, which it marks with a signal
// that nobody minds (SIGURG), a tracer looks: "install" is the whole course, "activate" begins
// once the update is ready, "revert" once it is activated, and "clean" clears leftovers away. Ends
// with 0 when all went well. With WITHOUT_EXCHANGE in its environment no two folders can be
// exchanged in one step.
//
// Without arguments it takes over from whoever started it, and writes how that went to the file
// that OUTCOME names.
#include "platform/appcast/HandOver.h"
#include "platform/appcast/StagedUpdate.h"
#include "platform/posix/UniqueFd.h"
#include "tests/support/updates/TestBundle.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

using namespace platform::appcast;

template <typename Bytes>
Bytes fromHexadecimal(const std::string& text) {
    Bytes bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

// As on a file system that cannot.
bool forbidExchange() {
    constexpr auto number = static_cast<unsigned>(offsetof(seccomp_data, nr));
    constexpr auto flags = static_cast<unsigned>(offsetof(seccomp_data, args[4]));
    std::array<sock_filter, 6> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, flags),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, RENAME_EXCHANGE, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{.len = program.size(), .filter = program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

int takeOver() {
    auto predecessor = Predecessor::find();
    const bool clean = std::getenv(handOverVariable) == nullptr;
    struct stat standardInput{};
    const bool nothingToRead =
        ::fstat(STDIN_FILENO, &standardInput) == 0 && S_ISCHR(standardInput.st_mode);
    std::string outcome = "alone";
    if (predecessor.isThere()) {
        outcome = predecessor.agreesToGo(std::chrono::seconds(60)) ? "agreed" : "refused";
    }
    std::ofstream(std::getenv("OUTCOME"))
        << outcome << (clean ? " clean" : "") << (nothingToRead ? " nothing to read" : "") << "\n";
    return 0;
}

int run(char** arguments) {
    const std::string phase = arguments[1];
    const auto begin = [&phase](const char* which) {
        if (phase == which) {
            ::raise(SIGURG);
        }
    };
    begin("clean");
    removeLeftovers(arguments[3]);
    if (phase == "clean") {
        return 0;
    }
    const platform::posix::UniqueFd archive(::open(arguments[2], O_RDONLY | O_CLOEXEC));
    struct stat status{};
    if (::fstat(archive.get(), &status) != 0) {
        return 2;
    }
    begin("install");
    auto update = StagedUpdate::prepare(
        archive.get(),
        {.installed = arguments[3],
         .length = static_cast<std::uint64_t>(status.st_size),
         .signature = fromHexadecimal<Signature>(arguments[7]),
         .key = fromHexadecimal<PublicKey>(arguments[6]),
         .expected = {.identifier = arguments[4], .version = arguments[5], .runningProgram = {}},
         .readInfo = &test_support::readTestInfo});
    if (!update) {
        std::fputs(update.error().c_str(), stderr);
        return 1;
    }
    begin("activate");
    if (!update->activate()) {
        return 1;
    }
    begin("revert");
    return phase != "revert" || update->revert() ? 0 : 1;
}

} // namespace

int main(int count, char** arguments) {
    if (std::getenv("WITHOUT_EXCHANGE") != nullptr && !forbidExchange()) {
        return 2;
    }
    if (count == 1) {
        return takeOver();
    }
    return count == 8 ? run(arguments) : 2;
}
