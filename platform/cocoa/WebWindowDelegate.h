// The object that a window and its web view report to. It passes on what the owner wants to know
// and shows the panels that a page asks for, one after the other, unless it asks too often
// (QuestionLimit.h). The system keeps only weak references to it.
#pragma once

#include "platform/WebWindow.h"
#include "platform/cocoa/RequireArc.h"

#import <AppKit/AppKit.h>
#import <WebKit/WebKit.h>

@interface ZorvaneWebWindowDelegate
    : NSObject <NSWindowDelegate, WKNavigationDelegate, WKUIDelegate>
// Neither is owned; the owner is null once it is gone.
@property (nonatomic, assign) platform::WebWindow* owner;
@property (nonatomic, weak) NSWindow* window;
- (void)setConfirmTitles:(const platform::ConfirmTitles&)titles;
// Answers every panel that is up or waits for its turn as dismissed. WebKit raises an exception for
// a completion handler that goes uncalled, and the system forgets the sheets of a closed window.
- (void)dismissPanels;
@end
