// What Zorvane uses of WebKit.
#ifndef ZORVANE_INTERFACE_WEBKIT
#define ZORVANE_INTERFACE_WEBKIT

#import <AppKit/AppKit.h>

NS_ASSUME_NONNULL_BEGIN

@class WKFrameInfo, WKOpenPanelParameters, WKWebView;

API_AVAILABLE(macos(10.10))
@interface WKNavigation : NSObject
@end

API_AVAILABLE(macos(10.11))
@interface WKWebsiteDataStore : NSObject
+ (WKWebsiteDataStore*)defaultDataStore;
@end

API_AVAILABLE(macos(10.10))
@interface WKWebViewConfiguration : NSObject <NSCopying>
@property(nonatomic, strong) WKWebsiteDataStore* websiteDataStore API_AVAILABLE(macos(10.11));
@end

API_AVAILABLE(macos(10.12))
@interface WKOpenPanelParameters : NSObject
@property(nonatomic, readonly) BOOL allowsMultipleSelection;
@property(nonatomic, readonly) BOOL allowsDirectories API_AVAILABLE(macos(10.13.4));
@end

@protocol WKNavigationDelegate <NSObject>
@optional
- (void)webViewWebContentProcessDidTerminate:(WKWebView*)webView API_AVAILABLE(macos(10.11));
@end

@protocol WKUIDelegate <NSObject>
@optional
- (void)webView:(WKWebView*)webView
    runJavaScriptAlertPanelWithMessage:(NSString*)message
                      initiatedByFrame:(WKFrameInfo*)frame
                     completionHandler:(void (^)(void))completionHandler;
- (void)webView:(WKWebView*)webView
    runJavaScriptConfirmPanelWithMessage:(NSString*)message
                        initiatedByFrame:(WKFrameInfo*)frame
                       completionHandler:(void (^)(BOOL result))completionHandler;
- (void)webView:(WKWebView*)webView
    runOpenPanelWithParameters:(WKOpenPanelParameters*)parameters
              initiatedByFrame:(WKFrameInfo*)frame
             completionHandler:(void (^)(NSArray<NSURL*>* _Nullable URLs))completionHandler
    API_AVAILABLE(macos(10.12));
@end

API_AVAILABLE(macos(10.10))
@interface WKWebView : NSView
- (instancetype)initWithFrame:(CGRect)frame
                configuration:(WKWebViewConfiguration*)configuration NS_DESIGNATED_INITIALIZER;
@property(nullable, nonatomic, weak) id<WKNavigationDelegate> navigationDelegate;
@property(nullable, nonatomic, weak) id<WKUIDelegate> UIDelegate;
@property(nonatomic, getter=isInspectable) BOOL inspectable API_AVAILABLE(macos(13.3));
- (nullable WKNavigation*)loadRequest:(NSURLRequest*)request;
- (nullable WKNavigation*)loadHTMLString:(NSString*)string baseURL:(nullable NSURL*)baseURL;
@end

NS_ASSUME_NONNULL_END

#endif
