#include "tests/ostrad/TempFolder.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace ostrad::test {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    std::string name = (fs::temp_directory_path() / "ostrad-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    root = fs::canonical(name);
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
}

std::string TempFolder::path(std::string_view relative) const {
    return relative.empty() ? root.string() : (root / relative).string();
}

std::string TempFolder::write(std::string_view relative, std::string_view content) const {
    const fs::path file = root / relative;
    fs::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write " + file.string());
    }
    return file.string();
}

std::string TempFolder::writeProgram(std::string_view relative, std::string_view script) const {
    std::string file = write(relative, "#!/bin/sh\n" + std::string(script) + "\n");
    fs::permissions(file, fs::perms::owner_all);
    return file;
}

std::string TempFolder::makeFolder(std::string_view relative) const {
    fs::create_directories(root / relative);
    return (root / relative).string();
}

void TempFolder::remove(std::string_view relative) const {
    fs::remove_all(root / relative);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

AsOrdinaryUser::AsOrdinaryUser() {
    constexpr uid_t nobody = 65534;
    wasRoot = ::geteuid() == 0;
    if (wasRoot && ::seteuid(nobody) != 0) {
        throw std::runtime_error("cannot give up the rights of root");
    }
}

AsOrdinaryUser::~AsOrdinaryUser() {
    if (wasRoot && ::seteuid(0) != 0) {
        std::abort();
    }
}

} // namespace ostrad::test
