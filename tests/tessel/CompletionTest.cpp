#include "tests/tessel/RunTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>

namespace tool::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

// What a program prints, a line an entry.
std::vector<std::string> linesOf(const std::string& command) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"),
                                                               &pclose);
    std::vector<std::string> lines;
    std::array<char, 4096> line{};
    while (pipe && std::fgets(line.data(), static_cast<int>(line.size()), pipe.get()) != nullptr) {
        lines.emplace_back(line.data());
        lines.back().pop_back();
    }
    return lines;
}

// The offers of bash for the last word of a command line, by its own completion function.
std::vector<std::string> bashOffers(const std::string& words, int word) {
    return linesOf("bash --norc -c 'eval \"$(" TESSEL_EXECUTABLE
                   " completion bash)\"; COMP_WORDS=(" +
                   words + "); COMP_CWORD=" + std::to_string(word) +
                   "; _tessel; printf \"%s\\n\" \"${COMPREPLY[@]}\"'");
}

TEST(BashCompletion, followsTheWordsDownTheCommands) {
    EXPECT_THAT(bashOffers("tessel \"\"", 1), IsSupersetOf({"version", "staged", "completion"}));
    EXPECT_THAT(bashOffers("tessel vers", 1), testing::ElementsAre("version"));
    EXPECT_THAT(bashOffers("tessel version \"\"", 2), IsSupersetOf({"newer", "--help"}));
    EXPECT_THAT(bashOffers("tessel staged best --", 3),
                IsSupersetOf({"--newer-than", "--prefix", "--help"}));
    EXPECT_THAT(bashOffers("tessel staged best --newer-than 1 --p", 5),
                testing::ElementsAre("--prefix"));
}

TEST(FishCompletion, followsTheWordsDownTheCommands) {
    const auto offers = [](const std::string& line) {
        return linesOf("fish --no-config -c '" TESSEL_EXECUTABLE
                       " completion fish | source; complete -C\"" +
                       line + "\"'");
    };
    EXPECT_THAT(offers("tessel ver"), Contains(HasSubstr("version")));
    EXPECT_THAT(offers("tessel version "), Contains(HasSubstr("newer")));
    EXPECT_THAT(offers("tessel staged best --"), Contains(HasSubstr("--newer-than")));
    EXPECT_THAT(offers("tessel version --"), Not(Contains(HasSubstr("--newer-than"))));
}

TEST(ZshCompletion, isAScriptThatZshReads) {
    EXPECT_THAT(linesOf(TESSEL_EXECUTABLE " completion zsh | zsh -f -n /dev/stdin 2>&1; echo $?"),
                testing::ElementsAre("0"));
    EXPECT_THAT(linesOf("zsh -f -c 'compdef() { :; }; eval \"$(" TESSEL_EXECUTABLE
                        " completion zsh)\"; _tessel_path staged best --newer-than 1; echo'"),
                testing::ElementsAre(" staged best"));
}

TEST(ManualPage, isWhatManRenders) {
    EXPECT_THAT(linesOf(TESSEL_EXECUTABLE " manual | groff -man -Tutf8 -ww 2>&1 >/dev/null"),
                testing::IsEmpty());
    const auto page = linesOf(TESSEL_EXECUTABLE " manual | groff -man -Tascii -P-c 2>&1 | col -b");
    EXPECT_THAT(page, Contains(HasSubstr("--newer-than")));
    EXPECT_THAT(page, Contains("EXIT STATUS"));
}

} // namespace
} // namespace tool::test
