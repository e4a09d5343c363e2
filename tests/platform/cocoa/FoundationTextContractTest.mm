// Text and paths between C++ and Foundation, and what a page posts as JSON. The contract of
// platform/Text.h itself is among the unit tests, which a Mac runs on CoreFoundation.
#include "platform/cocoa/ScriptMessages.h"
#include "platform/cocoa/Text.h"

#import <Foundation/Foundation.h>
#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>

// A surrogate without its other half. NSString's own answer on a Mac is the same; GNUstep makes no
// such text.
@interface ZorvaneHalfCharacter : NSString
@end

@implementation ZorvaneHalfCharacter
- (NSUInteger)length {
    return 1;
}
- (unichar)characterAtIndex:(NSUInteger)__unused index {
    return 0xD83D;
}
- (const char*)UTF8String {
    return nullptr;
}
@end

namespace {

using namespace std::string_view_literals;
using platform::cocoa::fromFoundation;
using platform::cocoa::pathOf;
using platform::cocoa::scriptValue;
using platform::cocoa::toFoundation;

NSString* loneSurrogate() { return [[ZorvaneHalfCharacter alloc] init]; }

TEST(FoundationText, comesBackAsItWas) {
    for (const auto text : {""sv, "plain"sv, "Küche \u2028 日本"sv, "👨\u200D👩\u200D👧"sv}) {
        EXPECT_EQ(fromFoundation(toFoundation(text)), text);
    }
}

TEST(FoundationText, takesBytesThatAreNoUtf8ForLatin1) {
    EXPECT_EQ(fromFoundation(toFoundation("a\xff\xe9"sv)), "aÿé");
}

TEST(FoundationText, keepsNulsOnTheirWayInAndEndsAtOneOnItsWayOut) {
    NSString* const text = toFoundation("a\0b"sv);
    EXPECT_EQ(text.length, NSUInteger{3});
    EXPECT_EQ(fromFoundation(text), "a");
}

TEST(FoundationText, isNoneForNilAndForWhatUnicodeCannotSay) {
    EXPECT_EQ(fromFoundation(nil), std::nullopt);
    EXPECT_EQ(fromFoundation(loneSurrogate()), std::nullopt);
}

TEST(FoundationPaths, areThoseOfFileUrls) {
    EXPECT_EQ(pathOf(nil), std::nullopt);
    EXPECT_EQ(pathOf([NSURL fileURLWithPath:@"/tmp/a b/%41" isDirectory:NO]), "/tmp/a b/%41");
}

TEST(ScriptValue, takesWhatJsonCanSay) {
    EXPECT_EQ(scriptValue(@{
                  @"text" : toFoundation("é\0z"sv),
                  @"list" : @[ @1.5, @YES, @NO, @{}, @[] ],
                  @"none" : NSNull.null
              }),
              boost::json::parse(
                  R"({"text": "é\u0000z", "list": [1.5, true, false, {}, []], "none": null})"));
}

TEST(ScriptValue, tellsTruthFromNumbers) {
    EXPECT_TRUE(scriptValue(@YES).is_bool());
    EXPECT_TRUE(scriptValue(@1).is_double());
    EXPECT_TRUE(scriptValue(@0.0).is_double());
}

TEST(ScriptValue, isNullWhereJsonHasNoWord) {
    EXPECT_EQ(scriptValue(nil), nullptr);
    EXPECT_EQ(scriptValue(NSDate.date), nullptr);
    EXPECT_EQ(scriptValue(@(std::nan(""))), nullptr);
    EXPECT_EQ(scriptValue(@(HUGE_VAL)), nullptr);
    EXPECT_EQ(scriptValue(loneSurrogate()), nullptr);
    EXPECT_EQ(scriptValue(@[ NSDate.date, @"kept" ]), boost::json::parse(R"([null, "kept"])"));
}

TEST(ScriptValue, isNullForABodyThatIsTooDeepOrTooLarge) {
    id deep = @[];
    for (int level = 1; level < 64; ++level) {
        deep = @[ deep ];
    }
    EXPECT_TRUE(scriptValue(deep).is_array());
    EXPECT_EQ(scriptValue(@[ deep ]), nullptr);

    NSMutableArray* const large = [NSMutableArray array];
    for (int element = 0; element < 99'999; ++element) {
        [large addObject:@"x"];
    }
    EXPECT_EQ(scriptValue(large).as_array().size(), std::size_t{99'999});
    [large addObject:@"x"];
    EXPECT_EQ(scriptValue(large), nullptr);

    NSMutableArray* const itself = [NSMutableArray array];
    [itself addObject:@[ itself ]];
    EXPECT_EQ(scriptValue(itself), nullptr);
    [itself removeAllObjects];
}

} // namespace
