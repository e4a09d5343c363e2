#include "platform/appcast/Unpack.h"

#include "platform/appcast/Staging.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/updates/ArchiveBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::appcast {
namespace {

using test_support::ArchiveBuilder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Unpack : public ::testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directory(folder); }

    std::expected<void, std::string> run(const std::string& archive, UnpackLimits limits = {}) {
        const auto file = makeNamelessFile(root.path());
        EXPECT_EQ(::write(file->get(), archive.data(), archive.size()),
                  static_cast<ssize_t>(archive.size()));
        return unpack(file->get(), folder, limits);
    }
    // The reason; a failed test when it was not refused, or something got outside.
    std::string refusal(ArchiveBuilder& builder, UnpackLimits limits = {}) {
        const auto outcome = run(builder.finish(), limits);
        EXPECT_FALSE(outcome);
        EXPECT_THAT(namesIn(root.path()), ElementsAre("new"));
        return outcome ? "" : outcome.error();
    }

    test_support::TemporaryFolder root;
    std::filesystem::path folder = root / "new";
};

class Formats : public Unpack, public ::testing::WithParamInterface<ArchiveBuilder::Format> {};

TEST_P(Formats, keepContentModesTimesAndLinks) {
    const ScopedMask strict(077);
    ArchiveBuilder builder(GetParam());
    builder.folder("A.app/").folder("A.app/Contents", 0700);
    builder.file("A.app/Contents/program", "run", 0755);
    builder.file("A.app/Contents/data", std::string(300'000, 'x'), 0600);
    builder.link("A.app/Contents/current", "data");
    const auto outcome = run(builder.finish());
    ASSERT_TRUE(outcome) << outcome.error();
    EXPECT_EQ(readText(folder / "A.app/Contents/program"), "run");
    EXPECT_EQ(readText(folder / "A.app/Contents/current").size(), 300'000U);
    EXPECT_EQ(modeOf(folder / "A.app"), 0755U);
    EXPECT_EQ(modeOf(folder / "A.app/Contents"), 0755U);
    EXPECT_EQ(modeOf(folder / "A.app/Contents/program"), 0755U);
    EXPECT_EQ(modeOf(folder / "A.app/Contents/data"), 0644U);
    struct stat status{};
    ASSERT_EQ(::stat((folder / "A.app/Contents/program").c_str(), &status), 0);
    EXPECT_EQ(status.st_mtime, 1'700'000'000);
}

INSTANTIATE_TEST_SUITE_P(
    Every, Formats,
    ::testing::Values(ArchiveBuilder::Format::tar, ArchiveBuilder::Format::tarGzip,
                      ArchiveBuilder::Format::tarBzip2, ArchiveBuilder::Format::tarXz,
                      ArchiveBuilder::Format::tarZstd, ArchiveBuilder::Format::zip));

TEST_F(Unpack, makesFoldersThatOnlyTheirContentMentions) {
    ArchiveBuilder builder;
    builder.file("./A/b/c/d", "x").folder("./A/b/").folder("./");
    const auto outcome = run(builder.finish());
    ASSERT_TRUE(outcome) << outcome.error();
    EXPECT_EQ(readText(folder / "A/b/c/d"), "x");
    EXPECT_EQ(modeOf(folder / "A/b/c"), 0755U);
}

TEST_F(Unpack, takesNamesBeyondAscii) {
    ArchiveBuilder builder;
    builder.file("A/Gr\xc3\xbc\xc3\x9f\x65", "x");
    ASSERT_TRUE(run(builder.finish()));
    EXPECT_TRUE(std::filesystem::exists(folder / "A/Gr\xc3\xbc\xc3\x9f\x65"));
}

TEST_F(Unpack, refusesNamesThatLeaveTheFolder) {
    for (const char* path : {"../evil", "A/../../evil", "/evil", "A/..", "..", "A//b", "A/./b",
                             "a\nb", "A/\x01", "A/b\xff"}) {
        ArchiveBuilder builder;
        builder.file(path, "x");
        EXPECT_THAT(refusal(builder), HasSubstr("a name that is not allowed")) << path;
    }
    EXPECT_FALSE(std::filesystem::exists("/evil"));
}

TEST_F(Unpack, refusesNamesThatAreTooLong) {
    ArchiveBuilder longName;
    longName.file("A/" + std::string(256, 'x'));
    EXPECT_THAT(refusal(longName), HasSubstr("a name that is not allowed"));
    std::string path = "A";
    for (int i = 0; i < 600; ++i) {
        path += "/x";
    }
    ArchiveBuilder longPath;
    longPath.file(path);
    EXPECT_THAT(refusal(longPath), HasSubstr("a name that is not allowed"));
}

TEST_F(Unpack, refusesSymbolicLinksThatLeadOut) {
    for (const char* target : {"/etc/passwd", "..", "../..", "../../evil", "b/../../../x",
                               "./../../A/../..", "inner/../../.."}) {
        ArchiveBuilder builder;
        builder.folder("A/").folder("A/b/").link("A/inner", "b").link("A/link", target);
        EXPECT_THAT(refusal(builder), HasSubstr("a link that leads out")) << target;
        std::filesystem::remove_all(folder);
        std::filesystem::create_directory(folder);
    }
}

TEST_F(Unpack, followsLinksToSeeWhereTheyLead) {
    // Each by itself stays inside; "A/x/y" is A/deep/er, and two levels up from A/up is outside.
    ArchiveBuilder builder;
    builder.folder("A/deep/er/").link("A/deep/er/up", "../..").link("A/link", "deep/er/up/..");
    EXPECT_THAT(refusal(builder), HasSubstr("a link that leads out"));
}

TEST_F(Unpack, refusesLinksThatGoInCircles) {
    ArchiveBuilder builder;
    builder.folder("A/").link("A/one", "two").link("A/two", "one");
    EXPECT_THAT(refusal(builder), HasSubstr("a link that leads out"));
}

TEST_F(Unpack, refusesALinkInThePlaceOfTheBundle) {
    ArchiveBuilder builder;
    builder.folder("B.app/").link("A.app", "B.app");
    EXPECT_THAT(refusal(builder), HasSubstr("a link that leads out"));
}

TEST_F(Unpack, keepsLinksWithinTheBundleHoweverTheyAreWritten) {
    ArchiveBuilder builder;
    builder.file("A/Versions/1/lib", "x").link("A/Versions/Current", "1");
    builder.link("A/lib", "Versions/Current/lib").link("A/Versions/1/back", "../../Versions/./1");
    builder.link("A/dangling", "nowhere");
    const auto outcome = run(builder.finish());
    ASSERT_TRUE(outcome) << outcome.error();
    EXPECT_EQ(readText(folder / "A/lib"), "x");
}

TEST_F(Unpack, writesNothingThroughALink) {
    ArchiveBuilder builder;
    builder.folder("A/").folder("A/real/").link("A/link", "real").file("A/link/file", "x");
    EXPECT_THAT(refusal(builder), HasSubstr("below a name that is no folder"));
    EXPECT_THAT(namesIn(folder / "A/real"), IsEmpty());
}

TEST_F(Unpack, refusesSomethingBelowAFile) {
    ArchiveBuilder builder;
    builder.file("A/file", "x").file("A/file/below", "y");
    EXPECT_THAT(refusal(builder), HasSubstr("below a name that is no folder"));
}

TEST_F(Unpack, refusesTheSameNameTwice) {
    ArchiveBuilder files;
    files.file("A/file", "x").file("A/file", "y");
    EXPECT_THAT(refusal(files), HasSubstr("the same name twice"));
}

TEST_F(Unpack, refusesAFileInThePlaceOfAFolderOrALink) {
    ArchiveBuilder folders;
    folders.folder("A/b/").file("A/b", "x");
    EXPECT_THAT(refusal(folders), HasSubstr("the same name twice"));
    ArchiveBuilder links;
    links.link("B/b", "c").file("B/b", "x");
    EXPECT_THAT(refusal(links), HasSubstr("the same name twice"));
}

TEST_F(Unpack, refusesHardLinks) {
    ArchiveBuilder builder;
    builder.file("A/file", "x").hardLink("A/other", "A/file");
    EXPECT_THAT(refusal(builder), HasSubstr("neither file nor folder"));
}

TEST_F(Unpack, refusesDevicesAndPipes) {
    for (const unsigned type : {unsigned{S_IFIFO}, unsigned{S_IFCHR}, unsigned{S_IFBLK}}) {
        ArchiveBuilder builder;
        builder.special("A/special", type);
        EXPECT_THAT(refusal(builder), HasSubstr("neither file nor folder")) << type;
    }
}

TEST_F(Unpack, refusesProgramsThatWouldRunWithOtherRights) {
    for (const unsigned mode : {04755U, 02755U, 01755U}) {
        ArchiveBuilder builder;
        builder.file("A/program", "x", mode);
        EXPECT_THAT(refusal(builder), HasSubstr("other rights")) << mode;
    }
}

TEST_F(Unpack, refusesABombBeforeItFillsTheDisk) {
    ArchiveBuilder declared(ArchiveBuilder::Format::tarXz);
    declared.zeros("A/one", 3'000'000).zeros("A/two", 3'000'000);
    EXPECT_THAT(refusal(declared, {.totalBytes = 4'000'000}), HasSubstr("is too large"));
    EXPECT_FALSE(std::filesystem::exists(folder / "A/two"));
    std::filesystem::remove_all(folder / "A");

    ArchiveBuilder zip(ArchiveBuilder::Format::zip);
    zip.zeros("A/one", 3'000'000);
    EXPECT_THAT(refusal(zip, {.totalBytes = 1'000'000}), HasSubstr("is too large"));
}

TEST_F(Unpack, refusesABombThatSaysItIsSmall) {
    ArchiveBuilder zip(ArchiveBuilder::Format::zip);
    zip.zeros("A/one", 3'000'000);
    auto archive = zip.finish();
    const std::string declared("\xc0\xc6\x2d\x00", 4); // 3,000,000
    std::size_t places = 0;
    for (auto at = archive.find(declared); at != std::string::npos; at = archive.find(declared)) {
        archive.replace(at, declared.size(), std::string("\x0a\x00\x00\x00", 4));
        ++places;
    }
    ASSERT_GT(places, 0U);
    const auto outcome = run(archive, {.totalBytes = 1'000'000});
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error(), "the archive is too large");
    EXPECT_LE(std::filesystem::file_size(folder / "A/one"), 1'000'000U);
}

TEST_F(Unpack, refusesTooManyEntries) {
    ArchiveBuilder builder;
    for (int i = 0; i < 11; ++i) {
        builder.file("A/" + std::to_string(i));
    }
    EXPECT_THAT(refusal(builder, {.entries = 10}), HasSubstr("too many"));
}

TEST_F(Unpack, refusesWhatIsNoArchive) {
    for (const std::string& bytes :
         {std::string(), std::string("hello"), std::string(100'000, '\0'), std::string("PK\3\4")}) {
        EXPECT_FALSE(run(bytes)) << bytes.size();
    }
}

TEST_F(Unpack, refusesACutArchive) {
    ArchiveBuilder builder(ArchiveBuilder::Format::tarXz);
    builder.file("A/one", std::string(100'000, 'x')).file("A/two", "y");
    const std::string archive = builder.finish();
    for (const std::size_t size : {archive.size() - 1, archive.size() / 2, std::size_t{20}}) {
        EXPECT_FALSE(run(archive.substr(0, size))) << size;
        std::filesystem::remove_all(folder / "A");
    }
}

} // namespace
} // namespace platform::appcast
