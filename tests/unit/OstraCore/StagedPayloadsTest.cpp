#include "mac/OstraCore/StagedPayloads.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ostra {
namespace {

using Names = std::vector<std::string>;
using Candidate = StagedPayloads::Candidate;

std::optional<Candidate> best(const Names& names, std::string_view newerThan) {
    return StagedPayloads::pickBest(names, newerThan, StagedPayloads::defaultPrefix);
}

TEST(StagedPayloads, readsVersionsAndNothingElseFromNames) {
    for (const std::string version :
         {"1", "0", "1.2.3", "01.2", "10.0.0.0.1", "+1.2", "1.+2", "-0", "9223372036854775807"}) {
        EXPECT_EQ(StagedPayloads::version("ostrad-" + version, "ostrad-"), version) << version;
    }
    for (const std::string text : {"",
                                   ".",
                                   "1.",
                                   ".1",
                                   "1..2",
                                   "1.2-beta",
                                   "v1.2",
                                   "1.2.",
                                   "-1",
                                   "1.-2",
                                   "1 .2",
                                   " 1.2",
                                   "1.2 ",
                                   "1.3.0.tmp",
                                   "latest",
                                   "+",
                                   "-",
                                   "+-1",
                                   "--1",
                                   "1,2",
                                   "0x10",
                                   "9223372036854775808",
                                   "1.99999999999999999999",
                                   "１.２"}) {
        EXPECT_EQ(StagedPayloads::version("ostrad-" + text, "ostrad-"), std::nullopt) << text;
    }
    EXPECT_EQ(StagedPayloads::version("quillon-1.2", "ostrad-"), std::nullopt);
    EXPECT_EQ(StagedPayloads::version("ostrad1.2", "ostrad-"), std::nullopt);
    EXPECT_EQ(StagedPayloads::version("1.2", ""), "1.2");
}

TEST(StagedPayloads, comparesNumbersPositionByPosition) {
    struct Case {
        std::string_view a;
        std::string_view b;
        bool newer;
    };
    for (const auto& [a, b, newer] :
         {Case{"1.10.0", "1.9.9", true}, Case{"1.9.9", "1.10.0", false}, Case{"2", "1.99", true},
          Case{"1.2", "1.2.0", false}, Case{"1.2.0", "1.2", false}, Case{"1.2.1", "1.2", true},
          Case{"1.2.0.1", "1.2", true}, Case{"01.2", "1.2", false}, Case{"beta", "1", false},
          Case{"1", "beta", false}, Case{"", "", false}}) {
        EXPECT_EQ(StagedPayloads::isNewer(a, b), newer) << a << " against " << b;
    }
}

TEST(StagedPayloads, picksTheNewestThatBeatsTheBundle) {
    EXPECT_EQ(best({"ostrad-1.9.9", "ostrad-1.10.0"}, "1.2"),
              (Candidate{"ostrad-1.10.0", "1.10.0"}));
    EXPECT_EQ(best({"ostrad-2", "ostrad-1.99"}, "1.2"), (Candidate{"ostrad-2", "2"}));
    EXPECT_EQ(best({"ostrad-1.2.0"}, "1.2"), std::nullopt);
    EXPECT_EQ(best({"ostrad-1.1"}, "1.2"), std::nullopt);
    EXPECT_EQ(best({}, "1.2"), std::nullopt);
}

TEST(StagedPayloads, ignoresNamesThatAreNotStagedServers) {
    EXPECT_EQ(best({"ostrad-1.3.0.tmp", "ostrad-latest", "other-9.0", "9.0", "ostrad-"}, "1.2"),
              std::nullopt);
}

TEST(StagedPayloads, keepsTheFirstOfEqualVersions) {
    EXPECT_EQ(best({"ostrad-1.3", "ostrad-1.3.0"}, "1.2"), (Candidate{"ostrad-1.3", "1.3"}));
    EXPECT_EQ(best({"ostrad-1.3.0", "ostrad-1.3"}, "1.2"), (Candidate{"ostrad-1.3.0", "1.3.0"}));
}

TEST(StagedPayloads, losesToABundleWhoseVersionIsNotAVersion) {
    EXPECT_EQ(best({"ostrad-9"}, "ostrad 1.4.2"), std::nullopt);
    EXPECT_EQ(best({"ostrad-9"}, "v1.4.2"), std::nullopt);
}

} // namespace
} // namespace ostra
