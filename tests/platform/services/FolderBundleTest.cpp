// The bundle as a folder, and every way an Info.plist can be wrong.
#include "platform/linux/FolderBundle.h"

#include "platform/testing/InMemorySystem.h"
#include "tests/platform/services/BundleContract.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include <cstdlib>

namespace {

using platform::FolderBundle;
using platform::testing::RecordingLog;
using testing::ElementsAre;
using testing::HasSubstr;

std::string xml(std::string_view root) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD "
           "PLIST "
           "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist "
           "version=\"1.0\">" +
           std::string(root) + "</plist>\n";
}

std::string xmlDictionary(std::string_view entries) {
    return xml("<dict>" + std::string(entries) + "</dict>");
}

std::string asBinary(const std::string& xmlText) {
    plist_t root = nullptr;
    ::plist_from_xml(xmlText.data(), static_cast<std::uint32_t>(xmlText.size()), &root);
    char* bytes = nullptr;
    std::uint32_t size = 0;
    ::plist_to_bin(root, &bytes, &size);
    std::string binary(bytes, size);
    std::free(bytes);
    ::plist_free(root);
    return binary;
}

class FolderBundleTest : public testing::Test {
  protected:
    FolderBundle open() { return {executable, log}; }

    FolderBundle openWithInfo(std::string_view info) {
        writeText(contents / "Info.plist", info);
        return open();
    }

    void SetUp() override {
        std::filesystem::create_directories(executable.parent_path());
        writeText(executable, "");
    }

    test_support::TemporaryFolder root;
    std::filesystem::path contents = root / "Some Name.app/Contents";
    std::filesystem::path executable = contents / "MacOS/Example";
    RecordingLog log;
};

class FolderHarness final : public BundleHarness {
  public:
    FolderHarness() {
        const auto folder = root_ / "Example.app/Contents/MacOS";
        std::filesystem::create_directories(folder);
        writeText(folder / "helper", "");
        std::filesystem::create_directories(root_ / "Example.app/Contents/Resources");
        writeText(root_ / "Example.app/Contents/Resources/note.txt", "some\ntext\n");
        writeText(root_ / "Example.app/Contents/Info.plist",
                  xmlDictionary("<key>CFBundleName</key><string>Example</string>"));
        bundle_ = std::make_unique<FolderBundle>(folder / "Example", log_);
    }
    const platform::Bundle& bundle() const override { return *bundle_; }

  private:
    test_support::TemporaryFolder root_;
    RecordingLog log_;
    std::unique_ptr<FolderBundle> bundle_;
};

class FakeHarness final : public BundleHarness {
  public:
    FakeHarness() {
        bundle_.auxiliaryExecutables.insert("helper");
        bundle_.info.emplace("CFBundleName", "Example");
        bundle_.resources.emplace("note.txt", "some\ntext\n");
    }
    const platform::Bundle& bundle() const override { return bundle_; }

  private:
    platform::testing::FakeBundle bundle_;
};

std::unique_ptr<BundleHarness> folderBundle() {
    return std::make_unique<FolderHarness>();
}
std::unique_ptr<BundleHarness> fakeBundle() {
    return std::make_unique<FakeHarness>();
}

INSTANTIATE_TEST_SUITE_P(Folder, BundleContract, testing::Values(folderBundle));
INSTANTIATE_TEST_SUITE_P(Fake, BundleContract, testing::Values(fakeBundle));

TEST_F(FolderBundleTest, isNoBundleOutsideTheShapeOfOne) {
    for (const std::string path :
         {"/usr/bin/example", "/a/Name.app/Contents/Example", "/a/Name.app/MacOS/Example",
          "/a/Name/Contents/MacOS/Example", "/a/Name.app/Contents/macos/Example", "Example", ""}) {
        const FolderBundle bundle(path, log);
        EXPECT_EQ(bundle.bundlePath(), std::nullopt) << path;
        EXPECT_EQ(bundle.resourcesPath(), std::nullopt) << path;
        EXPECT_EQ(bundle.executablePath(), path);
        EXPECT_EQ(bundle.infoString("CFBundleName"), std::nullopt);
    }
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(FolderBundleTest, findsAuxiliaryExecutablesWithoutABundleToo) {
    writeText(root / "helper", "");
    const FolderBundle bundle(root / "example", log);
    EXPECT_EQ(bundle.auxiliaryExecutable("helper"), root / "helper");
}

TEST_F(FolderBundleTest, takesOnlyRegularFilesBesideItForAuxiliaryExecutables) {
    const auto folder = executable.parent_path();
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0700), 0);
    writeText(root / "elsewhere", "");
    std::filesystem::create_symlink(root / "elsewhere", folder / "link");
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    writeText(contents / "outside", "");
    const auto bundle = open();

    EXPECT_EQ(bundle.auxiliaryExecutable("link"), folder / "link");
    for (const std::string_view name :
         {std::string_view("folder"), std::string_view("pipe"), std::string_view("dangling"),
          std::string_view(""), std::string_view("."), std::string_view(".."),
          std::string_view("../outside"), std::string_view("/etc/passwd"),
          std::string_view("link\0", 5)}) {
        EXPECT_EQ(bundle.auxiliaryExecutable(name), std::nullopt) << name;
    }
}

TEST_F(FolderBundleTest, readsResourcesThatAreFilesOfBearableSize) {
    const auto folder = contents / "Resources";
    std::filesystem::create_directories(folder / "folder.json");
    ASSERT_EQ(::mkfifo((folder / "pipe.json").c_str(), 0700), 0);
    writeText(folder / "large.json", std::string(platform::Bundle::largestResource, ' '));
    writeText(folder / "larger.json", std::string(platform::Bundle::largestResource + 1, ' '));
    const auto bundle = open();

    EXPECT_EQ(bundle.resource("large", "json")->size(), platform::Bundle::largestResource);
    for (const auto* name : {"larger", "folder", "pipe"}) {
        EXPECT_EQ(bundle.resource(name, "json"), std::nullopt) << name;
    }
    EXPECT_EQ(FolderBundle(root / "example", log).resource("large", "json"), std::nullopt);
}

TEST_F(FolderBundleTest, hasAnEmptyInfoDictionaryWithoutTheFile) {
    const auto bundle = open();
    EXPECT_EQ(bundle.bundlePath(), root / "Some Name.app");
    EXPECT_EQ(bundle.infoString("CFBundleName"), std::nullopt);
    EXPECT_TRUE(bundle.infoDictionary().empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(FolderBundleTest, readsXmlAndBinaryPropertyLists) {
    const auto text = xmlDictionary("<key>Name</key><string>Gr&#252;n &amp; Co</string>"
                                    "<key>Empty</key><string></string>"
                                    "<key>Long</key><string>" +
                                    std::string(50'000, 'x') + "</string>");
    for (const auto& info : {text, asBinary(text)}) {
        const auto bundle = openWithInfo(info);
        EXPECT_EQ(bundle.infoString("Name"), "Gr\xc3\xbcn & Co");
        EXPECT_EQ(bundle.infoString("Empty"), "");
        EXPECT_EQ(bundle.infoString("Long")->size(), 50'000U);
    }
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(FolderBundleTest, answersNothingForValuesThatAreNoStrings) {
    const auto text = xmlDictionary(
        "<key>Number</key><integer>3</integer><key>Flag</key><true/><key>Real</key><real>1.5</real>"
        "<key>Data</key><data>AAAA</data><key>Date</key><date>2024-01-01T00:00:00Z</date>"
        "<key>List</key><array><string>s</string></array>"
        "<key>Inner</key><dict><key>Hidden</key><string>s</string></dict>"
        "<key>Text</key><string>s</string>");
    for (const auto& info : {text, asBinary(text)}) {
        const auto bundle = openWithInfo(info);
        for (const auto* key :
             {"Number", "Flag", "Real", "Data", "Date", "List", "Inner", "Hidden"}) {
            EXPECT_EQ(bundle.infoString(key), std::nullopt) << key;
        }
        EXPECT_EQ(bundle.infoString("Text"), "s");
        const auto values = bundle.infoDictionary();
        EXPECT_EQ(values.size(), 8U);
        EXPECT_EQ(values.at("Flag"), std::nullopt);
        EXPECT_EQ(values.at("Text"), "s");
    }
}

TEST_F(FolderBundleTest, countsADamagedListAsEmptyAndSaysSo) {
    const auto good = xmlDictionary("<key>Name</key><string>x</string>");
    const std::vector<std::string> damaged{
        "",
        "no property list",
        "<plist version=\"1.0\"><dict><key>Name</key><string>x",
        "<plist version=\"1.0\"><dict><key>Name</key>",
        xml("<string>x</string>"),
        xml("<array><string>x</string></array>"),
        "bplist00",
        "bplist00" + std::string(100, '\xff'),
        asBinary(good).substr(0, 40),
        std::string(1000, '\0'),
        xmlDictionary("<key>Name</key><string>" + std::string(std::size_t{1} << 20, 'x') +
                      "</string>"),
    };
    for (const auto& info : damaged) {
        log.lines.clear();
        const auto bundle = openWithInfo(info);
        EXPECT_EQ(bundle.infoString("Name"), std::nullopt) << info.substr(0, 100);
        EXPECT_THAT(log.lines, ElementsAre(HasSubstr((contents / "Info.plist").native())))
            << info.substr(0, 100);
    }
}

TEST_F(FolderBundleTest, neverCrashesOnABinaryListWithOneByteChanged) {
    const auto good = asBinary(xmlDictionary(
        "<key>Name</key><string>x</string><key>List</key><array><integer>1</integer></array>"));
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (const char change : {'\x01', '\x80', '\xff'}) {
            auto info = good;
            info[at] = static_cast<char>(info[at] ^ change);
            const auto bundle = openWithInfo(info);
            EXPECT_EQ(bundle.bundlePath(), root / "Some Name.app");
        }
    }
}

TEST_F(FolderBundleTest, survivesTheDeepestNestingThatFits) {
    std::string open("<key>Name</key><string>x</string><key>Deep</key>");
    std::string close;
    for (int i = 0; i < 65'000; ++i) {
        open += "<array>";
        close += "</array>";
    }
    const auto bundle = openWithInfo(xmlDictionary(open + close));
    EXPECT_EQ(bundle.infoString("Name"), "x");
}

// Every object is an array of one, the next object: three bytes a level, three of offset table.
std::string deeplyNestedBinary(unsigned levels) {
    const auto threeBytes = [](std::size_t number) {
        return std::string{static_cast<char>(number >> 16), static_cast<char>(number >> 8),
                           static_cast<char>(number)};
    };
    std::string list = "bplist00";
    std::string offsets;
    for (unsigned i = 0; i < levels; ++i) {
        offsets += threeBytes(list.size());
        list += i + 1 < levels ? "\xa1" + threeBytes(i + 1) : std::string("\x09");
    }
    const auto table = list.size();
    list += offsets;
    list += std::string(6, '\0') + "\x03\x03" + std::string(5, '\0') + threeBytes(levels) +
            std::string(8, '\0') + std::string(5, '\0') + threeBytes(table);
    return list;
}

TEST_F(FolderBundleTest, survivesADeeplyNestedBinaryListOfAnySize) {
    for (const unsigned levels : {10U, 9'000U, 140'000U}) {
        log.lines.clear();
        const auto bundle = openWithInfo(deeplyNestedBinary(levels));
        EXPECT_EQ(bundle.infoString("Name"), std::nullopt);
        EXPECT_EQ(log.lines.size(), 1U) << levels;
    }
}

TEST_F(FolderBundleTest, dropsStringsThatAreNotUtf8) {
    const auto bundle = openWithInfo(xmlDictionary("<key>Bad</key><string>\xff\xfe</string>"
                                                   "<key>Good</key><string>x</string>"));
    EXPECT_EQ(bundle.infoString("Bad"), std::nullopt);
    EXPECT_EQ(bundle.infoDictionary().at("Bad"), std::nullopt);
}

TEST_F(FolderBundleTest, refusesAnInfoListThatIsNoFile) {
    ASSERT_EQ(::mkfifo((contents / "Info.plist").c_str(), 0600), 0);
    const auto bundle = open();
    EXPECT_EQ(bundle.infoString("Name"), std::nullopt);
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("cannot read")));
}

TEST(RunningExecutable, isThisTest) {
    const auto path = platform::runningExecutable();
    EXPECT_TRUE(path.is_absolute());
    EXPECT_TRUE(std::filesystem::equivalent(path, "/proc/self/exe"));
}

} // namespace
