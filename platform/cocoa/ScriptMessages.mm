#include "platform/cocoa/ScriptMessages.h"

#include "platform/cocoa/Text.h"

#import <CoreFoundation/CoreFoundation.h>

#include <cmath>
#include <optional>
#include <utility>

namespace platform::cocoa {
namespace {

namespace json = boost::json;

json::value text(NSString* text) {
    const char* const bytes = text.UTF8String;
    if (bytes == nullptr) {
        return nullptr; // a lone surrogate
    }
    return json::string(bytes, [text lengthOfBytesUsingEncoding:NSUTF8StringEncoding]);
}

json::value number(NSNumber* number) {
    if (CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID()) {
        return static_cast<bool>(number.boolValue);
    }
    return std::isfinite(number.doubleValue) ? json::value(number.doubleValue)
                                             : json::value(nullptr);
}

// Gives up, with nothing, on what is too deep (it may contain itself) or too large.
class Conversion {
  public:
    [[nodiscard]] std::optional<json::value> convert(id value, int levels) {
        if (levels == 0 || --valuesLeft_ < 0) {
            return std::nullopt;
        }
        if ([value isKindOfClass:[NSString class]]) {
            return text(value);
        }
        if ([value isKindOfClass:[NSNumber class]]) {
            return number(value);
        }
        if ([value isKindOfClass:[NSArray class]]) {
            return array(value, levels);
        }
        return [value isKindOfClass:[NSDictionary class]] ? object(value, levels)
                                                          : json::value(nullptr);
    }

  private:
    std::optional<json::value> array(NSArray<id>* value, int levels) {
        json::array elements;
        for (NSUInteger index = 0; index < value.count; ++index) {
            auto converted = convert(value[index], levels - 1);
            if (!converted) {
                return std::nullopt;
            }
            elements.push_back(*std::move(converted));
        }
        return json::value(std::move(elements));
    }

    std::optional<json::value> object(NSDictionary<id, id>* value, int levels) {
        __block json::object members;
        __block bool complete = true;
        [value enumerateKeysAndObjectsUsingBlock:^(id key, id member, BOOL* stop) {
          const auto name =
              [key isKindOfClass:[NSString class]] ? fromFoundation(key) : std::nullopt;
          auto converted = convert(member, levels - 1);
          complete = name && converted;
          if (complete) {
              members[*name] = *std::move(converted);
          }
          *stop = !complete;
        }];
        return complete ? std::optional(json::value(std::move(members))) : std::nullopt;
    }

    int valuesLeft_ = 100'000;
};

} // namespace

boost::json::value scriptValue(id body) {
    return Conversion().convert(body, 64).value_or(json::value(nullptr));
}

} // namespace platform::cocoa

@implementation ZorvaneScriptMessageHandler {
    platform::ScriptMessageHandler _handler;
}

- (instancetype)initWithHandler:(platform::ScriptMessageHandler)handler {
    self = [super init];
    if (self != nil) {
        _handler = std::move(handler);
    }
    return self;
}

- (void)userContentController:(WKUserContentController*)__unused userContentController
      didReceiveScriptMessage:(WKScriptMessage*)message {
    // A copy: the handler may end the window, and with it this object.
    const platform::ScriptMessageHandler handler = _handler;
    handler(platform::cocoa::fromFoundation(message.name).value_or(""),
            platform::cocoa::scriptValue(message.body));
}

@end
