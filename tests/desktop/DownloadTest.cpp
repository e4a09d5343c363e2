// Files that a page of the real application offers: the user says where they go, and nothing but
// whole files ever gets there.
#include "tests/desktop/PageTest.h"
#include "tests/desktop/session/Accessibility.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>

namespace desktop {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Download : public PageTest {
  protected:
    Download() { fs::create_directory(target); }

    // Where what is offered is saved as long as the user chooses no other place.
    [[nodiscard]] fs::path makeFolderForDownloads() const {
        const fs::path folder = session.folder() / "home/Downloads";
        fs::create_directory(folder);
        fs::create_directories(session.configHome());
        std::ofstream(session.configHome() / "user-dirs.dirs")
            << "XDG_DOWNLOAD_DIR=\"$HOME/Downloads\"\n";
        return folder;
    }

    void launchAndOffer(const std::string& attachment) {
        launchWithPage(offer(attachment));
        ASSERT_TRUE(appears("Save File")) << application->standardError();
    }
    static std::string offer(const std::string& attachment) {
        return fmt::format("<body style='height:100vh'>offers<script>onclick = onload = () => "
                           "location = '{}'</script>",
                           attachment);
    }

    [[nodiscard]] bool appears(const std::string& title) const {
        return eventually([&] { return session.visibleWindow(title).has_value(); });
    }
    [[nodiscard]] bool disappears(const std::string& title) const {
        return eventually([&] { return !session.visibleWindow(title).has_value(); });
    }
    // By a click on the page, once the one before is over.
    [[nodiscard]] bool isOfferedAgain() const {
        return eventually([&] {
            const WindowGeometry place = session.geometry(window().value_or("root"));
            session.click(place.x + place.width / 2, place.y + place.height / 2);
            return eventually([&] { return session.visibleWindow("Save File").has_value(); },
                              std::chrono::seconds(2));
        });
    }
    // Keys are lost until the dialog has the keyboard.
    [[nodiscard]] bool answers(const std::string& title, const std::string& key) const {
        return eventually([&] {
            session.focus(session.visibleWindow(title).value_or(""));
            session.pressKey(key);
            return eventually([&] { return !session.visibleWindow(title).has_value(); },
                              std::chrono::seconds(2));
        });
    }
    // In the place of the name that is offered, which has the keyboard.
    [[nodiscard]] bool savesAs(const fs::path& file) const {
        return eventually([&] {
            const std::string dialog = session.visibleWindow("Save File").value_or("");
            session.focus(dialog);
            session.pressKey("ctrl+a");
            session.type(file.string());
            session.pressKey("Return");
            return eventually([&] { return !session.visibleWindow("Save File").has_value(); },
                              std::chrono::seconds(2));
        });
    }

    static std::vector<std::string> namesIn(const fs::path& folder) {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) {
            names.insert(entry.path().filename().string());
        }
        return {names.begin(), names.end()};
    }
    [[nodiscard]] std::vector<std::string> collected() const {
        const fs::path folder = session.cacheHome() / "app.zorvane/webkit/downloads";
        return fs::exists(folder) ? namesIn(folder) : std::vector<std::string>();
    }
    // What pages could put into the home folder unasked; the desktop's own files are hidden.
    [[nodiscard]] std::vector<std::string> atHome() const {
        auto names = namesIn(session.folder() / "home");
        std::erase_if(names, [](const std::string& name) { return name.starts_with('.'); });
        return names;
    }

    const fs::path target = session.folder() / "target";
    // Slow enough to be met while it comes.
    static constexpr const char* slow = "/attachment?name=film.mkv&size=50000000&rate=200000";
};

TEST_F(Download, isSavedWhereTheUserSaysAndNowhereElse) {
    launchAndOffer("/attachment?name=film.mkv&size=300000");
    EXPECT_THAT(atHome(), IsEmpty());
    ASSERT_TRUE(savesAs(target / "saved.mkv"));
    EXPECT_TRUE(eventually([&] {
        std::error_code missing;
        return fs::file_size(target / "saved.mkv", missing) == 300000;
    }));
    EXPECT_THAT(namesIn(target), ElementsAre("saved.mkv"));
    EXPECT_TRUE(eventually([&] { return collected().empty(); }));
    EXPECT_THAT(atHome(), IsEmpty());
    EXPECT_TRUE(isOfferedAgain());
    quit();
}

TEST_F(Download, isOfferedUnderANameWithoutFolders) {
    const fs::path downloads = makeFolderForDownloads();
    launchAndOffer("/attachment?name=..%2F..%2F.hidden.mkv&size=1000");
    ASSERT_TRUE(answers("Save File", "Return"));
    EXPECT_TRUE(eventually([&] { return fs::exists(downloads / "hidden.mkv"); }));
    EXPECT_THAT(atHome(), ElementsAre("Downloads"));
}

// The engine takes care of folders itself.
TEST_F(Download, isOfferedUnderANameThatFileSystemsTake) {
    const fs::path downloads = makeFolderForDownloads();
    launchAndOffer(fmt::format("/attachment?name={}.mkv&size=1000", std::string(230, 'a')));
    ASSERT_TRUE(answers("Save File", "Return"));
    EXPECT_TRUE(
        eventually([&] { return fs::exists(downloads / (std::string(196, 'a') + ".mkv")); }));
    EXPECT_EQ(namesIn(downloads).size(), 1U);
}

TEST_F(Download, isWhatTheViewCannotShow) {
    launchAndOffer("/attachment?type=application/zip&size=1000");
    EXPECT_TRUE(answers("Save File", "Escape"));
    EXPECT_THAT(atHome(), IsEmpty());
    EXPECT_THAT(collected(), IsEmpty());
    quit();
}

TEST_F(Download, isWhatComesAsAnAttachmentThoughTheViewCouldShowIt) {
    launchAndOffer("/attachment?name=notes.txt&type=text/plain&size=1000");
    EXPECT_TRUE(answers("Save File", "Escape"));
    EXPECT_THAT(atHome(), IsEmpty());
    EXPECT_TRUE(isOfferedAgain());
    quit();
}

TEST_F(Download, saysHowMuchOfItHasCome) {
    const Accessibility accessibility(session);
    launchAndOffer(slow);
    ASSERT_TRUE(savesAs(target / "film.mkv"));
    ASSERT_TRUE(appears("Saving film.mkv"));
    std::set<std::string> said;
    EXPECT_TRUE(eventually([&] {
        for (const AccessibleObject& object : accessibility.objects()) {
            if (object.name.find(" of 50.0") != std::string::npos) {
                said.insert(object.name);
            }
        }
        return said.size() >= 3;
    })) << ::testing::PrintToString(said);
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0);
}

TEST_F(Download, isCancelledWhileItComes) {
    launchAndOffer(slow);
    ASSERT_TRUE(savesAs(target / "film.mkv"));
    ASSERT_TRUE(appears("Saving film.mkv"));
    EXPECT_TRUE(eventually([&] { return !collected().empty(); }));
    EXPECT_TRUE(answers("Saving film.mkv", "Escape"));
    EXPECT_TRUE(eventually([&] { return collected().empty(); }));
    EXPECT_THAT(namesIn(target), IsEmpty());
    EXPECT_TRUE(isOfferedAgain()) << "nothing is said about what the user wanted";
    quit();
}

TEST_F(Download, isOneAtATime) {
    launchWithPage(fmt::format("<body>offers<script>onload = () => {{ for (let n = 0; n < 50; ++n) "
                               "{{ const f = document.createElement('iframe'); f.src = '{}';"
                               " document.body.append(f); }}"
                               " setTimeout(() => fetch('/report?offered'), 1000); }}</script>",
                               slow));
    ASSERT_TRUE(appears("Save File")) << application->standardError();
    ASSERT_TRUE(reports("offered"));
    EXPECT_EQ(session.visibleWindows("Save File").size(), 1U);
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
}

TEST_F(Download, holdsUpNoQuitAndLeavesNothing) {
    launchAndOffer(slow);
    ASSERT_TRUE(savesAs(target / "film.mkv"));
    ASSERT_TRUE(appears("Saving film.mkv"));
    EXPECT_TRUE(eventually([&] { return !collected().empty(); }));
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
    EXPECT_THAT(namesIn(target), IsEmpty());
    EXPECT_THAT(collected(), IsEmpty());
    EXPECT_THAT(atHome(), IsEmpty());
}

TEST_F(Download, leavesNothingWhenTheWindowProgramDies) {
    launchAndOffer(slow);
    ASSERT_TRUE(savesAs(target / "film.mkv"));
    ASSERT_TRUE(appears("Saving film.mkv"));
    EXPECT_TRUE(eventually([&] { return !collected().empty(); }));
    writePage("<body>offers nothing");
    const auto before = processesNamed("zorvane-window");
    ASSERT_EQ(before.size(), 1U);
    ::kill(before.front().pid, SIGKILL);
    EXPECT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(eventually([&] { return collected().empty(); }));
    EXPECT_THAT(namesIn(target), IsEmpty());
}

TEST_F(Download, thatWaitsForAPlaceIsDeclinedWhenTheWindowProgramDies) {
    launchAndOffer("/attachment?name=film.mkv&size=300000");
    writePage("<body>offers nothing<script>fetch('/report?again')</script>");
    const auto before = processesNamed("zorvane-window");
    ASSERT_EQ(before.size(), 1U);
    ::kill(before.front().pid, SIGKILL);
    ASSERT_TRUE(reports("again")) << application->standardError();
    EXPECT_TRUE(windowAppears());
    EXPECT_FALSE(session.visibleWindow("Save File"));
    EXPECT_THAT(collected(), IsEmpty());

    writePage(offer("/attachment?name=film.mkv&size=300000"));
    const auto page = processesNamed("WebKitWebProcess");
    ASSERT_FALSE(page.empty());
    ::kill(page.front().pid, SIGKILL); // it is loaded again
    ASSERT_TRUE(appears("Save File")) << application->standardError();
    EXPECT_TRUE(savesAs(target / "saved.mkv"));
    EXPECT_TRUE(eventually([&] { return fs::exists(target / "saved.mkv"); }));
    EXPECT_THAT(atHome(), IsEmpty());
    quit();
}

TEST_F(Download, whoseNetworkProcessDiesIsToldAndLeavesNothing) {
    launchAndOffer(slow);
    ASSERT_TRUE(savesAs(target / "film.mkv"));
    ASSERT_TRUE(appears("Saving film.mkv"));
    EXPECT_TRUE(eventually([&] { return !collected().empty(); }));
    for (const Process& process : processesNamed("WebKitNetworkProcess")) {
        ::kill(process.pid, SIGKILL);
    }
    EXPECT_TRUE(appears("film.mkv could not be saved."));
    EXPECT_TRUE(eventually([&] { return collected().empty(); }));
    EXPECT_THAT(namesIn(target), IsEmpty());
}

TEST_F(Download, whoseServerEndsIsNotTakenForWhole) {
    launchAndOffer(slow);
    ASSERT_TRUE(savesAs(target / "film.mkv"));
    ASSERT_TRUE(appears("Saving film.mkv"));
    EXPECT_TRUE(eventually([&] { return !collected().empty(); }));
    ::kill(serverLaunches(1).front().pid, SIGKILL);
    EXPECT_TRUE(appears("film.mkv could not be saved."));
    EXPECT_TRUE(eventually([&] { return collected().empty(); }));
    EXPECT_THAT(namesIn(target), IsEmpty());
    quit();
}

} // namespace
} // namespace desktop
