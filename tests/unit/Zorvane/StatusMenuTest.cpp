#include "mac/Zorvane/StatusMenu.h"

#include "platform/testing/InMemorySystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zorvane {
namespace {

using ostra::AccountStatus;
using ostra::LibrarySummary;
using ostra::ModeSummary;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Running = ServerSupervisor::Running;
using Starting = ServerSupervisor::Starting;
using Stopped = ServerSupervisor::Stopped;
using Failed = ServerSupervisor::Failed;

const platform::testing::FakeNumberFormatter numbers;

// One string an entry: "-" is a separator, "[Title]" information, "(Title)" a disabled action,
// "* Title" a checked one,
// "o Title" one that could be.
std::vector<std::string> lines(const StatusMenuContents& contents) {
    std::vector<std::string> result;
    for (const StatusMenuEntry& entry : statusMenu(contents, numbers)) {
        if (entry.isSeparator()) {
            result.emplace_back("-");
        } else if (!entry.action) {
            result.push_back("[" + entry.title + "]");
        } else {
            const std::string title = (entry.checked     ? "* "
                                       : entry.checkable ? "o "
                                                         : "") +
                                      entry.title;
            result.push_back(entry.enabled ? title : "(" + title + ")");
        }
    }
    return result;
}

ModeSummary mode(std::string name, std::optional<std::int64_t> items, std::int64_t libraries) {
    ModeSummary summary;
    summary.id = name;
    summary.name = std::move(name);
    summary.itemCount = items;
    summary.singularItemName = "movie";
    summary.pluralItemName = "movies";
    summary.libraryCount = libraries;
    return summary;
}

StatusMenuContents online() {
    StatusMenuContents contents;
    contents.shortVersion = "1.4.0";
    contents.bundleVersion = "212";
    contents.state = Running{8080};
    return contents;
}

StatusMenuContents withLibrary(std::vector<ModeSummary> modes) {
    StatusMenuContents contents = online();
    contents.library = LibrarySummary{std::move(modes)};
    return contents;
}

TEST(StatusMenu, showsAStartingServerWithoutLibraryAndAccount) {
    StatusMenuContents contents = online();
    contents.state = Starting{};
    EXPECT_THAT(lines(contents),
                ElementsAre("[Zorvane 1.4.0 (212)]", "[Server: Starting ostrad...]", "-",
                            "Show Zorvane Window", "(Open Web App)", "(Copy Server URL)",
                            "Restart Server", "-", "o Start at Login", "-",
                            "Quit Zorvane & Stop Server"));
}

TEST(StatusMenu, showsEverythingOfARunningServer) {
    StatusMenuContents contents =
        withLibrary({mode("Movies", 1204, 2), mode("Comics", std::nullopt, 0),
                     mode("Shows", 11204, 1), mode("Empty", 0, 0)});
    contents.startsAtLogin = true;
    contents.canUpdate = true;
    EXPECT_THAT(
        lines(contents),
        ElementsAre(
            "[Zorvane 1.4.0 (212)]", "[Server: Online]", "[Address: http://127.0.0.1:8080/]", "-",
            "[Library: 12,408 items across 3 libraries]", "[Movies: 1,204 movies - 2 libraries]",
            "[Shows: 11,204 movies - 1 library]", "-", "Show Zorvane Window", "Open Web App",
            "Copy Server URL", "Restart Server", "-", "[Account: …]", "Link This Server…", "-",
            "* Start at Login", "Check for Updates…", "-", "Quit Zorvane & Stop Server"));
}

TEST(StatusMenu, givesEveryActionItsOwnEntry) {
    StatusMenuContents contents = online();
    contents.canUpdate = true;
    std::vector<StatusMenuAction> actions;
    for (const StatusMenuEntry& entry : statusMenu(contents, numbers)) {
        if (entry.action) {
            actions.push_back(*entry.action);
        }
    }
    EXPECT_THAT(actions,
                ElementsAre(StatusMenuAction::openOstraWindow, StatusMenuAction::openWebApp,
                            StatusMenuAction::copyServerURL, StatusMenuAction::restartServer,
                            StatusMenuAction::linkServer, StatusMenuAction::toggleLoginItem,
                            StatusMenuAction::checkForUpdates, StatusMenuAction::quitApp));
}

struct Header {
    std::optional<std::string> version;
    std::optional<std::string> build;
    const char* line;
};

class StatusMenuHeader : public testing::TestWithParam<Header> {};

TEST_P(StatusMenuHeader, namesTheVersion) {
    StatusMenuContents contents = online();
    contents.shortVersion = GetParam().version;
    contents.bundleVersion = GetParam().build;
    EXPECT_EQ(lines(contents).front(), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(All, StatusMenuHeader,
                         testing::Values(Header{"1.4.0", "212", "[Zorvane 1.4.0 (212)]"},
                                         Header{"1.4.0", std::nullopt, "[Zorvane 1.4.0]"},
                                         Header{"1.4.0", "", "[Zorvane 1.4.0]"},
                                         Header{std::nullopt, "7", "[Zorvane dev (7)]"},
                                         Header{std::nullopt, std::nullopt, "[Zorvane dev]"}));

// The account section without its separator.
std::vector<std::string> accountLines(const std::optional<AccountStatus>& account) {
    StatusMenuContents contents = online();
    contents.account = account;
    const auto all = lines(contents);
    const auto begin = std::find(all.begin(), all.end(), "Restart Server") + 2;
    return {begin, std::find(begin, all.end(), "-")};
}

AccountStatus linked(bool withOrigin) {
    AccountStatus status;
    status.linked = true;
    if (withOrigin) {
        status.origin = ostra::Url("https://account.test");
    }
    return status;
}

AccountStatus pending(bool withPage) {
    AccountStatus status;
    status.pending = true;
    status.code = "ABCD-1234";
    if (withPage) {
        status.verifyURL = ostra::Url("https://account.test/link");
    }
    return status;
}

TEST(StatusMenuAccount, offersTheAccountPageOfALinkedServerWhenItIsKnown) {
    EXPECT_THAT(accountLines(linked(true)), ElementsAre("[Account: linked]", "Open Account Page"));
    EXPECT_THAT(accountLines(linked(false)), ElementsAre("[Account: linked]"));
}

TEST(StatusMenuAccount, offersTheApprovalOfAPendingLink) {
    EXPECT_THAT(accountLines(pending(true)), ElementsAre("[Account: linking… ABCD-1234]",
                                                         "Reopen Approval Page", "Copy Link Code"));
}

TEST(StatusMenuAccount, offersALinkWhenThereIsNothingToApprove) {
    EXPECT_THAT(accountLines(pending(false)),
                ElementsAre("[Account: linking… ABCD-1234]", "Link This Server…"));
    EXPECT_THAT(accountLines(AccountStatus{}),
                ElementsAre("[Account: not linked]", "Link This Server…"));
    EXPECT_THAT(accountLines(std::nullopt), ElementsAre("[Account: …]", "Link This Server…"));
}

TEST(ServerStatusLines, followTheState) {
    EXPECT_THAT(serverStatusLines(Running{443}),
                ElementsAre("Server: Online", "Address: http://127.0.0.1:443/"));
    EXPECT_THAT(serverStatusLines(Failed{"no server"}),
                ElementsAre("Server: Error", "Reason: no server"));
    EXPECT_THAT(serverStatusLines(Starting{}), ElementsAre("Server: Starting ostrad..."));
    EXPECT_THAT(serverStatusLines(Stopped{}), ElementsAre("Server: Stopped"));
}

std::string repeated(const std::string& text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

TEST(ServerStatusLines, shortenAReasonOfMoreThan88Characters) {
    // A base letter with a mark, and a family of three joined into one picture.
    for (const std::string character : {"x", "e\u0301", "👩‍👩‍👧"}) {
        EXPECT_EQ(serverStatusLines(Failed{repeated(character, 88)})[1],
                  "Reason: " + repeated(character, 88));
        EXPECT_EQ(serverStatusLines(Failed{repeated(character, 89)})[1],
                  "Reason: " + repeated(character, 85) + "...");
    }
}

TEST(LibrarySummaryLine, isThereOnlyWhileTheServerRuns) {
    StatusMenuContents contents = withLibrary({mode("Movies", 3, 1)});
    for (const ServerSupervisor::State& state :
         {ServerSupervisor::State{Stopped{}}, ServerSupervisor::State{Starting{}},
          ServerSupervisor::State{Failed{"x"}}}) {
        contents.state = state;
        EXPECT_EQ(librarySummaryLine(contents, numbers), std::nullopt);
    }
}

TEST(LibrarySummaryLine, saysThatItIsLoadingOrUnavailable) {
    StatusMenuContents contents = online();
    EXPECT_EQ(librarySummaryLine(contents, numbers), "Library: unavailable");
    contents.libraryFetchInFlight = true;
    EXPECT_EQ(librarySummaryLine(contents, numbers), "Library: loading...");
}

struct Totals {
    std::optional<std::int64_t> items;
    std::int64_t libraries;
    const char* line;
};

class LibraryTotals : public testing::TestWithParam<Totals> {};

TEST_P(LibraryTotals, areCountedInWords) {
    EXPECT_EQ(librarySummaryLine(
                  withLibrary({mode("Movies", GetParam().items, GetParam().libraries)}), numbers),
              GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    All, LibraryTotals,
    testing::Values(Totals{std::nullopt, 0, "Library: no libraries configured"},
                    Totals{0, 0, "Library: no libraries configured"},
                    Totals{5, 0, "Library: 5 items"}, Totals{1, 0, "Library: 1 item"},
                    Totals{std::nullopt, 1, "Library: 1 library"},
                    Totals{std::nullopt, 2, "Library: 2 libraries"},
                    Totals{0, 1, "Library: 0 items across 1 library"},
                    Totals{1, 1, "Library: 1 item across 1 library"},
                    Totals{12408, 3, "Library: 12,408 items across 3 libraries"},
                    Totals{-1, 0, "Library: -1 items"}));

TEST(LibrarySummaryLine, sumsItsModes) {
    EXPECT_EQ(librarySummaryLine(withLibrary({}), numbers), "Library: no libraries configured");
    EXPECT_EQ(
        librarySummaryLine(
            withLibrary({mode("A", std::nullopt, 1), mode("B", 3, 0), mode("C", 4, 1)}), numbers),
        "Library: 7 items across 2 libraries");
}

TEST(ModeSummaryLine, namesItemsAndLibraries) {
    EXPECT_EQ(modeSummaryLine(mode("Movies", 1204, 2), numbers),
              "Movies: 1,204 movies - 2 libraries");
    EXPECT_EQ(modeSummaryLine(mode("Movies", 1, 1), numbers), "Movies: 1 movie - 1 library");
    EXPECT_EQ(modeSummaryLine(mode("Movies", 0, 1), numbers), "Movies: 0 movies - 1 library");
    EXPECT_EQ(modeSummaryLine(mode("Movies", 2, 0), numbers), "Movies: 2 movies");
    EXPECT_EQ(modeSummaryLine(mode("Movies", std::nullopt, 1), numbers), "Movies: 1 library");
    EXPECT_EQ(modeSummaryLine(mode("Movies", std::nullopt, 0), numbers), "Movies: unavailable");
}

TEST(ModeLines, leaveOutModesWithoutItemsAndLibraries) {
    const auto all = lines(withLibrary(
        {mode("A", 0, 0), mode("B", std::nullopt, 0), mode("C", 0, 1), mode("D", 1, 0)}));
    const std::string text = testing::PrintToString(all);
    EXPECT_THAT(text, Not(HasSubstr("[A:")));
    EXPECT_THAT(text, Not(HasSubstr("[B:")));
    EXPECT_THAT(text, HasSubstr("[C: 0 movies - 1 library]"));
    EXPECT_THAT(text, HasSubstr("[D: 1 movie]"));
}

TEST(StatusToolTip, isTheServersLinesAndTheLibrarys) {
    EXPECT_EQ(statusToolTip(withLibrary({mode("Movies", 5, 0)}), numbers),
              "Server: Online\nAddress: http://127.0.0.1:8080/\nLibrary: 5 items");
    StatusMenuContents contents;
    contents.state = Failed{"no server"};
    EXPECT_EQ(statusToolTip(contents, numbers), "Server: Error\nReason: no server");
}

} // namespace
} // namespace zorvane
