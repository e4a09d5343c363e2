// WebKit's classes, which draw nothing: they note what they are told, and this is how a test plays
// the page and the user. Delegates are weak, a configuration is copied while its content controller
// is shared, answers come on a later turn of the main queue, and a completion handler that was not
// called exactly once is counted, where WebKit raises an exception.
// https://developer.apple.com/documentation/webkit
#pragma once

#import <WebKit/WebKit.h>

namespace cocoa_host {

enum class TargetFrame { none, main, other };

// What a page asks for. WebKit's number of the mouse button counts from 1; 0 is none.
struct Navigation {
    NSString* _Nullable url = nil;
    WKNavigationType type = WKNavigationTypeLinkActivated;
    TargetFrame frame = TargetFrame::none;
    NSInteger button = 0;
    bool isDownload = false;
};

} // namespace cocoa_host

// A file on its way. Nobody is told anything but by these.
@interface WKDownload (Host)
@property (nonatomic) double hostFraction;
@property (nonatomic) long long hostByteCount;
@property (nonatomic, readonly) BOOL hostCancelled;
// Where the delegate said that it goes, and whether it said so.
@property (nonatomic, readonly, nullable) NSURL* hostDestination;
@property (nonatomic, readonly) BOOL hostWasAnswered;
- (void)hostAskForPlaceOf:(nonnull NSString*)suggestedName;
- (void)hostFinish;
- (void)hostFail:(nonnull NSString*)why;
@end

@interface WKWebView (Host)
// The newest that is still there.
@property (class, readonly, nullable) WKWebView* hostLatest;
@property (nonatomic, readonly, nonnull) NSArray<NSURLRequest*>* hostRequests;
@property (nonatomic, readonly, nonnull) NSArray<NSString*>* hostPages;
@property (nonatomic, readonly) NSUInteger hostReloads;

// Whether the delegate allowed it.
- (BOOL)hostNavigateTo:(nullable NSString*)url type:(WKNavigationType)type;
- (WKNavigationActionPolicy)hostDecide:(const cocoa_host::Navigation&)navigation;
// A reply with these header fields; without any, one that is not HTTP's.
- (WKNavigationResponsePolicy)hostDecideReplyOf:(nullable NSDictionary*)fields
                                      mainFrame:(BOOL)mainFrame
                                     canBeShown:(BOOL)canBeShown;
// The download that the delegate was handed.
- (nonnull WKDownload*)hostOfferDownload;
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
