#include "platform/cocoa/WebWindowDelegate.h"

#include "platform/QuestionLimit.h"
#include "platform/cocoa/PageDownload.h"
#include "platform/cocoa/Text.h"

#include <chrono>
#include <map>
#include <string>
#include <utility>

namespace {

std::string textOf(NSString* text) { return platform::cocoa::fromFoundation(text).value_or(""); }

void callIfSet(platform::WebWindow* owner, std::function<void()> platform::WebWindow::* callback) {
    if (owner != nullptr && owner->*callback) {
        (owner->*callback)();
    }
}

// WebKit says of a click, not of a key, that the user made it.
platform::NavigationAction describe(WKNavigationAction* action) {
    auto frame = platform::NavigationFrame::unknown; // of a window that there is not yet
    if (WKFrameInfo* const target = action.targetFrame; target != nil) {
        frame =
            target.mainFrame ? platform::NavigationFrame::main : platform::NavigationFrame::other;
    }
    return {.url = textOf(action.request.URL.absoluteString),
            .isLinkActivated = action.navigationType == WKNavigationTypeLinkActivated,
            .isUserGesture = action.buttonNumber != 0,
            .frame = frame};
}

// By itself a sheet forbids the application to quit, without asking the delegate.
void letQuit(NSWindow* sheet) { sheet.preventsApplicationTerminationWhenModal = NO; }

// RFC 6266: by its type alone; what is not "inline" is one.
bool isAttachment(NSURLResponse* response) {
    if (![response respondsToSelector:@selector(valueForHTTPHeaderField:)]) {
        return false;
    }
    NSString* const disposition =
        [static_cast<NSHTTPURLResponse*>(response) valueForHTTPHeaderField:@"Content-Disposition"];
    return disposition.length > 0 && ![disposition.lowercaseString hasPrefix:@"inline"];
}

} // namespace

@implementation ZorvaneWebWindowDelegate {
    platform::ConfirmTitles _confirmTitles;
    // What is still to be answered, by the number of its question.
    std::map<unsigned, std::function<void(NSModalResponse)>> _questions;
    unsigned _asked;
    platform::QuestionLimit _limit;
}

- (void)setConfirmTitles:(const platform::ConfirmTitles&)titles {
    _confirmTitles = titles;
}

// The handler of a sheet that asks for this answer; what it says after dismissPanels is not heard.
- (void (^)(NSModalResponse))handlerFor:(std::function<void(NSModalResponse)>)answer {
    const unsigned number = ++_asked;
    _questions.emplace(number, std::move(answer));
    return ^(NSModalResponse response) {
      [self answer:number with:response];
    };
}

- (void)answer:(unsigned)number with:(NSModalResponse)response {
    if (const auto question = _questions.extract(number)) {
        question.mapped()(response);
    }
}

- (void)dismissPanels {
    while (!_questions.empty()) {
        [self answer:_questions.begin()->first with:NSModalResponseCancel];
    }
}

- (bool)mayAsk {
    return _limit.admits(std::chrono::steady_clock::now());
}

- (void)windowWillClose:(NSNotification*)__unused notification {
    callIfSet(self.owner, &platform::WebWindow::onWillClose);
}

- (void)webViewWebContentProcessDidTerminate:(WKWebView*)__unused webView {
    callIfSet(self.owner, &platform::WebWindow::onWebProcessTerminated);
}

- (void)webView:(WKWebView*)__unused webView
    decidePolicyForNavigationAction:(WKNavigationAction*)navigationAction
                    decisionHandler:(void (^)(WKNavigationActionPolicy))decisionHandler {
    const platform::WebWindow* const owner = self.owner;
    auto policy = platform::NavigationPolicy::allow;
    if (owner != nullptr && owner->decideNavigationPolicy) {
        policy = owner->decideNavigationPolicy(describe(navigationAction));
    }
    if (policy == platform::NavigationPolicy::cancel) {
        decisionHandler(WKNavigationActionPolicyCancel);
    } else {
        decisionHandler(navigationAction.shouldPerformDownload ? WKNavigationActionPolicyDownload
                                                               : WKNavigationActionPolicyAllow);
    }
}

- (void)webView:(WKWebView*)__unused webView
    decidePolicyForNavigationResponse:(WKNavigationResponse*)navigationResponse
                      decisionHandler:(void (^)(WKNavigationResponsePolicy))decisionHandler {
    const bool isFile = isAttachment(navigationResponse.response) ||
                        (navigationResponse.forMainFrame && !navigationResponse.canShowMIMEType);
    decisionHandler(isFile ? WKNavigationResponsePolicyDownload : WKNavigationResponsePolicyAllow);
}

- (void)webView:(WKWebView*)__unused webView
     navigationAction:(WKNavigationAction*)__unused navigationAction
    didBecomeDownload:(WKDownload*)download {
    [self take:download];
}

- (void)webView:(WKWebView*)__unused webView
    navigationResponse:(WKNavigationResponse*)__unused navigationResponse
     didBecomeDownload:(WKDownload*)download {
    [self take:download];
}

- (void)take:(WKDownload*)download {
    [ZorvanePageDownload takeDownload:download inWindow:[self mayAsk] ? self.window : nil];
}

// The view learns a page's title from a task of the page that may run after the load is finished.
// It is asked for where the page's own scripts cannot change the answer.
- (void)webView:(WKWebView*)webView didFinishNavigation:(WKNavigation*)__unused navigation {
    __weak ZorvaneWebWindowDelegate* const weakSelf = self;
    [webView evaluateJavaScript:@"document.title"
                        inFrame:nil
                 inContentWorld:WKContentWorld.defaultClientWorld
              completionHandler:^(id result, NSError* error) {
                ZorvaneWebWindowDelegate* const observer = weakSelf;
                const platform::WebWindow* const owner = observer.owner;
                if (error != nil || owner == nullptr) {
                    return;
                }
                if (const auto finished = owner->onDidFinishNavigation) { // which may be replaced
                    finished([result isKindOfClass:[NSString class]] ? textOf(result) : "");
                }
              }];
}

- (WKWebView*)webView:(WKWebView*)__unused webView
    createWebViewWithConfiguration:(WKWebViewConfiguration*)__unused configuration
               forNavigationAction:(WKNavigationAction*)navigationAction
                    windowFeatures:(WKWindowFeatures*)__unused windowFeatures {
    const platform::WebWindow* const owner = self.owner;
    if (owner != nullptr && owner->onNewWindowRequest) {
        owner->onNewWindowRequest(describe(navigationAction));
    }
    return nil;
}

- (void)webView:(WKWebView*)__unused webView
    runJavaScriptAlertPanelWithMessage:(NSString*)message
                      initiatedByFrame:(WKFrameInfo*)__unused frame
                     completionHandler:(void (^)(void))completionHandler {
    NSWindow* const window = self.window;
    if (window == nil || ![self mayAsk]) {
        completionHandler();
        return;
    }
    NSAlert* const alert = [[NSAlert alloc] init];
    alert.messageText = message;
    letQuit(alert.window);
    [alert beginSheetModalForWindow:window
                  completionHandler:[self handlerFor:[completionHandler](NSModalResponse) {
                      completionHandler();
                  }]];
}

- (void)webView:(WKWebView*)__unused webView
    runJavaScriptConfirmPanelWithMessage:(NSString*)message
                        initiatedByFrame:(WKFrameInfo*)__unused frame
                       completionHandler:(void (^)(BOOL result))completionHandler {
    NSWindow* const window = self.window;
    if (window == nil || ![self mayAsk]) {
        completionHandler(NO);
        return;
    }
    NSAlert* const alert = [[NSAlert alloc] init];
    alert.messageText = message;
    [alert addButtonWithTitle:platform::cocoa::toFoundation(_confirmTitles.accept)];
    [alert addButtonWithTitle:platform::cocoa::toFoundation(_confirmTitles.refuse)];
    letQuit(alert.window);
    [alert beginSheetModalForWindow:window
                  completionHandler:[self handlerFor:[completionHandler](NSModalResponse answer) {
                      completionHandler(answer == NSAlertFirstButtonReturn);
                  }]];
}

- (void)webView:(WKWebView*)__unused webView
    runOpenPanelWithParameters:(WKOpenPanelParameters*)parameters
              initiatedByFrame:(WKFrameInfo*)__unused frame
             completionHandler:(void (^)(NSArray<NSURL*>* _Nullable URLs))completionHandler {
    NSWindow* const window = self.window;
    if (window == nil || ![self mayAsk]) {
        completionHandler(nil);
        return;
    }
    NSOpenPanel* const panel = [NSOpenPanel openPanel];
    panel.canChooseFiles = YES;
    panel.canChooseDirectories = parameters.allowsDirectories;
    panel.allowsMultipleSelection = parameters.allowsMultipleSelection;
    letQuit(panel);
    [panel beginSheetModalForWindow:window
                  completionHandler:[self handlerFor:[completionHandler,
                                                      panel](NSModalResponse answer) {
                      completionHandler(answer == NSModalResponseOK ? panel.URLs : nil);
                  }]];
}

@end
