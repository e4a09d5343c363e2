#include "tests/platform/tray/TrayFixture.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

namespace platform::tray {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NotifierItem : public TrayTest {};

struct Pixmap {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bytes;

    [[nodiscard]] bool showsSomething() const {
        for (std::size_t pixel = 0; pixel < bytes.size(); pixel += 4) {
            if (bytes[pixel] > 200) {
                return true;
            }
        }
        return false;
    }
};

std::vector<Pixmap> pixmapsOf(Host& host) {
    const Variant value = host.property("IconPixmap");
    std::vector<Pixmap> pixmaps;
    GVariantIter images;
    g_variant_iter_init(&images, value.get());
    gint32 width = 0;
    gint32 height = 0;
    GVariant* bytes = nullptr;
    while (g_variant_iter_loop(&images, "(ii@ay)", &width, &height, &bytes) != FALSE) {
        gsize size = 0;
        const auto* const data =
            static_cast<const std::uint8_t*>(g_variant_get_fixed_array(bytes, &size, 1));
        pixmaps.push_back({.width = width, .height = height, .bytes = {data, data + size}});
    }
    return pixmaps;
}

struct ToolTip {
    std::string title;
    std::string subtitle;
    bool operator==(const ToolTip&) const = default;
};

ToolTip toolTipOf(Host& host) {
    const Variant value = host.property("ToolTip");
    const char* title = nullptr;
    const char* subtitle = nullptr;
    g_variant_get(value.get(), "(&s@a(iiay)&s&s)", nullptr, nullptr, &title, &subtitle);
    return {.title = title, .subtitle = subtitle};
}

TEST_F(NotifierItem, hasEveryPropertyOfTheProtocolWithItsType) {
    makeItem();
    Host panel = host();
    const std::map<std::string, std::string> expected = {
        {"Category", "s"},
        {"Id", "s"},
        {"Title", "s"},
        {"Status", "s"},
        {"WindowId", "i"},
        {"IconThemePath", "s"},
        {"IconName", "s"},
        {"IconPixmap", "a(iiay)"},
        {"OverlayIconName", "s"},
        {"OverlayIconPixmap", "a(iiay)"},
        {"AttentionIconName", "s"},
        {"AttentionIconPixmap", "a(iiay)"},
        {"AttentionMovieName", "s"},
        {"ToolTip", "(sa(iiay)ss)"},
        {"ItemIsMenu", "b"},
        {"Menu", "o"},
        {"Version", "i"},
        {"XAyatanaLabel", "s"},
        {"XAyatanaLabelGuide", "s"},
    };
    const Answer all = panel.call("/StatusNotifierItem", "org.freedesktop.DBus.Properties",
                                  "GetAll", g_variant_new("(s)", "org.kde.StatusNotifierItem"));
    std::map<std::string, std::string> types;
    GVariantIter* properties = nullptr;
    g_variant_get(all.value.get(), "(a{sv})", &properties);
    const char* name = nullptr;
    GVariant* value = nullptr;
    while (g_variant_iter_loop(properties, "{&sv}", &name, &value) != FALSE) {
        types[name] = g_variant_get_type_string(value);
    }
    g_variant_iter_free(properties);
    EXPECT_EQ(types, expected);
}

TEST_F(NotifierItem, describesItselfCompletely) {
    makeItem();
    const Answer answer = host().call("/StatusNotifierItem", "org.freedesktop.DBus.Introspectable",
                                      "Introspect", nullptr);
    const char* xml = nullptr;
    g_variant_get(answer.value.get(), "(&s)", &xml);
    for (const char* member :
         {"ContextMenu", "Activate", "SecondaryActivate", "Scroll", "ProvideXdgActivationToken",
          "NewTitle", "NewIcon", "NewAttentionIcon", "NewOverlayIcon", "NewToolTip", "NewStatus",
          "NewMenu", "NewIconThemePath"}) {
        EXPECT_THAT(xml, ::testing::HasSubstr(std::string("name=\"") + member + "\""));
    }
}

TEST_F(NotifierItem, isAMenuOnAnyClick) {
    makeItem();
    Host panel = host();
    EXPECT_EQ(g_variant_get_boolean(panel.property("ItemIsMenu").get()), TRUE);
    EXPECT_EQ(panel.text("Menu"), "/MenuBar");
    EXPECT_EQ(panel.text("Status"), "Active");
    EXPECT_EQ(panel.text("Category"), "ApplicationStatus");
    EXPECT_EQ(panel.text("Id"), "test.tray");
    EXPECT_EQ(panel.item("Activate", g_variant_new("(ii)", 1, 1)).error,
              "org.freedesktop.DBus.Error.NotSupported");
    EXPECT_EQ(panel.item("ContextMenu", g_variant_new("(ii)", 1, 1)).error,
              "org.freedesktop.DBus.Error.NotSupported");
    EXPECT_EQ(panel.item("SecondaryActivate", g_variant_new("(ii)", 1, 1)).error, "");
    EXPECT_EQ(panel.item("Scroll", g_variant_new("(is)", -120, "vertical")).error, "");
    EXPECT_EQ(panel.item("ProvideXdgActivationToken", g_variant_new("(s)", "token")).error, "");
}

TEST_F(NotifierItem, passesOnThatAHostActivatesIt) {
    makeItem();
    int activated = 0;
    item->onActivate = [&] { ++activated; };
    Host panel = host();
    EXPECT_EQ(panel.item("Activate", g_variant_new("(ii)", 1, 1)).error, "");
    EXPECT_EQ(activated, 1);
    item->onActivate = [&] { item.reset(); };
    EXPECT_EQ(panel.item("Activate", g_variant_new("(ii)", 1, 1)).error, "");
    EXPECT_EQ(item, nullptr);
}

TEST_F(NotifierItem, answersAHostThatAsksForNonsense) {
    makeItem();
    Host panel = host();
    EXPECT_EQ(panel.property("NoSuchProperty").get(), nullptr);
    EXPECT_NE(panel.item("NoSuchMethod", nullptr).error, "");
    EXPECT_NE(panel.item("Activate", g_variant_new("(s)", "wrong")).error, "");
    EXPECT_NE(panel
                  .call("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Set",
                        g_variant_new("(ssv)", "org.kde.StatusNotifierItem", "Title",
                                      g_variant_new_string("x")))
                  .error,
              "");
    EXPECT_EQ(panel.text("Title"), "");
}

TEST_F(NotifierItem, showsASymbolByNameAndAsPixmaps) {
    makeItem();
    Host panel = host();
    ASSERT_TRUE(item->setSymbol("some.symbol", "Some Name"));
    settle();
    EXPECT_EQ(panel.text("IconName"), "some.symbol-symbolic");
    EXPECT_EQ(panel.text("IconThemePath"), symbols.string());
    EXPECT_EQ(panel.text("Title"), "Some Name");
    EXPECT_THAT(panel.signals, Contains("NewIcon"));
    EXPECT_THAT(panel.signals, Contains("NewTitle"));
    const std::vector<Pixmap> pixmaps = pixmapsOf(panel);
    std::vector<int> sizes;
    for (const Pixmap& pixmap : pixmaps) {
        sizes.push_back(pixmap.width);
        EXPECT_EQ(pixmap.height, pixmap.width);
        ASSERT_EQ(pixmap.bytes.size(), static_cast<std::size_t>(4 * pixmap.width * pixmap.height));
        EXPECT_TRUE(pixmap.showsSomething());
        EXPECT_EQ(pixmap.bytes[0], 0); // the upper left corner is clear
    }
    EXPECT_THAT(sizes, ElementsAre(16, 22, 24, 32, 33, 36, 44, 48, 64));
}

double luminance(int grey) {
    const double value = grey / 255.0;
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double contrast(int one, int other) {
    const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
    return (light + 0.05) / (dark + 0.05);
}

TEST_F(NotifierItem, isSeenOnLightAndDarkPanelsAtEveryScale) {
    makeItem();
    ASSERT_TRUE(item->setSymbol("some.symbol", "Some Name"));
    Host panel = host();
    for (const Pixmap& pixmap : pixmapsOf(panel)) {
        std::size_t solid = 0;
        for (std::size_t pixel = 0; pixel < pixmap.bytes.size(); pixel += 4) {
            if (pixmap.bytes[pixel] < 200) {
                continue;
            }
            ++solid;
            // White and black, Breeze light and dark, Adwaita dark, Yaru's panel.
            for (const int background : {255, 0, 240, 54, 48, 43}) {
                ASSERT_GE(contrast(pixmap.bytes[pixel + 1], background), 3.0)
                    << pixmap.width << " pixels on " << background;
            }
        }
        EXPECT_GT(solid * 20, pixmap.bytes.size() / 4) << "hardly anything is drawn";
    }
}

// The colours of the pixels that the file draws solidly.
std::set<std::array<int, 3>> coloursOf(const std::filesystem::path& file, int size) {
    const gtk::GObjectPtr<GdkPixbuf> drawn(
        gdk_pixbuf_new_from_file_at_size(file.c_str(), size, size, nullptr));
    std::set<std::array<int, 3>> colours;
    for (int y = 0; drawn && y < gdk_pixbuf_get_height(drawn.get()); ++y) {
        for (int x = 0; x < gdk_pixbuf_get_width(drawn.get()); ++x) {
            const guint8* const pixel = gdk_pixbuf_read_pixels(drawn.get()) +
                                        y * gdk_pixbuf_get_rowstride(drawn.get()) + x * 4;
            if (pixel[3] == 255) {
                colours.insert({pixel[0], pixel[1], pixel[2]});
            }
        }
    }
    return colours;
}

// Plasma replaces the text of the style named current-color-scheme by one with its own colours.
TEST(Symbol, takesTheColourThatAHostPutsIntoItsStyle) {
    std::ifstream in(ZORVANE_SYMBOL);
    std::string drawing{std::istreambuf_iterator<char>(in), {}};
    const std::size_t style = drawing.find("<style id=\"current-color-scheme\" type=\"text/css\">");
    ASSERT_NE(style, std::string::npos);
    const std::size_t begin = drawing.find('>', style) + 1;
    drawing.replace(
        begin, drawing.find('<', begin) - begin,
        ".ColorScheme-Text { color: #fcfcfc; } .ColorScheme-Background { color: #000; }");
    const test_support::TemporaryFolder folder;
    const std::filesystem::path recoloured = std::filesystem::path(folder.path()) / "symbol.svg";
    std::ofstream(recoloured) << drawing;
    for (const int size : {16, 22, 33, 48}) {
        EXPECT_THAT(coloursOf(recoloured, size), ElementsAre(std::array{0xfc, 0xfc, 0xfc}));
        EXPECT_THAT(coloursOf(ZORVANE_SYMBOL, size), ElementsAre(std::array{0x80, 0x80, 0x80}));
    }
}

TEST_F(NotifierItem, leavesEverythingAsItIsForAnUnknownSymbol) {
    makeItem();
    ASSERT_TRUE(item->setSymbol("some.symbol", "Some Name"));
    Host panel = host();
    for (const char* name :
         {"another.symbol", "", "../some.symbol", "/etc/passwd", "some.symbol-symbolic.svg"}) {
        EXPECT_FALSE(item->setSymbol(name, "Other")) << name;
    }
    EXPECT_FALSE(item->setSymbol(std::string_view("some.symbol\0x", 13), "Other"));
    settle();
    EXPECT_EQ(panel.text("IconName"), "some.symbol-symbolic");
    EXPECT_EQ(panel.text("Title"), "Some Name");
    EXPECT_THAT(panel.signals, IsEmpty());
}

TEST_F(NotifierItem, drawsATextThatHasNoImage) {
    makeItem();
    item->setTitle("Abc");
    Host panel = host();
    EXPECT_EQ(panel.text("IconName"), "");
    EXPECT_EQ(panel.text("Title"), "Abc");
    EXPECT_EQ(panel.text("XAyatanaLabel"), "");
    const std::vector<Pixmap> pixmaps = pixmapsOf(panel);
    ASSERT_EQ(pixmaps.size(), 9U);
    for (const Pixmap& pixmap : pixmaps) {
        EXPECT_GE(pixmap.width, pixmap.height);
        EXPECT_EQ(pixmap.bytes.size(), static_cast<std::size_t>(4 * pixmap.width * pixmap.height));
        EXPECT_TRUE(pixmap.showsSomething());
    }
    item->setTitle(std::string(1000, 'W'));
    for (const Pixmap& pixmap : pixmapsOf(panel)) {
        EXPECT_LE(pixmap.width, 4 * pixmap.height);
    }
    item->setTitle("");
    EXPECT_THAT(pixmapsOf(panel), IsEmpty());
}

TEST_F(NotifierItem, offersTheTextBesideAnImageAsALabel) {
    makeItem();
    Host panel = host();
    ASSERT_TRUE(item->setSymbol("some.symbol", "Some Name"));
    item->setTitle("3");
    settle();
    EXPECT_EQ(panel.text("XAyatanaLabel"), "3");
    EXPECT_THAT(panel.signals, Contains("XAyatanaNewLabel"));
    item->clearImage();
    settle();
    EXPECT_EQ(panel.text("XAyatanaLabel"), "");
    EXPECT_EQ(panel.text("IconName"), "");
    EXPECT_EQ(pixmapsOf(panel).size(), 9U);
}

TEST_F(NotifierItem, splitsTheToolTipAfterItsFirstLineAndEscapesTheRest) {
    makeItem();
    Host panel = host();
    EXPECT_EQ(toolTipOf(panel), (ToolTip{}));
    item->setToolTip("Server: Online\nAddress: <http://x/>\nA & B");
    EXPECT_EQ(toolTipOf(panel), (ToolTip{.title = "Server: Online",
                                         .subtitle = "Address: &lt;http://x/&gt;\nA &amp; B"}));
    item->setToolTip("One line");
    EXPECT_EQ(toolTipOf(panel), (ToolTip{.title = "One line", .subtitle = ""}));
    item->setToolTip(std::nullopt);
    EXPECT_EQ(toolTipOf(panel), (ToolTip{}));
}

TEST_F(NotifierItem, announcesWhatChangedAndNothingElse) {
    makeItem();
    item->setToolTip("Same");
    item->setTitle("Same");
    settle(); // whoever comes to listen now hears nothing of the beginning
    Host panel = host();
    item->setToolTip("Same");
    item->setTitle("Same");
    item->clearImage();
    settle();
    EXPECT_THAT(panel.signals, IsEmpty());
    item->setToolTip("Other");
    settle();
    EXPECT_THAT(panel.signals, ElementsAre("NewToolTip"));
}

TEST_F(NotifierItem, showsAHostThatComesLaterWhatItIsNow) {
    item = std::make_unique<TrayStatusItem>("test.tray", symbols, nullptr, log);
    ASSERT_TRUE(item->setSymbol("some.symbol", "Some Name"));
    item->setToolTip("Tip");
    watcher.appear();
    ASSERT_TRUE(isIn(TrayStatusItem::Place::tray));
    Host panel = host();
    EXPECT_EQ(panel.text("IconName"), "some.symbol-symbolic");
    EXPECT_EQ(toolTipOf(panel).title, "Tip");
}

} // namespace
} // namespace platform::tray
