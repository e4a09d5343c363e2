#include "platform/cocoa/WebWindowDelegate.h"

namespace {

void callIfSet(platform::WebWindow* owner, std::function<void()> platform::WebWindow::* callback) {
    if (owner != nullptr && owner->*callback) {
        (owner->*callback)();
    }
}

} // namespace

@implementation ZorvaneWebWindowDelegate

- (void)windowWillClose:(NSNotification*)__unused notification {
    callIfSet(self.owner, &platform::WebWindow::onWillClose);
}

- (void)webViewWebContentProcessDidTerminate:(WKWebView*)__unused webView {
    callIfSet(self.owner, &platform::WebWindow::onWebProcessTerminated);
}

- (void)webView:(WKWebView*)__unused webView
    runJavaScriptAlertPanelWithMessage:(NSString*)message
                      initiatedByFrame:(WKFrameInfo*)__unused frame
                     completionHandler:(void (^)(void))completionHandler {
    NSWindow* const window = self.window;
    if (window == nil) {
        completionHandler();
        return;
    }
    NSAlert* const alert = [[NSAlert alloc] init];
    alert.messageText = message;
    [alert beginSheetModalForWindow:window
                  completionHandler:^(NSModalResponse) {
                    completionHandler();
                  }];
}

- (void)webView:(WKWebView*)__unused webView
    runJavaScriptConfirmPanelWithMessage:(NSString*)message
                        initiatedByFrame:(WKFrameInfo*)__unused frame
                       completionHandler:(void (^)(BOOL result))completionHandler {
    NSWindow* const window = self.window;
    if (window == nil) {
        completionHandler(NO);
        return;
    }
    NSAlert* const alert = [[NSAlert alloc] init];
    alert.messageText = message;
    [alert addButtonWithTitle:@"OK"];
    [alert addButtonWithTitle:@"Cancel"];
    [alert beginSheetModalForWindow:window
                  completionHandler:^(NSModalResponse answer) {
                    completionHandler(answer == NSAlertFirstButtonReturn);
                  }];
}

- (void)webView:(WKWebView*)__unused webView
    runOpenPanelWithParameters:(WKOpenPanelParameters*)parameters
              initiatedByFrame:(WKFrameInfo*)__unused frame
             completionHandler:(void (^)(NSArray<NSURL*>* _Nullable URLs))completionHandler {
    NSWindow* const window = self.window;
    if (window == nil) {
        completionHandler(nil);
        return;
    }
    NSOpenPanel* const panel = [NSOpenPanel openPanel];
    panel.canChooseFiles = YES;
    panel.canChooseDirectories = parameters.allowsDirectories;
    panel.allowsMultipleSelection = parameters.allowsMultipleSelection;
    [panel beginSheetModalForWindow:window
                  completionHandler:^(NSModalResponse answer) {
                    completionHandler(answer == NSModalResponseOK ? panel.URLs : nil);
                  }];
}

@end
