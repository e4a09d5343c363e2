// The application's --check-server and nothing else.
// Usage: server-check EXECUTABLE [--json]
#include "mac/Zorvane/ServerCheckCommand.h"

#include <string_view>

int main(int count, char** arguments) {
    const bool asJson = count == 3 && std::string_view(arguments[2]) == "--json";
    if (count != 2 && !asJson) {
        return 2;
    }
    return zorvane::runServerCheck({.executable = arguments[1], .asJson = asJson});
}
