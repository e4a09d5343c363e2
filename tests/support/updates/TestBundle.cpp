#include "tests/support/updates/TestBundle.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>

namespace test_support {
namespace {

void writeFile(const std::filesystem::path& path, const std::string& content, bool isProgram) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    using std::filesystem::perms;
    std::filesystem::permissions(path, isProgram ? perms{0755} : perms{0644});
}

} // namespace

std::string TestBundle::infoPlist() const {
    std::map<std::string, std::string> values = info;
    values.insert({{"CFBundleExecutable", "Example"},
                   {"CFBundleIdentifier", identifier},
                   {"CFBundleName", "Example"},
                   {"CFBundleShortVersionString", displayVersion},
                   {"CFBundleVersion", version}});
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    for (const auto& [key, value] : values) {
        text += fmt::format("<key>{}</key>\n<string>{}</string>\n", key, value);
    }
    return text + "</dict>\n</plist>\n";
}

std::string TestBundle::programText() const {
    return program.empty() ? fmt::format("#!/bin/sh\necho Example {}\n", displayVersion) : program;
}

std::filesystem::path TestBundle::write(const std::filesystem::path& parent) const {
    const auto contents = parent / name / "Contents";
    writeFile(contents / "Info.plist", infoPlist(), false);
    writeFile(contents / "MacOS/Example", programText(), true);
    for (const auto& [path, content] : files) {
        writeFile(contents / path, content, false);
    }
    return parent / name;
}

void TestBundle::addTo(ArchiveBuilder& archive) const {
    const std::string contents = name + "/Contents/";
    archive.folder(name + "/").folder(contents);
    archive.file(contents + "Info.plist", infoPlist());
    archive.file(contents + "MacOS/Example", programText(), 0755);
    for (const auto& [path, content] : files) {
        archive.file(contents + path, content);
    }
}

std::string TestBundle::archive(ArchiveBuilder::Format format) const {
    ArchiveBuilder builder(format);
    addTo(builder);
    return builder.finish();
}

platform::InfoDictionary readTestInfo(const std::filesystem::path& bundle) {
    platform::InfoDictionary values;
    std::ifstream file(bundle / "Contents/Info.plist");
    std::string key;
    for (std::string line; std::getline(file, line);) {
        const auto inside = [&line](const std::string& tag) -> std::optional<std::string> {
            const std::string open = "<" + tag + ">";
            return line.starts_with(open)
                       ? std::optional(line.substr(open.size(), line.rfind("</") - open.size()))
                       : std::nullopt;
        };
        if (const auto name = inside("key")) {
            key = *name;
        } else if (const auto value = inside("string")) {
            values[key] = *value;
        }
    }
    return values;
}

std::string TestItem::xml() const {
    return fmt::format(
        R"(<item><title>{1}</title><sparkle:version>{0}</sparkle:version>)"
        R"(<sparkle:shortVersionString>{1}</sparkle:shortVersionString>{6})"
        R"(<enclosure url="{2}" length="{3}" type="application/octet-stream" sparkle:edSignature="{4}" sparkle:os="{5}"/></item>)",
        version, displayVersion, url, length, signature, system, inItem);
}

std::string appcast(const std::vector<TestItem>& items) {
    std::string text =
        R"(<?xml version="1.0" encoding="utf-8"?>)"
        R"(<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><title>Example</title>)";
    for (const auto& item : items) {
        text += item.xml();
    }
    return text + "</channel></rss>";
}

} // namespace test_support
