#include "platform/cocoa/CocoaWebWindow.h"

#include "platform/cocoa/ScriptMessages.h"
#include "platform/cocoa/Text.h"
#include "platform/cocoa/WebWindowDelegate.h"

#include <utility>

namespace platform::cocoa {
namespace {

NSWindowStyleMask styleFor(const WebWindowOptions& options) {
    NSWindowStyleMask style = NSWindowStyleMaskTitled;
    if (options.closable) {
        style |= NSWindowStyleMaskClosable;
    }
    if (options.miniaturizable) {
        style |= NSWindowStyleMaskMiniaturizable;
    }
    if (options.resizable) {
        style |= NSWindowStyleMaskResizable;
    }
    return style;
}

WKUserScript* scriptFrom(const UserScript& script) {
    return [[WKUserScript alloc] initWithSource:toFoundation(script.source)
                                  injectionTime:script.when == ScriptInjectionTime::documentStart
                                                    ? WKUserScriptInjectionTimeAtDocumentStart
                                                    : WKUserScriptInjectionTimeAtDocumentEnd
                               forMainFrameOnly:YES];
}

// nil when the system refuses these properties.
NSHTTPCookie* cookieFrom(const WebCookie& cookie) {
    const std::chrono::duration<double> expires = cookie.expires.time_since_epoch();
    NSMutableDictionary<NSHTTPCookiePropertyKey, id>* const properties =
        [NSMutableDictionary dictionary];
    properties[NSHTTPCookieName] = toFoundation(cookie.name);
    properties[NSHTTPCookieValue] = toFoundation(cookie.value);
    properties[NSHTTPCookieDomain] = toFoundation(cookie.domain);
    properties[NSHTTPCookiePath] = toFoundation(cookie.path);
    properties[NSHTTPCookieExpires] = [NSDate dateWithTimeIntervalSince1970:expires.count()];
    if (cookie.secure) {
        properties[NSHTTPCookieSecure] = @"TRUE";
    }
    return [NSHTTPCookie cookieWithProperties:properties];
}

// Whatever goes over the network; a page that was given as text does not.
NSString* const everyRequest =
    @"[{\"trigger\":{\"url-filter\":\"^http\"},\"action\":{\"type\":\"block\"}},"
    @"{\"trigger\":{\"url-filter\":\"^ws\"},\"action\":{\"type\":\"block\"}}]";

} // namespace

CocoaWebWindow::CocoaWebWindow(const WebWindowOptions& options)
    : observer_([[ZorvaneWebWindowDelegate alloc] init]) {
    @autoreleasepool {
        window_ = [[NSWindow alloc]
            initWithContentRect:NSMakeRect(0, 0, options.contentWidth, options.contentHeight)
                      styleMask:styleFor(options)
                        backing:NSBackingStoreBuffered
                          defer:NO];
        // The window belongs to this object: with automatic counting, one that also released
        // itself would be freed twice.
        window_.releasedWhenClosed = NO;
        window_.title = toFoundation(options.title);
        if (options.minimumWidth > 0 || options.minimumHeight > 0) {
            window_.minSize = NSMakeSize(options.minimumWidth, options.minimumHeight);
        }
        if (!options.tabbing) {
            window_.tabbingMode = NSWindowTabbingModeDisallowed;
        }
        makeView(options);
        window_.contentView = view_;
        observer_.owner = this;
        observer_.window = window_;
        [observer_ setConfirmTitles:options.confirmTitles];
        window_.delegate = observer_;
    }
}

void CocoaWebWindow::makeView(const WebWindowOptions& options) {
    WKWebViewConfiguration* const configuration = [[WKWebViewConfiguration alloc] init];
    configuration.websiteDataStore = [WKWebsiteDataStore defaultDataStore];
    for (const UserScript& script : options.userScripts) {
        [configuration.userContentController addUserScript:scriptFrom(script)];
    }
    view_ = [[WKWebView alloc]
        initWithFrame:NSMakeRect(0, 0, options.contentWidth, options.contentHeight)
        configuration:configuration];
    if (!options.userAgent.empty()) {
        view_.customUserAgent = toFoundation(options.userAgent);
    }
    view_.allowsBackForwardNavigationGestures = options.backForwardGestures;
    if (@available(macOS 13.3, *)) {
        view_.inspectable = options.inspectable;
    } else {
        // What came before that property is this preference, by its name only.
        [configuration.preferences setValue:@(options.inspectable)
                                     forKey:@"developerExtrasEnabled"];
    }
    view_.navigationDelegate = observer_;
    view_.UIDelegate = observer_;
}

CocoaWebWindow::~CocoaWebWindow() {
    observer_.owner = nullptr;
    for (const std::string& name : handlerNames_) {
        [view_.configuration.userContentController
            removeScriptMessageHandlerForName:toFoundation(name)];
    }
    if (NSWindow* const sheet = window_.attachedSheet; sheet != nil) {
        [window_ endSheet:sheet];
    }
    [observer_ dismissPanels];
    window_.delegate = nil;
    [window_ close];
}

void CocoaWebWindow::setFrameAutosaveName(std::string_view name) {
    [window_ setFrameAutosaveName:toFoundation(name)];
}

void CocoaWebWindow::center() { [window_ center]; }

void CocoaWebWindow::makeKeyAndOrderFront() { [window_ makeKeyAndOrderFront:nil]; }

void CocoaWebWindow::orderOut() { [window_ orderOut:nil]; }

bool CocoaWebWindow::isVisible() const { return window_.visible; }

void CocoaWebWindow::setTitle(std::string_view title) { window_.title = toFoundation(title); }

void CocoaWebWindow::addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) {
    handlerNames_.emplace_back(name);
    [view_.configuration.userContentController
        addScriptMessageHandler:[[ZorvaneScriptMessageHandler alloc]
                                    initWithHandler:std::move(handler)]
                           name:toFoundation(name)];
}

void CocoaWebWindow::setCookie(const WebCookie& cookie, std::function<void()> completion) {
    NSHTTPCookie* const made = cookieFrom(cookie);
    if (made == nil) {
        completion();
        return;
    }
    [view_.configuration.websiteDataStore.httpCookieStore setCookie:made
                                                  completionHandler:^{
                                                    completion();
                                                  }];
}

void CocoaWebWindow::loadHtml(std::string_view html) {
    request_ = nil;
    [view_ loadHTMLString:toFoundation(html) baseURL:nil];
}

void CocoaWebWindow::loadUrl(const std::string& url, std::chrono::seconds timeout) {
    // Some releases make a URL of an empty text as well.
    NSURL* const address = url.empty() ? nil : [NSURL URLWithString:toFoundation(url)];
    if (address == nil) {
        return;
    }
    request_ = [NSURLRequest requestWithURL:address
                                cachePolicy:NSURLRequestUseProtocolCachePolicy
                            timeoutInterval:static_cast<double>(timeout.count())];
    [view_ loadRequest:request_];
}

// A view whose first page never came has nothing to load again.
void CocoaWebWindow::reload() {
    if ([view_ reload] == nil && request_ != nil) {
        [view_ loadRequest:request_];
    }
}

void CocoaWebWindow::setNetworkAllowed(bool allowed) {
    networkAllowed_ = allowed;
    if (!allowed && noNetwork_ == nil && !compiling_) {
        compileNoNetwork();
    }
    applyNetwork();
}

void CocoaWebWindow::compileNoNetwork() {
    compiling_ = true;
    ZorvaneWebWindowDelegate* const observer = observer_;
    [[WKContentRuleListStore defaultStore]
        compileContentRuleListForIdentifier:@"app.zorvane.no-network"
                     encodedContentRuleList:everyRequest
                          completionHandler:^(WKContentRuleList* list, NSError*) {
                            // The window may be gone by now.
                            if (auto* const owner = static_cast<CocoaWebWindow*>(observer.owner)) {
                                owner->compiling_ = false;
                                owner->noNetwork_ = list;
                                owner->applyNetwork();
                            }
                          }];
}

void CocoaWebWindow::applyNetwork() {
    WKUserContentController* const controller = view_.configuration.userContentController;
    [controller removeAllContentRuleLists];
    if (!networkAllowed_ && noNetwork_ != nil) {
        [controller addContentRuleList:noNetwork_];
    }
}

std::unique_ptr<WebWindow> CocoaWebWindowFactory::makeWebWindow(const WebWindowOptions& options) {
    return std::make_unique<CocoaWebWindow>(options);
}

} // namespace platform::cocoa
