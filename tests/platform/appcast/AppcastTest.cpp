#include "platform/appcast/Appcast.h"

#include "tests/support/updates/SigningKey.h"
#include "tests/support/updates/TestBundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform::appcast {
namespace {

using test_support::appcast;
using test_support::TestItem;
using ::testing::IsEmpty;

const std::string someSignature(86, 'A');

TestItem goodItem(const std::string& version = "2") {
    TestItem item;
    item.version = version;
    item.displayVersion = "v" + version;
    item.signature = someSignature + "==";
    return item;
}

std::vector<AppcastItem> itemsOf(const std::string& feed) {
    const auto items = parseAppcast(feed);
    EXPECT_TRUE(items) << items.error();
    return items.value_or(std::vector<AppcastItem>{});
}

std::size_t usable(const TestItem& item) {
    return itemsOf(appcast({item})).size();
}

Installation installation(const std::string& version = "1") {
    return {.version = version,
            .system = {.names = {"linux", "linux-x86_64"}, .version = "6.1"},
            .now = 1'000'000};
}

std::string newest(const std::vector<TestItem>& items, const Installation& here = installation()) {
    const auto item = newestItem(itemsOf(appcast(items)), here);
    return item ? item->version : "none";
}

// The newest of this item and an ordinary version 2.
std::string newestWith(const TestItem& item, const Installation& here = installation()) {
    return newest({item, goodItem("2")}, here);
}

TestItem itemWith(const std::string& elements, const std::string& version = "9") {
    TestItem item = goodItem(version);
    item.inItem = elements;
    return item;
}

TEST(Appcast, readsWhatAnItemSays) {
    TestItem item = goodItem();
    item.displayVersion = "2.0 \xe2\x80\x93 M\xc3\xa4rz &amp; more";
    item.url = "https://example.org/Example.tar.xz?a=1&amp;b=2";
    item.length = "123456";
    item.inItem = "<sparkle:minimumSystemVersion> 5.4 </sparkle:minimumSystemVersion>"
                  "<sparkle:releaseNotesLink>https://example.org/2.html</sparkle:releaseNotesLink>";
    const auto items = itemsOf(appcast({item}));
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].version, "2");
    EXPECT_EQ(items[0].displayVersion, "2.0 \xe2\x80\x93 M\xc3\xa4rz & more");
    EXPECT_EQ(items[0].minimumSystemVersion, "5.4");
    EXPECT_EQ(items[0].system, "linux");
    EXPECT_EQ(items[0].releaseNotesUrl, "https://example.org/2.html");
    EXPECT_EQ(items[0].url, "https://example.org/Example.tar.xz?a=1&b=2");
    EXPECT_EQ(items[0].length, 123456U);
    EXPECT_EQ(items[0].signature, Signature{});
}

TEST(Appcast, readsVersionsAtTheEnclosureAsOldFeedsHaveThem) {
    const auto items = itemsOf(
        R"(<rss><channel><item><enclosure url="https://e.org/a" length="1" sparkle:os="linux" )"
        R"(sparkle:version="7" sparkle:shortVersionString="0.7" sparkle:edSignature=")" +
        someSignature + R"(=="/></item></channel></rss>)");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].version, "7");
    EXPECT_EQ(items[0].displayVersion, "0.7");
}

TEST(Appcast, showsTheVersionWhereThereIsNoneForPeople) {
    TestItem item = goodItem();
    for (const std::string& text : {std::string(), std::string(65, 'x'), std::string("a\tb")}) {
        item.displayVersion = text;
        EXPECT_EQ(itemsOf(appcast({item})).at(0).displayVersion, "2") << text;
    }
}

TEST(Appcast, leavesOutWhatIsNotSigned) {
    TestItem item = goodItem();
    for (const std::string& signature :
         {std::string(), std::string("AAAA"), someSignature, someSignature + "=",
          someSignature + "==\n==", someSignature + "AAA="}) {
        item.signature = signature;
        EXPECT_EQ(usable(item), 0U) << signature;
    }
}

TEST(Appcast, leavesOutWhatHasNoHttpsAddress) {
    TestItem item = goodItem();
    for (const char* url : {"", "http://e.org/a", "HTTPS://e.org/a", "ftp://e.org/a", "file:///a",
                            "a.tar.gz", "https://", "https://e.org/ a"}) {
        item.url = url;
        EXPECT_EQ(usable(item), 0U) << url;
    }
}

TEST(Appcast, leavesOutWhatHasNoSensibleLength) {
    TestItem item = goodItem();
    for (const char* length : {"", "0", "-1", "1x", "1.5", "1073741825", "99999999999999999999"}) {
        item.length = length;
        EXPECT_EQ(usable(item), 0U) << length;
    }
    item.length = "1073741824";
    EXPECT_EQ(usable(item), 1U);
}

TEST(Appcast, leavesOutItemsWithoutAVersionAndThoseOfOtherChannels) {
    TestItem item = goodItem();
    item.inItem = "<sparkle:channel>beta</sparkle:channel>";
    EXPECT_EQ(usable(item), 0U);
    item = goodItem();
    for (const std::string& version : {std::string(), std::string("a b"), std::string(65, '1')}) {
        item.version = version;
        EXPECT_EQ(usable(item), 0U) << version;
    }
}

TEST(Appcast, keepsReleaseNotesOnlyOverHttps) {
    TestItem item = goodItem();
    for (const char* url : {"http://e.org", "javascript:alert(1)", "notes.html"}) {
        item.inItem =
            std::string("<sparkle:releaseNotesLink>") + url + "</sparkle:releaseNotesLink>";
        EXPECT_EQ(itemsOf(appcast({item})).at(0).releaseNotesUrl, "") << url;
    }
}

TEST(Appcast, refusesWhatIsNoAppcast) {
    for (const char* feed :
         {"", " ", "not xml", "<rss/>", "<html><body/></html>", "<rss><channel>",
          "<rss><channel></rss></channel>", "<a", "<?xml", "<!--", "\xff\xfe<"}) {
        EXPECT_FALSE(parseAppcast(feed)) << feed;
    }
    EXPECT_FALSE(parseAppcast(std::string_view("<rss>\0</rss>", 12)));
    EXPECT_THAT(itemsOf("<rss><channel/></rss>"), IsEmpty());
}

TEST(Appcast, refusesADocumentTypeAndWithItEveryEntity) {
    const std::string body = "<rss><channel><item/></channel></rss>";
    EXPECT_TRUE(parseAppcast(body));
    EXPECT_FALSE(parseAppcast("<!DOCTYPE rss>" + body));
    EXPECT_FALSE(
        parseAppcast("<!DOCTYPE r [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>" + body));
    EXPECT_FALSE(parseAppcast("<!DOCTYPE r [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" + body));
}

TEST(Appcast, leavesUnknownEntitiesAsTheyStand) {
    TestItem item = goodItem();
    item.displayVersion = "&lol;";
    EXPECT_EQ(itemsOf(appcast({item})).at(0).displayVersion, "&lol;");
}

TEST(Appcast, survivesTheDeepestNestingAndTheManyAttributesThatFit) {
    std::string deep = "<rss><channel>";
    while (deep.size() < largestFeed - 10) {
        deep += "<a>";
    }
    EXPECT_FALSE(parseAppcast(deep));

    std::string nested;
    for (int i = 0; i < 100'000; ++i) {
        nested += "<a>";
    }
    for (int i = 0; i < 100'000; ++i) {
        nested += "</a>";
    }
    EXPECT_TRUE(parseAppcast("<rss><channel>" + nested + "</channel></rss>"));

    std::string wide = "<rss";
    for (int i = 0; i < 50'000; ++i) {
        wide += " a" + std::to_string(i) + "=''";
    }
    EXPECT_TRUE(parseAppcast(wide + "><channel/></rss>"));
}

TEST(Appcast, refusesMoreThanAMebibyte) {
    const std::string feed = appcast({goodItem()});
    EXPECT_TRUE(parseAppcast(feed + std::string(largestFeed - feed.size(), ' ')));
    EXPECT_FALSE(parseAppcast(feed + std::string(largestFeed - feed.size() + 1, ' ')));
}

TEST(Appcast, survivesEveryTruncationAndEveryChangedByte) {
    const std::string feed = appcast({goodItem("2"), goodItem("3")});
    for (std::size_t i = 0; i < feed.size(); ++i) {
        static_cast<void>(parseAppcast(feed.substr(0, i)));
        for (const char byte : {'<', '>', '&', '\'', '\x01', '\xff'}) {
            std::string changed = feed;
            changed[i] = byte;
            static_cast<void>(parseAppcast(changed));
        }
    }
}

TEST(NewestItem, isTheOneWithTheHighestVersionWhereverItStands) {
    EXPECT_EQ(newest({goodItem("2"), goodItem("10"), goodItem("9")}), "10");
    EXPECT_EQ(newest({}), "none");
}

TEST(NewestItem, isNeverADowngradeOrTheSameVersion) {
    EXPECT_EQ(newest({goodItem("2"), goodItem("3")}, installation("3")), "none");
    EXPECT_EQ(newest({goodItem("2"), goodItem("3")}, installation("4")), "none");
}

TEST(NewestItem, isNeverOneThatCannotBeRead) {
    for (const char* version : {"1.9-rc1", "next", "3b1", "-5", "99.", ".9", "9..1"}) {
        EXPECT_EQ(newest({goodItem(version)}, installation("2")), "none") << version;
        EXPECT_EQ(newest({goodItem(version)}, installation("dev")), "none") << version;
    }
    EXPECT_EQ(newest({goodItem("2")}, installation("dev")), "2");
}

TEST(NewestItem, isForThisSystem) {
    TestItem other = goodItem("9");
    for (const char* system : {"", "macos", "windows", "Linux", "linux-riscv64"}) {
        other.system = system;
        EXPECT_EQ(newestWith(other), "2") << system;
    }
    other.system = "linux-x86_64";
    EXPECT_EQ(newestWith(other), "9");
}

TEST(NewestItem, runsOnThisVersionOfTheSystem) {
    const auto minimum = [](const std::string& version) {
        return itemWith("<sparkle:minimumSystemVersion>" + version +
                        "</sparkle:minimumSystemVersion>");
    };
    const auto maximum = [](const std::string& version) {
        return itemWith("<sparkle:maximumSystemVersion>" + version +
                        "</sparkle:maximumSystemVersion>");
    };
    EXPECT_EQ(newestWith(minimum("6.2")), "2");
    EXPECT_EQ(newestWith(minimum("6.1")), "9");
    EXPECT_EQ(newestWith(maximum("6.0")), "2");
    EXPECT_EQ(newestWith(maximum("6.1")), "9");
    for (const char* unreadable : {"six", "6.1-rc1"}) {
        EXPECT_EQ(newestWith(minimum(unreadable)), "2");
        EXPECT_EQ(newestWith(maximum(unreadable)), "2");
    }
}

TEST(NewestItem, mayBeInstalledOverThisVersion) {
    const auto minimum = [](const std::string& version) {
        return itemWith("<sparkle:minimumUpdateVersion>" + version +
                        "</sparkle:minimumUpdateVersion>");
    };
    EXPECT_EQ(newestWith(minimum("1.1")), "2");
    EXPECT_EQ(newestWith(minimum("1.1"), installation("1.1")), "9");
    EXPECT_EQ(newestWith(minimum("1")), "9");
    EXPECT_EQ(newestWith(minimum("one")), "2");
}

class PhasedRollout : public ::testing::Test {
  protected:
    // Published at 1,000,000 seconds since 1970; an hour for each group.
    static TestItem phased(const std::string& more = "") {
        return itemWith("<pubDate>Mon, 12 Jan 1970 13:46:40 +0000</pubDate>"
                        "<sparkle:phasedRolloutInterval>3600</sparkle:phasedRolloutInterval>" +
                        more);
    }
    static Installation after(std::int64_t seconds, std::optional<std::int64_t> group) {
        auto here = installation();
        here.now = 1'000'000 + seconds;
        here.rolloutGroup = group;
        return here;
    }
};

TEST_F(PhasedRollout, reachesEachGroupAnIntervalAfterTheOneBefore) {
    for (std::int64_t group = 0; group < rolloutGroups; ++group) {
        EXPECT_EQ(newestWith(phased(), after(group * 3600 - 1, group)), "2") << group;
        EXPECT_EQ(newestWith(phased(), after(group * 3600, group)), "9") << group;
    }
}

TEST_F(PhasedRollout, makesNobodyWaitWhoAsks) {
    EXPECT_EQ(newestWith(phased(), after(-100'000, std::nullopt)), "9");
}

TEST_F(PhasedRollout, makesNobodyWaitForACriticalUpdate) {
    EXPECT_EQ(newestWith(phased("<sparkle:criticalUpdate/>"), after(0, 6)), "9");
    const std::string upTo = R"(<sparkle:criticalUpdate sparkle:version="1"/>)";
    EXPECT_EQ(newestWith(phased(upTo), after(0, 6)), "2") << "critical for versions below 1 only";
}

TEST_F(PhasedRollout, needsADateAndAnInterval) {
    EXPECT_EQ(newestWith(itemWith("<sparkle:phasedRolloutInterval>3600</sparkle:"
                                  "phasedRolloutInterval>"),
                         after(0, 6)),
              "9");
    for (const char* interval : {"", "soon", "-1", "99999999999"}) {
        EXPECT_EQ(newestWith(itemWith("<pubDate>Mon, 12 Jan 1970 13:46:40 GMT</pubDate>"
                                      "<sparkle:phasedRolloutInterval>" +
                                      std::string(interval) + "</sparkle:phasedRolloutInterval>"),
                             after(0, 6)),
                  "9")
            << interval;
    }
}

AppcastItem read(const std::string& elements) {
    return itemsOf(appcast({itemWith(elements)})).at(0);
}

TEST(CriticalUpdate, isSoForEveryVersionOrForThoseBelowOne) {
    EXPECT_FALSE(read("").critical.holdsFor("1"));
    EXPECT_TRUE(read("<sparkle:criticalUpdate/>").critical.holdsFor("1"));
    EXPECT_TRUE(
        read("<sparkle:tags><sparkle:criticalUpdate/></sparkle:tags>").critical.holdsFor("1"));
    const auto below =
        read(R"(<sparkle:criticalUpdate sparkle:version="1.5"></sparkle:criticalUpdate>)");
    EXPECT_TRUE(below.critical.holdsFor("1.4.9"));
    EXPECT_FALSE(below.critical.holdsFor("1.5"));
}

TEST(InformationalUpdate, isSoForEveryVersionForNamedOnesOrForThoseBelowOne) {
    EXPECT_FALSE(read("").informational.holdsFor("1"));
    EXPECT_TRUE(read("<sparkle:informationalUpdate/>").informational.holdsFor("1"));
    const auto some = read("<sparkle:informationalUpdate><sparkle:version>1.2</sparkle:version>"
                           "<sparkle:version>1.4</sparkle:version>"
                           "<sparkle:belowVersion>1.1</sparkle:belowVersion>"
                           "</sparkle:informationalUpdate>");
    for (const char* version : {"1.2", "1.4", "1.0.9", "0"}) {
        EXPECT_TRUE(some.informational.holdsFor(version)) << version;
    }
    for (const char* version : {"1.1", "1.3", "1.2.0", "2"}) {
        EXPECT_FALSE(some.informational.holdsFor(version)) << version;
    }
}

TEST(InformationalUpdate, needsNoArchiveButASystem) {
    auto item = itemWith("<sparkle:informationalUpdate><sparkle:belowVersion>1.5</sparkle:"
                         "belowVersion></sparkle:informationalUpdate>"
                         "<link> https://example.org/page </link>");
    item.url = item.length = item.signature = "";
    EXPECT_EQ(newestWith(item), "9");
    EXPECT_EQ(itemsOf(appcast({item})).at(0).page, "https://example.org/page");
    EXPECT_EQ(newest({item}, installation("1.5")), "none") << "nothing to install for this one";
    item.system = "";
    EXPECT_EQ(newestWith(item), "2");
}

TEST(InformationalUpdate, needsAPageOrReleaseNotesOverHttps) {
    EXPECT_EQ(read("<link>http://example.org</link>").page, "");
    EXPECT_EQ(read("<link>javascript:alert(1)</link>").page, "");
    const std::string informational = "<sparkle:informationalUpdate/>";
    EXPECT_EQ(newestWith(itemWith(informational)), "2");
    EXPECT_EQ(newestWith(itemWith(informational + "<link>https://example.org/a</link>")), "9");
    const auto notes = informational + "<sparkle:releaseNotesLink>https://example.org/b</sparkle:"
                                       "releaseNotesLink>";
    EXPECT_EQ(newestWith(itemWith(notes)), "9");
    EXPECT_EQ(read(notes).page, "https://example.org/b");
}

} // namespace
} // namespace platform::appcast
