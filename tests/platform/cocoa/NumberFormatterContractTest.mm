// CFNumberFormatter's answers beside those of Foundation's formatter: the locale is whatever this
// user's is.
#include "platform/cocoa/text/CocoaNumberFormatter.h"

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

TEST(CocoaNumberFormatter, writesNumbersAsTheUsersLocaleDoes) {
    using Limits = std::numeric_limits<std::int64_t>;
    const platform::cocoa::CocoaNumberFormatter formatter;
    for (const std::int64_t number : {std::int64_t{0}, std::int64_t{-7}, std::int64_t{1234},
                                      std::int64_t{1'234'567}, Limits::min(), Limits::max()}) {
        NSString* const expected =
            [NSNumberFormatter localizedStringFromNumber:@(number)
                                             numberStyle:NSNumberFormatterDecimalStyle];
        EXPECT_EQ(formatter.decimal(number), std::string(expected.UTF8String));
    }
}

} // namespace
