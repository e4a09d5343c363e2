// A small application bundle as a folder or in an archive, and the appcast that offers it.
#pragma once

#include "platform/Bundle.h"
#include "tests/support/updates/ArchiveBuilder.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace test_support {

struct TestBundle {
    std::string name = "Example.app";
    std::string identifier = "test.example";
    std::string version = "1";
    std::string displayVersion = "1.0";
    std::string program = {};                      // empty: a script that says its version
    std::map<std::string, std::string> info = {};  // further values of the Info dictionary
    std::map<std::string, std::string> files = {}; // further files below Contents

    [[nodiscard]] std::string infoPlist() const;
    [[nodiscard]] std::string programText() const;
    // Makes it below `parent`, and says where.
    std::filesystem::path write(const std::filesystem::path& parent) const;
    void addTo(ArchiveBuilder& archive) const;
    [[nodiscard]] std::string
    archive(ArchiveBuilder::Format format = ArchiveBuilder::Format::tarGzip) const;
};

// Of the bundle that infoPlist() and write() made: a plain reading, enough for that.
[[nodiscard]] platform::InfoDictionary readTestInfo(const std::filesystem::path& bundle);

struct TestItem {
    std::string version = "2";
    std::string displayVersion = "2.0";
    std::string url = "https://127.0.0.1/archive";
    std::string length = "1000";
    std::string signature = {};
    std::string system = "linux";
    std::string inItem = {}; // further elements

    [[nodiscard]] std::string xml() const;
};

[[nodiscard]] std::string appcast(const std::vector<TestItem>& items);

} // namespace test_support
