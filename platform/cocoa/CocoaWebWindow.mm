#include "platform/cocoa/CocoaWebWindow.h"

#include "platform/cocoa/Text.h"
#include "platform/cocoa/WebWindowDelegate.h"

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
        makeView(options.inspectable);
        window_.contentView = view_;
        observer_.owner = this;
        observer_.window = window_;
        window_.delegate = observer_;
    }
}

void CocoaWebWindow::makeView(bool inspectable) {
    WKWebViewConfiguration* const configuration = [[WKWebViewConfiguration alloc] init];
    configuration.websiteDataStore = [WKWebsiteDataStore defaultDataStore];
    view_ = [[WKWebView alloc] initWithFrame:NSMakeRect(0, 0, 0, 0) configuration:configuration];
    // Before this release, every view of a development build could be inspected, and none else.
    if (@available(macOS 13.3, *)) {
        view_.inspectable = inspectable;
    }
    view_.navigationDelegate = observer_;
    view_.UIDelegate = observer_;
}

CocoaWebWindow::~CocoaWebWindow() {
    observer_.owner = nullptr;
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

void CocoaWebWindow::loadHtml(std::string_view html) {
    [view_ loadHTMLString:toFoundation(html) baseURL:nil];
}

void CocoaWebWindow::loadUrl(const std::string& url, std::chrono::seconds timeout) {
    NSURL* const address = [NSURL URLWithString:toFoundation(url)];
    if (address == nil) {
        return;
    }
    [view_ loadRequest:[NSURLRequest requestWithURL:address
                                        cachePolicy:NSURLRequestUseProtocolCachePolicy
                                    timeoutInterval:static_cast<double>(timeout.count())]];
}

std::unique_ptr<WebWindow> CocoaWebWindowFactory::makeWebWindow(const WebWindowOptions& options) {
    return std::make_unique<CocoaWebWindow>(options);
}

} // namespace platform::cocoa
