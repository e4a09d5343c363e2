// What a user does to an alert and to a sheet.
#pragma once

#import <AppKit/AppKit.h>

namespace cocoa_host {

// The alert whose modal loop runs.
[[nodiscard]] NSAlert* modalAlert();
// A click on a button of the modal alert that is up: its response, or another code.
void answerModal(NSModalResponse response);

// Sheets are noted and not shown; a window's second waits until its first has ended.
// https://developer.apple.com/documentation/appkit/nswindow/beginsheet(_:completionhandler:)
void endSheet(NSWindow* window, NSModalResponse response);
// The alert or panel whose sheet the window has.
[[nodiscard]] id sheetOwner(NSWindow* window);

} // namespace cocoa_host
