// The yardstick for start-up time and memory: a window of the application's size with a web view
// of the same settings, persistent website data, the same starting page, and nothing else.
#include <gtkmm.h>
#include <webkit/webkit.h>

#include <string>

namespace {

constexpr const char* startingPage =
    "<!doctype html><meta charset=\"utf-8\">\n"
    "<style>\n"
    "  body { display: flex; align-items: center; justify-content: center;\n"
    "         height: 100vh; margin: 0; background: #111; color: #ddd;\n"
    "         font: 15px -apple-system, sans-serif; }\n"
    "</style>\n"
    "<body>Starting Zorvane&hellip;</body>";

class BareWindow : public Gtk::ApplicationWindow {
  public:
    BareWindow() {
        set_title("bare window");
        set_default_size(1200, 800);
        const std::string data = std::string(g_get_user_data_dir()) + "/bare-window";
        const std::string cache = std::string(g_get_user_cache_dir()) + "/bare-window";
        auto* const session = webkit_network_session_new(data.c_str(), cache.c_str());
        auto* const view = WEBKIT_WEB_VIEW(
            g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", session, nullptr));
        g_object_unref(session);
        webkit_settings_set_enable_developer_extras(webkit_web_view_get_settings(view), TRUE);
        set_child(*Glib::wrap(GTK_WIDGET(view)));
        webkit_web_view_load_html(view, startingPage, nullptr);
    }
};

} // namespace

int main(int argumentCount, char** arguments) {
    const auto application = Gtk::Application::create("app.zorvane.bench.bare");
    return application->make_window_and_run<BareWindow>(argumentCount, arguments);
}
