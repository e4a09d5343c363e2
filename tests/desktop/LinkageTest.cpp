// The application loads no toolkit and no web engine: those are the window program's.
#include "tests/desktop/ApplicationTest.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

namespace desktop {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

class Linkage : public ApplicationTest {
  protected:
    [[nodiscard]] std::string librariesOf(const std::string& program) {
        const auto ldd = session.start({"ldd", program}, "ldd");
        EXPECT_EQ(ldd->waitForExit(patience), 0);
        return ldd->standardOutput();
    }
};

TEST_F(Linkage, ofTheExecutableHoldsNothingThatTakesTimeToLoad) {
    EXPECT_THAT(librariesOf(ZORVANE_APPLICATION),
                Not(ContainsRegex("lib(gio|glib|gobject|curl|icu|plist|sodium|cairo|pango)")));
}

TEST_F(Linkage, ofTheApplicationHoldsNoToolkitAndNoWebEngine) {
    const std::string libraries = librariesOf(
        std::filesystem::path(ZORVANE_APPLICATION).replace_filename("zorvane-application.so"));
    EXPECT_THAT(libraries, HasSubstr("libgio-2.0"));
    EXPECT_THAT(libraries, Not(ContainsRegex("lib(gtk|gtkmm|gdk-[0-9]|webkit|javascriptcore)")));
}

TEST_F(Linkage, ofTheWindowProgramHoldsThem) {
    const std::string libraries = librariesOf(ZORVANE_WINDOW);
    EXPECT_THAT(libraries, HasSubstr("libgtk-4"));
    EXPECT_THAT(libraries, HasSubstr("libwebkitgtk-6"));
}

} // namespace
} // namespace desktop
