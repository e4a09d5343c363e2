// The remembered size of a window: what is written comes back, nonsense does not. Needs no
// display.
#include "platform/linux/WindowFrame.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <utility>

namespace {

using platform::desktop::WindowFrame;
using platform::desktop::WindowSize;

constexpr WindowSize screen{.width = 1920, .height = 1080};

class CountingDefaults final : public platform::UserDefaults {
  public:
    [[nodiscard]] std::int64_t integer(std::string_view key) const override {
        const auto entry = values.find(key);
        return entry == values.end() ? 0 : entry->second;
    }
    void setInteger(std::string_view key, std::int64_t value) override {
        values[std::string(key)] = value;
        ++writes;
    }
    [[nodiscard]] bool boolean(std::string_view key) const override { return integer(key) != 0; }
    void setBoolean(std::string_view key, bool value) override { setInteger(key, value ? 1 : 0); }
    void remove(std::string_view key) override { values.erase(std::string(key)); }

    std::map<std::string, std::int64_t, std::less<>> values;
    int writes = 0;
};

TEST(WindowFrame, hasNoSizeBeforeOneWasSaved) {
    CountingDefaults defaults;
    EXPECT_EQ(WindowFrame(defaults, "Main").restore(screen), std::nullopt);
}

TEST(WindowFrame, restoresWhatWasSavedUnderItsOwnName) {
    CountingDefaults defaults;
    const WindowSize size{.width = 900, .height = 700, .maximized = true};
    WindowFrame(defaults, "Main").save(size);
    EXPECT_EQ(WindowFrame(defaults, "Main").restore(screen), size);
    EXPECT_EQ(WindowFrame(defaults, "Other").restore(screen), std::nullopt);
    EXPECT_EQ(defaults.integer("frame.Main.width"), 900);
    EXPECT_EQ(defaults.integer("frame.Main.height"), 700);
    EXPECT_TRUE(defaults.boolean("frame.Main.maximized"));
}

TEST(WindowFrame, cutsASizeThatIsLargerThanTheScreen) {
    CountingDefaults defaults;
    defaults.values = {{"frame.Main.width", std::numeric_limits<std::int64_t>::max()},
                       {"frame.Main.height", 4000}};
    EXPECT_EQ(WindowFrame(defaults, "Main").restore(screen), screen);
}

TEST(WindowFrame, takesASizeThatMakesNoSenseAsAbsent) {
    CountingDefaults defaults;
    for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{0, 700},
                                        {900, 0},
                                        {-900, 700},
                                        {900, std::numeric_limits<std::int64_t>::min()},
                                        {3, 3}}) {
        defaults.values = {{"frame.Main.width", width}, {"frame.Main.height", height}};
        EXPECT_EQ(WindowFrame(defaults, "Main").restore(screen), std::nullopt)
            << width << " x " << height;
    }
}

TEST(WindowFrame, doesNotWriteWhatDidNotChange) {
    CountingDefaults defaults;
    WindowFrame frame(defaults, "Main");
    frame.save({.width = 900, .height = 700});
    const int writes = defaults.writes;
    frame.save({.width = 900, .height = 700});
    EXPECT_EQ(defaults.writes, writes);
    frame.save({.width = 901, .height = 700});
    EXPECT_EQ(defaults.writes, writes + 1);
}

TEST(WindowFrame, neverSavesASizeThatItWouldNotRestore) {
    CountingDefaults defaults;
    WindowFrame(defaults, "Main").save({.width = 0, .height = 0});
    EXPECT_EQ(defaults.writes, 0);
}

} // namespace
