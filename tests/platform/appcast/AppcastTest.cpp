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

// Numbers only; enough for these tests.
bool isNewer(std::string_view a, std::string_view than) {
    return !a.empty() && std::stoi(std::string(a)) > std::stoi(std::string(than));
}

const SystemDescription here{.names = {"linux", "linux-x86_64"}, .version = "6"};

std::string newest(const std::vector<TestItem>& items, const std::string& installed = "1") {
    const auto item = newestItem(itemsOf(appcast(items)), installed, here, isNewer);
    return item ? item->version : "none";
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
    EXPECT_EQ(newest({goodItem("2"), goodItem("3")}, "3"), "none");
    EXPECT_EQ(newest({goodItem("2"), goodItem("3")}, "4"), "none");
}

TEST(NewestItem, isForThisSystem) {
    TestItem other = goodItem("9");
    for (const char* system : {"", "macos", "windows", "Linux", "linux-riscv64"}) {
        other.system = system;
        EXPECT_EQ(newest({other, goodItem("2")}), "2") << system;
    }
    other.system = "linux-x86_64";
    EXPECT_EQ(newest({other, goodItem("2")}), "9");
}

TEST(NewestItem, runsOnThisVersionOfTheSystem) {
    TestItem demanding = goodItem("9");
    demanding.inItem = "<sparkle:minimumSystemVersion>7</sparkle:minimumSystemVersion>";
    EXPECT_EQ(newest({demanding, goodItem("2")}), "2");
    demanding.inItem = "<sparkle:minimumSystemVersion>6</sparkle:minimumSystemVersion>";
    EXPECT_EQ(newest({demanding, goodItem("2")}), "9");
}

TEST(NewestItem, isTheFirstOfThoseThatCannotBeCompared) {
    const auto differs = [](std::string_view a, std::string_view than) {
        return !a.empty() && a != than;
    };
    const auto items = itemsOf(appcast({goodItem("gamma"), goodItem("beta")}));
    EXPECT_EQ(newestItem(items, "alpha", here, differs)->version, "gamma");
}

} // namespace
} // namespace platform::appcast
