// What assistive technology knows of a session's desktop: the accessibility bus of at-spi2-core,
// and the objects that programs offer there (AT-SPI 2). Programs started before it is made do not
// take part. Throws std::runtime_error when there is no such bus.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "tests/desktop/session/PrivateSession.h"

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

namespace desktop {

struct AccessibleObject {
    std::string application = {}; // the name of the program that it belongs to
    std::string role = {};
    std::string name = {};
    std::string description = {};
    bool focused = false;
};

class Accessibility {
  public:
    // Starts the bus; programs started in the session from now on use it.
    explicit Accessibility(PrivateSession& session);

    // Of every program, as far as the programs' own processes have them; objects that went away
    // meanwhile are left out.
    [[nodiscard]] std::vector<AccessibleObject> objects() const;
    // The name of the one that has the keyboard; empty when there is none with a name.
    [[nodiscard]] std::string focusedName() const;

  private:
    using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;
    struct Reference {
        std::string bus;
        std::string path;
    };

    [[nodiscard]] Variant call(const Reference& object, const char* interface, const char* method,
                               GVariant* parameters) const;
    [[nodiscard]] std::vector<Reference> childrenOf(const Reference& object) const;
    [[nodiscard]] std::string label(const Reference& object) const;
    [[nodiscard]] std::string text(const Reference& object, const char* property) const;
    [[nodiscard]] AccessibleObject read(const Reference& object) const;
    void addBelow(const Reference& object, const std::string& application, int depth,
                  std::vector<AccessibleObject>& found) const;

    std::unique_ptr<Program> launcher_;
    platform::gtk::GObjectPtr<GDBusConnection> connection_;
};

} // namespace desktop
