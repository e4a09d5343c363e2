#include "tests/support/processes/ProcessEntries.h"
#include "tests/support/processes/ProcessTable.h"

#include <libproc.h>
#include <mach/mach_time.h>
#include <sys/proc.h>
#include <sys/proc_info.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <stdexcept>

namespace process_test {
namespace {

// proc_pidinfo(3) of a list whose length is not known beforehand.
template <class Item>
std::vector<Item> listOf(pid_t pid, int flavour) {
    std::vector<Item> items(64);
    for (;;) {
        const int room = static_cast<int>(items.size() * sizeof(Item));
        const int bytes = ::proc_pidinfo(pid, flavour, 0, items.data(), room);
        if (bytes < room) {
            items.resize(static_cast<std::size_t>(std::max(bytes, 0)) / sizeof(Item));
            return items;
        }
        items.resize(2 * items.size());
    }
}

std::vector<pid_t> everyId() {
    std::vector<pid_t> ids(256);
    for (;;) {
        const int room = static_cast<int>(ids.size() * sizeof(pid_t));
        const int bytes = ::proc_listpids(PROC_ALL_PIDS, 0, ids.data(), room);
        if (bytes < room) {
            ids.resize(static_cast<std::size_t>(std::max(bytes, 0)) / sizeof(pid_t));
            return ids;
        }
        ids.resize(2 * ids.size());
    }
}

} // namespace

std::vector<ProcessEntry> everyProcess() {
    std::vector<ProcessEntry> found;
    for (const pid_t pid : everyId()) {
        // The short kind is told of zombies, too.
        proc_bsdshortinfo info{};
        if (::proc_pidinfo(pid, PROC_PIDT_SHORTBSDINFO, 1, &info, sizeof info) ==
            static_cast<int>(sizeof info)) {
            found.push_back({.pid = pid,
                             .parent = static_cast<pid_t>(info.pbsi_ppid),
                             .group = static_cast<pid_t>(info.pbsi_pgid),
                             .ended = info.pbsi_status == SZOMB,
                             .program = info.pbsi_comm});
        }
    }
    return found;
}

std::size_t threadsNamed(const std::string& name) {
    const auto threads = listOf<std::uint64_t>(::getpid(), PROC_PIDLISTTHREADS);
    return static_cast<std::size_t>(std::ranges::count_if(threads, [&](std::uint64_t thread) {
        proc_threadinfo info{};
        return ::proc_pidinfo(::getpid(), PROC_PIDTHREADINFO, thread, &info, sizeof info) ==
                   static_cast<int>(sizeof info) &&
               name == info.pth_name;
    }));
}

ProcessorTime processorTime(pid_t pid) {
    rusage_info_v2 used{};
    if (::proc_pid_rusage(pid, RUSAGE_INFO_V2, reinterpret_cast<rusage_info_t*>(&used)) != 0) {
        throw std::runtime_error("there is no process " + std::to_string(pid));
    }
    mach_timebase_info_data_t base{};
    ::mach_timebase_info(&base);
    const auto inMs = [&base](std::uint64_t units) {
        const std::uint64_t nanoseconds = units / base.denom * base.numer;
        return std::chrono::milliseconds(static_cast<std::int64_t>(nanoseconds / 1'000'000));
    };
    return {.own = inMs(used.ri_user_time + used.ri_system_time),
            .ofChildren = inMs(used.ri_child_user_time + used.ri_child_system_time)};
}

std::size_t openDescriptors() {
    return listOf<proc_fdinfo>(::getpid(), PROC_PIDLISTFDS).size();
}

// There is no signal by handle here: the process is known to live until somebody reaps it.
void Watched::signal(int number) const {
    if (lives()) {
        ::kill(processId, number);
    }
}

} // namespace process_test
