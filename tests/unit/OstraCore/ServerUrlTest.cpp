#include "mac/OstraCore/ServerUrl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ostra {
namespace {

TEST(ServerUrl, appendsAPathWithOrWithoutASlashBetween) {
    struct Case {
        std::string base;
        std::string segments;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"http://127.0.0.1:4280/", "api/modes", "http://127.0.0.1:4280/api/modes"},
        {"http://127.0.0.1:4280", "api/modes", "http://127.0.0.1:4280/api/modes"},
        {"http://127.0.0.1:4280/below", "a", "http://127.0.0.1:4280/below/a"},
        {"http://127.0.0.1:4280/below/", "a", "http://127.0.0.1:4280/below/a"},
        {"https://host/x?y=1#z", "account", "https://host/x/account?y=1#z"},
        {"https://host?y=1", "account", "https://host/account?y=1"},
        {"https://[::1]:1/a%2Fb", "c", "https://[::1]:1/a%2Fb/c"},
        {"HTTP://Host.Example/", "a", "HTTP://Host.Example/a"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(appendingPath(Url(each.base), each.segments).buffer(), each.expected);
    }
}

TEST(ServerUrl, readsAddressesThatFollowTheStandardOnly) {
    for (const std::string good : {"http://127.0.0.1:4280/", "https://[::1]/a?b#c", "http://h",
                                   "http://127.0.0.1.nip.io:80/", "http://h:80", "http://h:/",
                                   "/relative", "a", "mailto:a@b"}) {
        const auto url = parseUrl(good);
        ASSERT_TRUE(url) << good;
        EXPECT_EQ(url->buffer(), good);
    }
    for (const std::string bad :
         {"", " ", "http://a b/", "http://[::1/", "http://h:port/", "http://h:1x", "//h:x",
          "http://h:-1/", "%zz", "http://h/\xC3\xA4", "http://h/<x>", "1http://h", "http://h/\n"}) {
        EXPECT_EQ(parseUrl(bad), std::nullopt) << bad;
    }
}

} // namespace
} // namespace ostra
