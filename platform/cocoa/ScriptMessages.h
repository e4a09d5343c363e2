// What a page posted, on its way from WebKit. See ScriptMessageHandler in platform/WebWindow.h for
// what becomes of each type. At most 64 levels and 100,000 values are taken. Main thread only.
#pragma once

#include "platform/WebWindow.h"
#include "platform/cocoa/RequireArc.h"

#import <Foundation/Foundation.h>
#import <WebKit/WebKit.h>

#include <boost/json/value.hpp>

namespace platform::cocoa {

[[nodiscard]] boost::json::value scriptValue(id body);

} // namespace platform::cocoa

// A content controller keeps its handlers; this one keeps nothing but the function.
@interface ZorvaneScriptMessageHandler : NSObject <WKScriptMessageHandler>
- (instancetype)initWithHandler:(platform::ScriptMessageHandler)handler;
@end
