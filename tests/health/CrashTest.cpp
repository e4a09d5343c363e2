// The health store while the file system fails, or the process dies, at each call in turn.
#include "tests/health/StoreFixture.h"
#include "tests/health/Worker.h"

#include <csignal>
#include <string>
#include <tuple>

namespace {

using health_worker::Fault;
using health_worker::Outcome;
using health_worker::Worker;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::StartsWith;

constexpr int killed = 128 + SIGKILL;

// The action, and whether there is a store already when the worker begins.
using Scenario = std::tuple<std::string, bool>;

class HealthStoreCrashTest : public StoreFixture, public testing::WithParamInterface<Scenario> {
  protected:
    HealthStoreCrashTest()
        : StoreFixture(inMemory()) {}

    // Reports 1 and 2 with a state, something foreign, and what an earlier crash left.
    void prepare() {
        std::filesystem::remove_all(root);
        std::filesystem::remove(log());
        if (!std::get<bool>(GetParam())) {
            return;
        }
        const auto store = open();
        store->record(health_worker::report(1));
        store->record(health_worker::report(2));
        store->saveState(health_worker::oldState());
        write(root / "history/notes.json", "mine");
        write(root / "history" / staleName, "half a rep");
        ::chmod((root / "history" / staleName).c_str(), 0600);
    }
    [[nodiscard]] std::filesystem::path log() const { return folder / "calls"; }
    [[nodiscard]] std::vector<std::string> loggedCalls() const {
        std::ifstream file(log());
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }
    [[nodiscard]] Outcome runWithFaultAt(long call) {
        Worker worker(root, "crash", 0,
                      Fault{.action = std::get<0>(GetParam()), .call = call, .log = log()});
        return worker.finish();
    }
    [[nodiscard]] bool isKill() const {
        const auto& action = std::get<0>(GetParam());
        return action == "before" || action == "after";
    }

    void expectWholeReports(const std::string& where) const {
        for (const auto& name : namesIn(where)) {
            if (!tessel::AppHealthReportFile::isName(name)) {
                continue;
            }
            EXPECT_EQ(modeOf(root / where / name), 0600U) << name;
            bool isWhole = false;
            for (int number = 1; number <= 4; ++number) {
                isWhole = isWhole ||
                          (name == nameOf(number) && read(root / where / name) == stored(number));
            }
            EXPECT_TRUE(isWhole) << where << "/" << name;
        }
    }

    // Each file exactly as it was or as it should be, and nothing lost that had been promised.
    void expectOldOrNew(const Outcome& outcome) const {
        const bool hadStore = std::get<bool>(GetParam());
        expectWholeReports("history");
        expectWholeReports("pending");
        const std::string none;
        const auto latest = read(root / "latest.json");
        EXPECT_THAT(latest, AnyOf(hadStore ? stored(2) : none, stored(3), stored(4)));
        const auto state = read(root / "state.json");
        EXPECT_THAT(state, AnyOf(hadStore ? health_worker::oldState().encoded() : none,
                                 health_worker::newState().encoded()));
        if (hadStore) {
            EXPECT_EQ(read(root / "history/notes.json"), "mine");
            EXPECT_THAT(namesIn("history"), Contains(nameOf(2)));
        }
        for (const int number : {3, 4}) {
            const std::string name = nameOf(number);
            if (outcome.hasSaid("record done " + name.substr(0, name.size() - 5))) {
                EXPECT_THAT(namesIn("history"), Contains(name));
                if (!outcome.hasSaid("submit done " + name) && !isSubmitting(outcome)) {
                    EXPECT_THAT(namesIn("pending"), Contains(name));
                }
                EXPECT_THAT(latest, AnyOf(stored(number), stored(4)));
            }
        }
        if (outcome.hasSaid("state done")) {
            EXPECT_EQ(state, health_worker::newState().encoded());
        }
    }

    // A queue of one report is empty after that one was submitted, said or not.
    [[nodiscard]] static bool isSubmitting(const Outcome& outcome) {
        return outcome.hasSaid("state") && !outcome.hasSaid("submit done");
    }

    void expectTheNextStoreToBeSound() {
        const auto store = open();
        EXPECT_THAT(temporaries(), IsEmpty());
        EXPECT_EQ(modeOf(root), 0700U);
        store->record(health_worker::report(5));
        EXPECT_EQ(store->latestReport(), health_worker::report(5));
        EXPECT_THAT(store->pendingReports(), Contains(health_worker::report(5)));
        EXPECT_LE(store->historyReports().size(), std::size_t{health_worker::historyLimit});
    }
};

TEST_P(HealthStoreCrashTest, leavesEveryFileOldOrNewAtEveryCall) {
    prepare();
    const Outcome whole = runWithFaultAt(0);
    ASSERT_EQ(whole.status, 0);
    ASSERT_THAT(whole.said, Each(testing::HasSubstr(" done ")));
    const auto calls = loggedCalls();
    ASSERT_GT(calls.size(), 60U);

    for (std::size_t call = 1; call <= calls.size(); ++call) {
        if (std::get<0>(GetParam()) == "short" && !calls[call - 1].contains(" write ")) {
            continue; // nothing else can be done by half
        }
        SCOPED_TRACE("call " + calls[call - 1]);
        prepare();
        const Outcome outcome = runWithFaultAt(static_cast<long>(call));
        ASSERT_EQ(outcome.status, isKill() ? killed : 0);
        EXPECT_THAT(loggedCalls(), Each(testing::Not(StartsWith("AGAIN"))))
            << "a failed flush was tried again";
        if (!isKill()) {
            EXPECT_THAT(temporaries(), Each(testing::StrEq(staleName)));
        }
        expectOldOrNew(outcome);
        expectTheNextStoreToBeSound();
        if (HasFailure()) {
            return; // the rest would say the same
        }
    }
}

INSTANTIATE_TEST_SUITE_P(HealthStore, HealthStoreCrashTest,
                         testing::Combine(testing::Values("EIO", "ENOSPC", "EINTR", "short", "full",
                                                          "before", "after"),
                                          testing::Bool()),
                         [](const auto& parameter) {
                             return std::get<0>(parameter.param) + (std::get<bool>(parameter.param)
                                                                        ? "WithAStore"
                                                                        : "WithoutAStore");
                         });

class SharedHealthStoreTest : public StoreFixture {
  protected:
    void expectSound() {
        const auto store = open();
        EXPECT_THAT(temporaries(), IsEmpty());
        for (const auto* where : {"history", "pending"}) {
            EXPECT_LE(namesIn(where).size(), 3U) << where;
        }
        EXPECT_EQ(store->historyReports().size(), namesIn("history").size()) << "all readable";
        EXPECT_TRUE(store->latestReport());
    }
};

TEST_F(SharedHealthStoreTest, servesSeveralProcessesAtATime) {
    std::vector<std::unique_ptr<Worker>> workers;
    for (int number = 0; number < 3; ++number) {
        workers.push_back(std::make_unique<Worker>(root, "stress", 20));
    }
    for (const auto& worker : workers) {
        const Outcome outcome = worker->finish();
        EXPECT_EQ(outcome.status, 0) << testing::PrintToString(outcome.said);
        EXPECT_EQ(outcome.said.size(), 20U);
    }
    expectSound();
}

TEST_F(SharedHealthStoreTest, outlivesANeighbourThatIsKilledAtAnyCall) {
    Worker steady(root, "stress", 40);
    for (long call = 1; call <= 100; call += 7) {
        Worker doomed(root, "crash", 0,
                      Fault{.action = "after", .call = call, .log = folder / "calls"});
        EXPECT_EQ(doomed.finish().status, killed);
    }
    const Outcome outcome = steady.finish();
    EXPECT_EQ(outcome.status, 0) << testing::PrintToString(outcome.said);
    expectSound();
}

} // namespace
