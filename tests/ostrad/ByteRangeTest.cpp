#include "ostrad/ByteRange.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

using Kind = ByteRange::Kind;

struct Case {
    const char* header;
    std::uint64_t size;
    ByteRange expected;
};
void PrintTo(const Case& which, std::ostream* out) {
    *out << which.header;
}
class Range : public testing::TestWithParam<Case> {};

TEST_P(Range, selectsWhatTheHeaderAsks) {
    EXPECT_EQ(parseRange(GetParam().header, GetParam().size), GetParam().expected)
        << GetParam().header;
}

INSTANTIATE_TEST_SUITE_P(
    ByteRange, Range,
    testing::Values(Case{"bytes=0-0", 100, {Kind::slice, 0, 1}},
                    Case{"bytes=0-99", 100, {Kind::slice, 0, 100}},
                    Case{"bytes=10-19", 100, {Kind::slice, 10, 10}},
                    Case{"bytes=90-", 100, {Kind::slice, 90, 10}},
                    Case{"bytes=90-200", 100, {Kind::slice, 90, 10}},
                    Case{"bytes=-5", 100, {Kind::slice, 95, 5}},
                    Case{"bytes=-500", 100, {Kind::slice, 0, 100}},
                    Case{"Bytes = 1-2", 100, {Kind::slice, 1, 2}},
                    Case{"bytes=0-99999999999999999999999", 100, {Kind::slice, 0, 100}},
                    Case{"bytes=100-", 100, {Kind::unsatisfiable, 0, 0}},
                    Case{"bytes=99999999999999999999999-", 100, {Kind::unsatisfiable, 0, 0}},
                    Case{"bytes=-0", 100, {Kind::unsatisfiable, 0, 0}},
                    Case{"bytes=0-", 0, {Kind::unsatisfiable, 0, 0}},
                    Case{"bytes=-1", 0, {Kind::unsatisfiable, 0, 0}}));

class WholeRange : public testing::TestWithParam<const char*> {};

TEST_P(WholeRange, isWhatAMalformedHeaderGets) {
    EXPECT_EQ(parseRange(GetParam(), 100), ByteRange{}) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(ByteRange, WholeRange,
                         testing::Values("", "bytes", "bytes=", "bytes=-", "bytes=a-b", "bytes=5-4",
                                         "bytes=1-2,4-5", "items=0-1", "bytes=--1", "bytes=1-2x",
                                         "bytes=+1-2", "bytes=0x1-2"));

} // namespace
} // namespace ostrad
