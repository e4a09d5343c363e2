// WebKit's classes, which draw nothing: they note what they are told, and this is how a test plays
// the page and the user. Delegates are weak, a configuration is copied while its content controller
// is shared, answers come on a later turn of the main queue, and a completion handler that was not
// called exactly once is counted, where WebKit raises an exception.
// https://developer.apple.com/documentation/webkit
#pragma once

#import <WebKit/WebKit.h>

@interface WKWebView (Host)
// The newest that is still there.
@property (class, readonly, nullable) WKWebView* hostLatest;
@property (nonatomic, readonly, nonnull) NSArray<NSURLRequest*>* hostRequests;
@property (nonatomic, readonly, nonnull) NSArray<NSString*>* hostPages;
@property (nonatomic, readonly) NSUInteger hostReloads;

// Whether the delegate allowed it.
- (BOOL)hostNavigateTo:(nullable NSString*)url type:(WKNavigationType)type;
// The script that asks for the title fails when `title` is nil.
- (void)hostFinishWithTitle:(nullable id)title;
- (void)hostAskForWindow:(nonnull NSString*)url;
- (void)hostEndWebProcess;
- (void)hostPostMessage:(nullable id)body name:(nonnull NSString*)name;
- (void)hostAlert:(nonnull NSString*)message;
- (void)hostConfirm:(nonnull NSString*)message answer:(nonnull void (^)(BOOL))answer;
- (void)hostChooseFilesMultiple:(BOOL)multiple
                        folders:(BOOL)folders
                         answer:(nonnull void (^)(NSArray<NSURL*>* _Nullable))answer;
@end

@interface WKUserContentController (Host)
@property (nonatomic, readonly, nonnull) NSArray<WKUserScript*>* hostScripts;
@property (nonatomic, readonly) NSUInteger hostHandlerCount;
@property (nonatomic, readonly) NSUInteger hostRuleListCount;
@end

@interface WKUserScript (Host)
@property (nonatomic, readonly, copy, nonnull) NSString* hostSource;
@property (nonatomic, readonly) WKUserScriptInjectionTime hostInjectionTime;
@property (nonatomic, readonly) BOOL hostMainFrameOnly;
@end

@interface WKHTTPCookieStore (Host)
@property (nonatomic, readonly, nonnull) NSMutableArray<NSHTTPCookie*>* hostCookies;
@end

namespace cocoa_host {

// Completion handlers that were destroyed without having been called exactly once.
[[nodiscard]] int& miscalledHandlers();

} // namespace cocoa_host
