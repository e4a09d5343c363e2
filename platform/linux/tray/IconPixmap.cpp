#include "platform/linux/tray/IconPixmap.h"

#include "platform/linux/GObjectPtr.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>

namespace platform::tray {
namespace {

constexpr std::array sizes = {16, 22, 24, 32, 33, 36, 44, 48, 64};
constexpr std::uint8_t grey = 0x80;
constexpr int widestText = 4; // times the height

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

// `alphaAt(x, y)` is the shape.
template <typename AlphaAt>
IconPixmap fromAlpha(int width, int height, AlphaAt alphaAt) {
    IconPixmap image{.width = width, .height = height};
    image.bytes.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint8_t alpha = alphaAt(x, y);
            const std::uint8_t colour = alpha == 0 ? std::uint8_t{0} : grey;
            image.bytes.insert(image.bytes.end(), {alpha, colour, colour, colour});
        }
    }
    return image;
}

gtk::GObjectPtr<PangoLayout> layoutFor(cairo_t* context, const std::string& text, int height) {
    gtk::GObjectPtr<PangoLayout> layout(pango_cairo_create_layout(context));
    const std::unique_ptr<PangoFontDescription, decltype(&pango_font_description_free)> font(
        pango_font_description_from_string("Sans Bold"), &pango_font_description_free);
    pango_font_description_set_absolute_size(font.get(), height * 0.7 * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    pango_layout_set_text(layout.get(), text.c_str(), static_cast<int>(text.size()));
    return layout;
}

Surface makeSurface(int width, int height) {
    return {cairo_image_surface_create(CAIRO_FORMAT_A8, width, height), &cairo_surface_destroy};
}

IconPixmap drawTextAt(const std::string& text, int height) {
    const Surface measuring = makeSurface(1, 1);
    const Context measure(cairo_create(measuring.get()), &cairo_destroy);
    int textWidth = 0;
    int textHeight = 0;
    pango_layout_get_pixel_size(layoutFor(measure.get(), text, height).get(), &textWidth,
                                &textHeight);
    const int width = std::clamp(textWidth, height, widestText * height);

    const Surface surface = makeSurface(width, height);
    const Context context(cairo_create(surface.get()), &cairo_destroy);
    const double scale = std::min(1.0, static_cast<double>(width) / std::max(textWidth, 1));
    cairo_translate(context.get(), (width - textWidth * scale) / 2,
                    (height - textHeight * scale) / 2);
    cairo_scale(context.get(), scale, scale);
    const auto layout = layoutFor(context.get(), text, height);
    pango_cairo_show_layout(context.get(), layout.get());
    cairo_surface_flush(surface.get());

    const unsigned char* const data = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    return fromAlpha(width, height, [&](int x, int y) { return data[y * stride + x]; });
}

} // namespace

std::vector<IconPixmap> drawSymbol(const std::filesystem::path& file) {
    std::vector<IconPixmap> images;
    for (const int size : sizes) {
        const gtk::GObjectPtr<GdkPixbuf> drawn(
            gdk_pixbuf_new_from_file_at_size(file.c_str(), size, size, nullptr));
        if (!drawn || gdk_pixbuf_get_has_alpha(drawn.get()) == FALSE) {
            return {};
        }
        const guint8* const pixels = gdk_pixbuf_read_pixels(drawn.get());
        const int stride = gdk_pixbuf_get_rowstride(drawn.get());
        images.push_back(fromAlpha(gdk_pixbuf_get_width(drawn.get()),
                                   gdk_pixbuf_get_height(drawn.get()),
                                   [&](int x, int y) { return pixels[y * stride + 4 * x + 3]; }));
    }
    return images;
}

std::vector<IconPixmap> drawText(std::string_view text) {
    std::vector<IconPixmap> images;
    if (!text.empty()) {
        for (const int size : sizes) {
            images.push_back(drawTextAt(std::string(text), size));
        }
    }
    return images;
}

} // namespace platform::tray
