#include "tests/packaging/StandIns.h"

#include <fstream>
#include <stdexcept>
#include <string_view>

namespace packaging_test {
namespace {

constexpr std::string_view standIn = R"script(#!/bin/sh
folder=$(dirname "$(dirname "$0")")
name=$(basename "$0")
echo "$name" "$@" >>"$folder/calls"
[ ! -f "$folder/$name.says" ] || cat "$folder/$name.says" >&2 || exit
[ ! -f "$folder/$name.prints" ] || cat "$folder/$name.prints" || exit
[ ! -f "$folder/$name.status.${1:-}" ] || exit "$(cat "$folder/$name.status.${1:-}")"
[ ! -f "$folder/$name.status." ] || exit "$(cat "$folder/$name.status.")"
)script";

void writeText(const std::filesystem::path& path, std::string_view text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.native());
    }
}

} // namespace

StandIns::StandIns(const std::vector<std::string>& names) {
    std::filesystem::create_directory(folder_ / "bin");
    for (const std::string& name : names) {
        writeText(folder_ / "bin" / name, standIn);
        std::filesystem::permissions(folder_ / "bin" / name, std::filesystem::perms::owner_all);
    }
}

void StandIns::says(const std::string& name, std::string_view text) const {
    writeText(folder_ / (name + ".says"), text);
}

void StandIns::prints(const std::string& name, std::string_view text) const {
    writeText(folder_ / (name + ".prints"), text);
}

void StandIns::fails(const std::string& name, int status, const std::string& argument) const {
    writeText(folder_ / (name + ".status." + argument), std::to_string(status));
}

void StandIns::remove(const std::string& name) const {
    std::filesystem::remove(folder_ / "bin" / name);
}

std::string StandIns::path(const std::string& name) const {
    return (folder_ / "bin" / name).native();
}

std::vector<std::string> StandIns::calls() const {
    std::ifstream file(folder_ / "calls");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

ostrad::test::Finished
StandIns::run(const std::string& script, const std::vector<std::string>& arguments,
              const ostrad::test::ServerProcess::Environment& variables) const {
    std::vector<std::string> command{"-i", "PATH=" + (folder_ / "bin").native() + ":/usr/bin:/bin"};
    for (const auto& [name, value] : variables) {
        command.push_back(name + "=" + value);
    }
    command.push_back((std::filesystem::path(ZORVANE_SOURCE_DIR) / script).native());
    command.insert(command.end(), arguments.begin(), arguments.end());
    return ostrad::test::runToEnd("/usr/bin/env", command, {});
}

} // namespace packaging_test
