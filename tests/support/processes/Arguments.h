// Arguments and variables as exec and posix_spawn take them, for tests.
#pragma once

#include <string>
#include <vector>

namespace process_test {

// They point into the strings, which have to outlive them, and a null pointer ends them. Who takes
// them changes nothing: their type is C's.
[[nodiscard]] inline std::vector<char*> pointersTo(const std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    pointers.reserve(strings.size() + 1);
    for (const std::string& text : strings) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace process_test
