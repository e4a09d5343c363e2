// Defaults in a key file: the contract, and what becomes of the file.
#include "platform/linux/KeyFileDefaults.h"

#include "platform/testing/InMemorySystem.h"
#include "tests/platform/services/DefaultsContract.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using platform::KeyFileDefaults;
using platform::testing::InMemoryDefaults;
using platform::testing::RecordingLog;
using testing::ElementsAre;
using testing::HasSubstr;

class KeyFileHarness final : public DefaultsHarness {
  public:
    std::unique_ptr<platform::UserDefaults> open() override {
        return std::make_unique<KeyFileDefaults>(parent_ / "app.example", log_);
    }

  private:
    test_support::TemporaryFolder parent_;
    RecordingLog log_;
};

class InMemoryHarness final : public DefaultsHarness {
  public:
    std::unique_ptr<platform::UserDefaults> open() override {
        return std::make_unique<InMemoryDefaults>();
    }
};

std::unique_ptr<DefaultsHarness> keyFileDefaults() {
    return std::make_unique<KeyFileHarness>();
}
std::unique_ptr<DefaultsHarness> inMemoryDefaults() {
    return std::make_unique<InMemoryHarness>();
}

INSTANTIATE_TEST_SUITE_P(KeyFile, DefaultsContract, testing::Values(keyFileDefaults));
INSTANTIATE_TEST_SUITE_P(KeyFile, PersistentDefaultsContract, testing::Values(keyFileDefaults));
INSTANTIATE_TEST_SUITE_P(InMemory, DefaultsContract, testing::Values(inMemoryDefaults));

class KeyFileDefaultsTest : public testing::Test {
  protected:
    KeyFileDefaults open() { return {folder, log}; }
    void putFile(std::string_view text) {
        std::filesystem::create_directories(folder);
        writeText(file, text);
    }

    test_support::TemporaryFolder parent;
    std::filesystem::path folder = parent / "config/app.example";
    std::filesystem::path file = folder / "defaults.ini";
    RecordingLog log;
};

TEST_F(KeyFileDefaultsTest, writesOneGroupOfPlainLines) {
    auto defaults = open();
    defaults.setInteger("app.example.port", 50123);
    defaults.setBoolean("DidIt", true);

    EXPECT_EQ(readText(file), "[defaults]\napp.example.port=50123\nDidIt=true\n");
    EXPECT_THAT(namesIn(folder), ElementsAre("defaults.ini"));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(KeyFileDefaultsTest, isPrivateWhateverTheFileCreationMask) {
    for (const mode_t mask : {0000U, 0022U, 0277U}) {
        std::filesystem::remove_all(parent / "config");
        const ScopedMask scoped(mask);
        auto defaults = open();
        defaults.setInteger("a", 1);
        EXPECT_EQ(modeOf(parent / "config"), 0700U) << mask;
        EXPECT_EQ(modeOf(folder), 0700U) << mask;
        EXPECT_EQ(modeOf(file), 0600U) << mask;
    }
    EXPECT_TRUE(log.lines.empty()) << log.lines.front();
}

TEST_F(KeyFileDefaultsTest, readingCreatesNothing) {
    const auto defaults = open();
    EXPECT_EQ(defaults.integer("a"), 0);
    EXPECT_FALSE(std::filesystem::exists(parent / "config"));
}

TEST_F(KeyFileDefaultsTest, keepsCommentsAndOtherGroups) {
    putFile("# mine\n\n[other]\nkey=va lue\nkey[xx]=translated\n\n[defaults]\n# why\nport=1\n");
    auto defaults = open();

    defaults.setInteger("port", 2);

    EXPECT_EQ(readText(file),
              "# mine\n\n[other]\nkey=va lue\nkey[xx]=translated\n\n[defaults]\n# why\nport=2\n");
}

TEST_F(KeyFileDefaultsTest, readsWholeSignedNumbersOnly) {
    const std::map<std::string, std::int64_t> table{{"7", 7},
                                                    {"-7", -7},
                                                    {"  7  ", 7},
                                                    {"007", 7},
                                                    {"9223372036854775807", INT64_MAX},
                                                    {"-9223372036854775808", INT64_MIN},
                                                    {"9223372036854775808", 0},
                                                    {"-9223372036854775809", 0},
                                                    {"", 0},
                                                    {"7.0", 0},
                                                    {"7x", 0},
                                                    {"0x7", 0},
                                                    {"+7", 0},
                                                    {"7 7", 0},
                                                    {"1e3", 0},
                                                    {"true", 0}};
    for (const auto& [text, value] : table) {
        putFile("[defaults]\nn=" + text + "\n");
        EXPECT_EQ(open().integer("n"), value) << text;
    }
}

TEST_F(KeyFileDefaultsTest, readsTrueAndNumbersOtherThanZeroAsTrue) {
    const std::map<std::string, bool> table{
        {"true", true}, {"false", false}, {"1", true},     {"-3", true},   {"0", false},
        {"", false},    {"yes", false},   {"True", false}, {"1.5", false}, {"true!", false}};
    for (const auto& [text, value] : table) {
        putFile("[defaults]\nb=" + text + "\n");
        EXPECT_EQ(open().boolean("b"), value) << text;
    }
}

TEST_F(KeyFileDefaultsTest, movesADamagedFileAsideAndStartsEmpty) {
    const std::string large = "[defaults]\nport=1\n#" + std::string(std::size_t{1} << 20, 'x');
    for (const std::string& damaged :
         {std::string("port=1\n"), std::string("[defaults\nport=1\n"),
          std::string("[defaults]\nport\n"), std::string("[defaults]\nport=\0001\n", 19),
          std::string("\xff\xfe\x00\x01", 4), large}) {
        log.lines.clear();
        putFile(damaged);
        auto defaults = open();

        EXPECT_EQ(defaults.integer("port"), 0);
        EXPECT_THAT(log.lines, ElementsAre(HasSubstr("defaults.ini.damaged")));
        EXPECT_TRUE(readText(folder / "defaults.ini.damaged") == damaged);
        defaults.setInteger("port", 9);
        EXPECT_EQ(open().integer("port"), 9);
        EXPECT_EQ(log.lines.size(), 1U);
    }
}

TEST_F(KeyFileDefaultsTest, neverBlocksOnWhatIsNoFile) {
    std::filesystem::create_directories(folder);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    auto defaults = open();
    EXPECT_EQ(defaults.integer("a"), 0);
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("cannot read")));
}

TEST_F(KeyFileDefaultsTest, keepsAValueThatCannotBeSavedAndLogsEachFailure) {
    std::filesystem::create_directories(parent / "config");
    writeText(folder, "a file where the folder should be");
    auto defaults = open();

    defaults.setInteger("port", 1);
    defaults.setBoolean("flag", true);

    EXPECT_EQ(defaults.integer("port"), 1);
    EXPECT_TRUE(defaults.boolean("flag"));
    EXPECT_EQ(log.lines.size(), 2U);
    EXPECT_THAT(log.lines[0],
                HasSubstr("cannot save the user's defaults: cannot create the folder"));
    EXPECT_THAT(log.lines[0], HasSubstr(folder.native()));
}

TEST_F(KeyFileDefaultsTest, savesWhatWasKeptBackTogetherWithTheNextWrite) {
    std::filesystem::create_directories(file); // a folder where the file should be
    auto defaults = open();
    defaults.setInteger("kept", 1);
    defaults.setInteger("kept and removed", 1);
    defaults.remove("kept and removed");
    EXPECT_THAT(log.lines.back(), HasSubstr("cannot write " + file.native()));
    EXPECT_THAT(namesIn(folder), ElementsAre("defaults.ini")) << "a temporary file was left";
    std::filesystem::remove(file);

    defaults.setInteger("next", 2);

    EXPECT_EQ(readText(file), "[defaults]\nkept=1\nnext=2\n");
}

TEST_F(KeyFileDefaultsTest, clearsAwayATemporaryFileThatACrashLeft) {
    putFile("[defaults]\nport=1\n");
    writeText(folder / ".new-0123456789abcdef0123456789abcdef", "half writ");
    auto defaults = open();

    defaults.setInteger("port", 2);

    EXPECT_THAT(namesIn(folder), ElementsAre("defaults.ini"));
    EXPECT_EQ(readText(file), "[defaults]\nport=2\n");
}

TEST_F(KeyFileDefaultsTest, seesWhatOthersWroteAndLosesNothingOfIt) {
    auto mine = open();
    mine.setInteger("mine", 1);
    auto theirs = open();
    theirs.setInteger("theirs", 2);

    EXPECT_EQ(mine.integer("theirs"), 2);
    mine.setInteger("mine", 3);

    EXPECT_EQ(theirs.integer("mine"), 3);
    EXPECT_EQ(theirs.integer("theirs"), 2);
    std::filesystem::remove(file);
    EXPECT_EQ(mine.integer("mine"), 0);
}

TEST_F(KeyFileDefaultsTest, doesNotWriteWhatIsThereAlready) {
    auto defaults = open();
    defaults.setInteger("port", 1);
    std::filesystem::create_hard_link(file, parent / "same");

    defaults.setInteger("port", 1);
    defaults.remove("absent");

    EXPECT_EQ(std::filesystem::hard_link_count(file), 2U) << "the file was replaced";
}

TEST_F(KeyFileDefaultsTest, replacesASymbolicLinkAndLeavesItsTargetAlone) {
    std::filesystem::create_directories(folder);
    writeText(parent / "elsewhere.ini", "[defaults]\nport=1\n");
    std::filesystem::create_symlink(parent / "elsewhere.ini", file);
    auto defaults = open();
    EXPECT_EQ(defaults.integer("port"), 1);

    defaults.setInteger("port", 2);

    EXPECT_FALSE(std::filesystem::is_symlink(file));
    EXPECT_EQ(readText(parent / "elsewhere.ini"), "[defaults]\nport=1\n");
}

} // namespace
