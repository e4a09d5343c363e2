// A file that a page offers: asks in a sheet where it goes, collects it in a folder that the system
// provides for what is to replace something on that volume, shows in a sheet how much has come and
// lets the user cancel it, and moves it to its place when it is whole. Main thread only. Keeps
// itself until it is over.
#pragma once

#include "platform/cocoa/RequireArc.h"

#import <AppKit/AppKit.h>
#import <WebKit/WebKit.h>

@interface ZorvanePageDownload : NSObject <WKDownloadDelegate>
// One at a time: cancels the download while another is under way, or when there is no window.
+ (void)takeDownload:(WKDownload*)download inWindow:(NSWindow*)window;
@end
