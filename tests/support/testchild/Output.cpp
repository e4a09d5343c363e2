#include "tests/support/testchild/Output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>

namespace testchild {

void write(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            ::_exit(EXIT_FAILURE);
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

void printLine(std::string_view text) {
    write(STDOUT_FILENO, std::string(text) + '\n');
}

void writeHex(std::string_view digits) {
    std::string bytes;
    for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
        const std::string pair(digits.substr(index, 2));
        bytes.push_back(static_cast<char>(std::strtol(pair.c_str(), nullptr, 16)));
    }
    write(STDOUT_FILENO, bytes);
}

void trickle(std::string_view text) {
    for (const char& letter : text) {
        write(STDOUT_FILENO, {&letter, 1});
    }
}

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

Milliseconds longestWrite{0};
Milliseconds allFloods{0};

// The text over and over, so many bytes of it.
void repeat(int descriptor, std::uint64_t bytes, const std::string& text) {
    const auto begin = std::chrono::steady_clock::now();
    auto last = begin;
    std::uint64_t left = bytes == 0 ? std::numeric_limits<std::uint64_t>::max() : bytes;
    while (left > 0) {
        const auto count = std::min<std::uint64_t>(left, text.size());
        write(descriptor, std::string_view(text).substr(0, count));
        left -= count;
        const auto now = std::chrono::steady_clock::now();
        longestWrite = std::max<Milliseconds>(longestWrite, now - last);
        last = now;
    }
    allFloods += last - begin;
}

} // namespace

void flood(int descriptor, std::uint64_t bytes, std::uint64_t block) {
    std::string text;
    while (text.size() < std::max<std::uint64_t>(block, 1)) {
        text += text.size() % 100 == 99 ? '\n' : 'x';
    }
    repeat(descriptor, bytes, text);
}

void floodLines(int descriptor, std::uint64_t bytes, std::uint64_t length) {
    constexpr std::size_t block = 65536;
    const std::string line = std::string(length, 'x') + '\n';
    std::string text;
    while (text.size() + line.size() <= std::max(block, line.size())) {
        text += line;
    }
    repeat(descriptor, bytes, text);
}

void writeAccount(std::string_view file) {
    const std::string name(file);
    std::ofstream(name + ".new") << longestWrite.count() << ' ' << allFloods.count() << '\n';
    std::rename((name + ".new").c_str(), name.c_str());
}

} // namespace testchild
