// Examines whether a server keeps its side of the contract in docs/server.md. The application's own
// supervisor launches it, in a private folder, and the application's own clients ask it; what they
// do and see is written down on the way and judged clause by clause, so what is examined is what
// the application needs. Blocks, on the thread that made the loop, for a few seconds, or for about
// a minute when the server never becomes healthy. The server and what it has written are gone when
// it returns.
#pragma once

#include "mac/Zorvane/WaitingLoop.h"
#include "platform/Bundle.h"
#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/CommandRunner.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/HttpClient.h"
#include "platform/LoopbackPorts.h"
#include "platform/Queues.h"
#include "platform/RandomSource.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zorvane {

// How binding a clause is. An optional endpoint may be left out; one that is there must be right.
enum class ClauseLevel { must, should, may };
enum class ClauseOutcome { held, failed, notOffered, notReached };

struct ClauseResult {
    std::string_view id; // as in docs/server.md
    ClauseLevel level = ClauseLevel::must;
    std::string_view text; // one sentence
    ClauseOutcome outcome = ClauseOutcome::notReached;
    std::string seen = {}; // what the outcome rests on; UTF-8 without control characters
};

struct ServerReport {
    std::filesystem::path executable;
    std::vector<ClauseResult> clauses; // in the order of the document

    // Every must holds, and nothing that was offered is wrong.
    [[nodiscard]] bool passed() const;
};

struct ServerCheckFacilities {
    WaitingLoop& loop; // outlives the others: they may post to it until they are gone
    platform::BackgroundQueues& backgroundQueues;
    platform::Clock& clock;
    platform::ChildLauncher& launcher;
    platform::CommandRunner& commands;
    platform::HttpClient& http;
    platform::LoopbackPorts& ports;
    platform::RandomSource& random;
    platform::Bundle& bundle; // whose media tools the server is given
    platform::FileSystem& files;
};

// `folder` does not exist yet; it is made with mode 0700 and removed again. The environment is what
// the server inherits. When `interrupted` says so, the rest is not reached.
[[nodiscard]] ServerReport checkServer(const ServerCheckFacilities& facilities,
                                       const platform::Environment& environment,
                                       const std::filesystem::path& executable,
                                       const std::filesystem::path& folder,
                                       const std::function<bool()>& interrupted);

} // namespace zorvane
