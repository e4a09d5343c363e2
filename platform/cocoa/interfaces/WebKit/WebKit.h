// What Zorvane uses of WebKit.
#ifndef ZORVANE_INTERFACE_WEBKIT
#define ZORVANE_INTERFACE_WEBKIT

#import <AppKit/AppKit.h>

NS_ASSUME_NONNULL_BEGIN

@class NSData, WKOpenPanelParameters, WKUserContentController, WKWebView, WKWindowFeatures;

API_AVAILABLE(macos(10.10))
@interface WKNavigation : NSObject
@end

API_AVAILABLE(macos(11.0))
@interface WKContentWorld : NSObject
@property(class, nonatomic, readonly) WKContentWorld* defaultClientWorld;
@end

typedef NS_ENUM(NSInteger, WKNavigationType){
    WKNavigationTypeLinkActivated = 0,
} API_AVAILABLE(macos(10.10));

API_AVAILABLE(macos(10.10))
@interface WKFrameInfo : NSObject <NSCopying>
@property(nonatomic, readonly, getter=isMainFrame) BOOL mainFrame;
@end

API_AVAILABLE(macos(10.10))
@interface WKNavigationAction : NSObject
@property(nullable, nonatomic, readonly, copy) WKFrameInfo* targetFrame;
@property(nonatomic, readonly) NSInteger buttonNumber API_AVAILABLE(macos(10.12));
@property(nonatomic, readonly) BOOL shouldPerformDownload API_AVAILABLE(macos(11.3));
@property(nonatomic, readonly) WKNavigationType navigationType;
@property(nonatomic, readonly, copy) NSURLRequest* request;
@end

typedef NS_ENUM(NSInteger, WKNavigationActionPolicy){
    WKNavigationActionPolicyCancel = 0,
    WKNavigationActionPolicyAllow = 1,
    WKNavigationActionPolicyDownload API_AVAILABLE(macos(11.3)) = 2,
} API_AVAILABLE(macos(10.10));

API_AVAILABLE(macos(10.10))
@interface WKNavigationResponse : NSObject
@property(nonatomic, readonly, getter=isForMainFrame) BOOL forMainFrame;
@property(nonatomic, readonly, copy) NSURLResponse* response;
@property(nonatomic, readonly) BOOL canShowMIMEType;
@end

typedef NS_ENUM(NSInteger, WKNavigationResponsePolicy){
    WKNavigationResponsePolicyCancel = 0,
    WKNavigationResponsePolicyAllow = 1,
    WKNavigationResponsePolicyDownload API_AVAILABLE(macos(11.3)) = 2,
} API_AVAILABLE(macos(10.10));

@protocol WKDownloadDelegate;

API_AVAILABLE(macos(11.3))
@interface WKDownload : NSObject
@property(nullable, nonatomic, weak) id<WKDownloadDelegate> delegate;
@property(readonly) NSProgress* progress;
- (void)cancel:(nullable void (^)(NSData* _Nullable resumeData))completionHandler;
@end

API_AVAILABLE(macos(11.3))
@protocol WKDownloadDelegate <NSObject>
@required
- (void)download:(WKDownload*)download
    decideDestinationUsingResponse:(NSURLResponse*)response
                 suggestedFilename:(NSString*)suggestedFilename
                 completionHandler:(void (^)(NSURL* _Nullable destination))completionHandler;
@optional
- (void)downloadDidFinish:(WKDownload*)download;
- (void)download:(WKDownload*)download
    didFailWithError:(NSError*)error
          resumeData:(nullable NSData*)resumeData;
@end

API_AVAILABLE(macos(10.13))
@interface WKHTTPCookieStore : NSObject
- (void)setCookie:(NSHTTPCookie*)cookie
    completionHandler:(nullable void (^)(void))completionHandler;
@end

API_AVAILABLE(macos(10.11))
@interface WKWebsiteDataStore : NSObject
+ (WKWebsiteDataStore*)defaultDataStore;
@property(nonatomic, readonly) WKHTTPCookieStore* httpCookieStore API_AVAILABLE(macos(10.13));
@end

typedef NS_ENUM(NSInteger, WKUserScriptInjectionTime){
    WKUserScriptInjectionTimeAtDocumentStart = 0,
    WKUserScriptInjectionTimeAtDocumentEnd = 1,
} API_AVAILABLE(macos(10.10));

API_AVAILABLE(macos(10.10))
@interface WKUserScript : NSObject <NSCopying>
- (instancetype)initWithSource:(NSString*)source
                 injectionTime:(WKUserScriptInjectionTime)injectionTime
              forMainFrameOnly:(BOOL)forMainFrameOnly;
@end

API_AVAILABLE(macos(10.10))
@interface WKScriptMessage : NSObject
@property(nonatomic, readonly, copy) id body;
@property(nonatomic, readonly, copy) NSString* name;
@end

@protocol WKScriptMessageHandler <NSObject>
@required
- (void)userContentController:(WKUserContentController*)userContentController
      didReceiveScriptMessage:(WKScriptMessage*)message;
@end

API_AVAILABLE(macos(10.13))
@interface WKContentRuleList : NSObject
@end

API_AVAILABLE(macos(10.13))
@interface WKContentRuleListStore : NSObject
+ (instancetype)defaultStore;
- (void)compileContentRuleListForIdentifier:(NSString*)identifier
                     encodedContentRuleList:(NSString*)encodedContentRuleList
                          completionHandler:
                              (void (^)(WKContentRuleList* _Nullable contentRuleList,
                                        NSError* _Nullable error))completionHandler;
@end

API_AVAILABLE(macos(10.10))
@interface WKUserContentController : NSObject
- (void)addUserScript:(WKUserScript*)userScript;
- (void)addScriptMessageHandler:(id<WKScriptMessageHandler>)scriptMessageHandler
                           name:(NSString*)name;
- (void)removeScriptMessageHandlerForName:(NSString*)name;
- (void)addContentRuleList:(WKContentRuleList*)contentRuleList API_AVAILABLE(macos(10.13));
- (void)removeAllContentRuleLists API_AVAILABLE(macos(10.13));
@end

API_AVAILABLE(macos(10.10))
@interface WKPreferences : NSObject
@end

API_AVAILABLE(macos(10.10))
@interface WKWebViewConfiguration : NSObject <NSCopying>
@property(nonatomic, strong) WKPreferences* preferences;
@property(nonatomic, strong) WKUserContentController* userContentController;
@property(nonatomic, strong) WKWebsiteDataStore* websiteDataStore API_AVAILABLE(macos(10.11));
@end

API_AVAILABLE(macos(10.12))
@interface WKOpenPanelParameters : NSObject
@property(nonatomic, readonly) BOOL allowsMultipleSelection;
@property(nonatomic, readonly) BOOL allowsDirectories API_AVAILABLE(macos(10.13.4));
@end

@protocol WKNavigationDelegate <NSObject>
@optional
- (void)webView:(WKWebView*)webView
    decidePolicyForNavigationAction:(WKNavigationAction*)navigationAction
                    decisionHandler:(void (^)(WKNavigationActionPolicy))decisionHandler;
- (void)webView:(WKWebView*)webView
    decidePolicyForNavigationResponse:(WKNavigationResponse*)navigationResponse
                      decisionHandler:(void (^)(WKNavigationResponsePolicy))decisionHandler;
- (void)webView:(WKWebView*)webView
     navigationAction:(WKNavigationAction*)navigationAction
    didBecomeDownload:(WKDownload*)download API_AVAILABLE(macos(11.3));
- (void)webView:(WKWebView*)webView
    navigationResponse:(WKNavigationResponse*)navigationResponse
     didBecomeDownload:(WKDownload*)download API_AVAILABLE(macos(11.3));
- (void)webView:(WKWebView*)webView
    didFinishNavigation:(null_unspecified WKNavigation*)navigation;
- (void)webViewWebContentProcessDidTerminate:(WKWebView*)webView API_AVAILABLE(macos(10.11));
@end

@protocol WKUIDelegate <NSObject>
@optional
- (nullable WKWebView*)webView:(WKWebView*)webView
    createWebViewWithConfiguration:(WKWebViewConfiguration*)configuration
               forNavigationAction:(WKNavigationAction*)navigationAction
                    windowFeatures:(WKWindowFeatures*)windowFeatures;
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
@property(nonatomic, readonly, copy) WKWebViewConfiguration* configuration;
@property(nonatomic) BOOL allowsBackForwardNavigationGestures;
@property(nullable, nonatomic, copy) NSString* customUserAgent API_AVAILABLE(macos(10.11));
- (void)evaluateJavaScript:(NSString*)javaScriptString
                   inFrame:(nullable WKFrameInfo*)frame
            inContentWorld:(WKContentWorld*)contentWorld
         completionHandler:
             (void (^_Nullable)(_Nullable id result, NSError* _Nullable error))completionHandler
    API_AVAILABLE(macos(11.0));
@property(nonatomic, getter=isInspectable) BOOL inspectable API_AVAILABLE(macos(13.3));
- (nullable WKNavigation*)loadRequest:(NSURLRequest*)request;
- (nullable WKNavigation*)reload;
- (nullable WKNavigation*)loadHTMLString:(NSString*)string baseURL:(nullable NSURL*)baseURL;
@end

NS_ASSUME_NONNULL_END

#endif
