// The clients of the server's API against the server in the box.
#include "tests/integration/RealSession.h"
#include "tests/ostrad/OstradFixture.h"

#include <gmock/gmock.h>

namespace {

using ostra::AccountLink;
using ostra::AccountStatus;
using ostra::ModeSummary;

class BundledServerTest : public ostrad::test::OstradTest, public test_support::RealSession {
  protected:
    [[nodiscard]] ostra::Url base() const { return ostra::serverUrl(port); }
    std::optional<AccountStatus> status() { return wait(startStatus(base())); }
};

TEST_F(BundledServerTest, isLinkedByAnApprovalOnItsOwnPage) {
    EXPECT_EQ(status(), AccountStatus{});

    const auto started = wait(startLink(base()));
    ASSERT_TRUE(started);
    EXPECT_FALSE(started->code.empty());
    const auto pending = status();
    ASSERT_TRUE(pending);
    EXPECT_FALSE(pending->linked);
    EXPECT_TRUE(pending->pending);
    EXPECT_EQ(pending->code, started->code);
    EXPECT_EQ(pending->verifyURL, started->verifyURL);
    EXPECT_EQ(pending->menuLine(), "Account: linking\u2026 " + started->code);

    const auto approved = ostrad::test::postJson(port, "/api/account/link/approve",
                                                 R"({"code":")" + started->code + "\"}");
    ASSERT_EQ(approved.status, 200) << approved.body;
    const auto linked = status();
    ASSERT_TRUE(linked);
    EXPECT_TRUE(linked->linked);
    EXPECT_FALSE(linked->pending);
    EXPECT_EQ(linked->menuLine(), "Account: linked");
    EXPECT_FALSE(linked->serverName.value_or("").empty());
    const auto page = AccountLink::accountPageURL(linked);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->buffer(), "http://127.0.0.1:" + std::to_string(port) + "/account");
    EXPECT_EQ(get(page->encoded_path()).status, 200);

    EXPECT_EQ(wait(startLink(base())), std::nullopt) << "it is linked already";
}

TEST_F(BundledServerTest, hasAllItsModesCounted) {
    temp.write("music/The Quiet Hours/Low Tide/01 - Harbour.mp3");
    temp.write("music/The Quiet Hours/Low Tide/02 - Lanterns.mp3");
    temp.write("films/A Film (1999).mkv");
    temp.makeFolder("more films");
    ASSERT_EQ(addLibrary("music", temp.path("music")).status, 201);
    ASSERT_EQ(addLibrary("movies", temp.path("films")).status, 201);
    ASSERT_EQ(addLibrary("movies", temp.path("more films")).status, 201);
    ASSERT_TRUE(scanned());

    const auto summary = wait(startSummary(base()));

    ASSERT_TRUE(summary);
    EXPECT_EQ(summary->totalLibraries(), 3);
    EXPECT_EQ(summary->totalItems(), 3);
    const auto modes = json("/api/modes");
    ASSERT_EQ(summary->modes.size(), modes.as_array().size());
    for (std::size_t i = 0; i < summary->modes.size(); ++i) {
        const ModeSummary& mode = summary->modes[i];
        EXPECT_EQ(mode.id, modes.at(i).at("id").as_string().c_str());
        EXPECT_EQ(mode.name, modes.at(i).at("name").as_string().c_str());
        EXPECT_EQ(mode.itemCount, mode.id == "music" ? 2 : mode.id == "movies" ? 1 : 0) << mode.id;
        EXPECT_EQ(mode.libraryCount, mode.id == "music" ? 1 : mode.id == "movies" ? 2 : 0);
        EXPECT_NE(mode.singularItemName, mode.pluralItemName);
        if (mode.id == "music") {
            EXPECT_EQ(mode.singularItemName, "track");
            EXPECT_EQ(mode.pluralItemName, "tracks");
        }
    }
}

} // namespace
