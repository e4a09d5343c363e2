#include "mac/Tessel/Application/Version.h"

#include <gtest/gtest.h>

namespace {

using tessel::AppVersion;

struct Comparison {
    const char* a;
    const char* than;
    bool newer;
};

class VersionOrder : public testing::TestWithParam<Comparison> {};

TEST_P(VersionOrder, isAsTheTableSays) {
    EXPECT_EQ(AppVersion::isNewer(GetParam().a, GetParam().than), GetParam().newer)
        << GetParam().a << " than " << GetParam().than;
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, VersionOrder,
    testing::Values(Comparison{"1.10", "1.9", true}, Comparison{"1.9", "1.10", false},
                    Comparison{"1.2", "1.2.0", false}, Comparison{"1.2.0", "1.2", false},
                    Comparison{"1.2.0.1", "1.2", true}, Comparison{"1.2", "1.2.0.1", false},
                    Comparison{"2", "1.9.9", true}, Comparison{"01.2", "1.2", false},
                    Comparison{"1.-1", "1.-2", true}, Comparison{"1", "1.-1", true},
                    Comparison{"+2", "1", true},
                    Comparison{"9223372036854775807", "9223372036854775806", true}));

INSTANTIATE_TEST_SUITE_P(
    TextThatIsNoVersion, VersionOrder,
    testing::Values(Comparison{"beta", "alpha", true}, Comparison{"alpha", "beta", true},
                    Comparison{"beta", "beta", false}, Comparison{"1.0", "", true},
                    Comparison{"", "1.0", false}, Comparison{"", "", false},
                    Comparison{"1..2", "1.2", true}, Comparison{"1.2.", "1.2", true},
                    Comparison{".1", "1", true}, Comparison{"1.0", "1.x", true},
                    Comparison{" 1", "1", true}, Comparison{"+-1", "1", true},
                    Comparison{"0x10", "1", true},
                    Comparison{"9223372036854775808", "9223372036854775808", false},
                    Comparison{"9223372036854775808", "1", true}));

} // namespace
