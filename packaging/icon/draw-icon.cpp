// draw-icon SVG SIZE PNG [symbolic]: a picture of pixels, for toolkits that need a library of
// several megabytes for the other kind. A symbolic one has its shape as opacity and no colour: the
// toolkit gives it the text's.
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

using Picture = std::unique_ptr<GdkPixbuf, decltype(&g_object_unref)>;

void takeColourAway(GdkPixbuf* picture) {
    guchar* const pixels = gdk_pixbuf_get_pixels(picture);
    for (int y = 0; y < gdk_pixbuf_get_height(picture); ++y) {
        guchar* pixel = pixels + y * gdk_pixbuf_get_rowstride(picture);
        for (int x = 0; x < gdk_pixbuf_get_width(picture); ++x, pixel += 4) {
            pixel[0] = pixel[1] = pixel[2] = 0;
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    if (count < 4) {
        std::fputs("usage: draw-icon SVG SIZE PNG [symbolic]\n", stderr);
        return 2;
    }
    const int size = std::atoi(arguments[2]);
    GError* error = nullptr;
    const Picture picture(gdk_pixbuf_new_from_file_at_size(arguments[1], size, size, &error),
                          g_object_unref);
    if (picture && count > 4 && std::string_view(arguments[4]) == "symbolic") {
        if (gdk_pixbuf_get_n_channels(picture.get()) != 4) {
            std::fprintf(stderr, "draw-icon: %s has no transparency\n", arguments[1]);
            return 1;
        }
        takeColourAway(picture.get());
    }
    if (!picture || gdk_pixbuf_save(picture.get(), arguments[3], "png", &error, nullptr) == FALSE) {
        std::fprintf(stderr, "draw-icon: %s\n", error->message);
        return 1;
    }
    return 0;
}
