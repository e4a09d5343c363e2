#include "tests/cocoa_host/frameworks/doubles/MainLoop.h"
#include "tests/cocoa_host/frameworks/doubles/WebKitHost.h"

#include <cstdint>
#include <memory>

// The runtime's: one method has several selectors, by the types that each file gives it.
extern "C" BOOL sel_isEqual(SEL one, SEL other);

namespace cocoa_host {

int& miscalledHandlers() {
    static int count = 0;
    return count;
}

namespace {

// Shared by the copies of a block that stands for a completion handler.
class CallCount {
  public:
    ~CallCount() { miscalledHandlers() += calls_ == 1 ? 0 : 1; }
    void add() { ++calls_; }

  private:
    int calls_ = 0;
};

std::shared_ptr<CallCount> countCalls() { return std::make_shared<CallCount>(); }

// WKNavigationTypeOther: what neither a link nor a form has started.
constexpr auto otherNavigation = static_cast<WKNavigationType>(-1);

} // namespace
} // namespace cocoa_host

using cocoa_host::countCalls;
using cocoa_host::otherNavigation;

@implementation WKNavigation
@end
@implementation WKContentWorld
+ (WKContentWorld*)defaultClientWorld {
    static WKContentWorld* const only = [[WKContentWorld alloc] init];
    return only;
}
@end

@interface WKFrameInfo ()
@property (nonatomic, getter=isMainFrame) BOOL mainFrame;
@end
@implementation WKFrameInfo
- (id)copyWithZone:(struct _NSZone*)__unused zone {
    return self;
}
@end

@interface WKNavigationAction ()
@property (nonatomic, copy) WKFrameInfo* targetFrame;
@property (nonatomic) NSInteger buttonNumber;
@property (nonatomic) BOOL shouldPerformDownload;
@property (nonatomic) WKNavigationType navigationType;
@property (nonatomic, copy) NSURLRequest* request;
@end
@implementation WKNavigationAction
@end

@interface WKNavigationResponse ()
@property (nonatomic, getter=isForMainFrame) BOOL forMainFrame;
@property (nonatomic, copy) NSURLResponse* response;
@property (nonatomic) BOOL canShowMIMEType;
@end
@implementation WKNavigationResponse
@end

// A response as far as its header fields go; without any it is not HTTP's.
@interface HostResponse : NSObject
@property (nonatomic, copy) NSDictionary* fields;
@end
@implementation HostResponse
- (id)copyWithZone:(struct _NSZone*)__unused zone {
    return self;
}
- (BOOL)respondsToSelector:(SEL)selector {
    return (self.fields != nil || !sel_isEqual(selector, @selector(valueForHTTPHeaderField:))) &&
           [super respondsToSelector:selector];
}
- (NSString*)valueForHTTPHeaderField:(NSString*)field {
    if (self.fields == nil) {
        [[NSException exceptionWithName:@"NSInvalidArgumentException"
                                 reason:@"the response has no header fields"
                               userInfo:nil] raise];
    }
    return self.fields[field];
}
@end

@interface HostProgress : NSObject
@property (nonatomic) double fractionCompleted;
@property (nonatomic) std::int64_t completedUnitCount;
@end
@implementation HostProgress
@end

@implementation WKDownload {
    HostProgress* _progress;
    BOOL _cancelled;
    BOOL _answered;
    NSURL* _destination;
}
@synthesize delegate = _delegate;
- (instancetype)init {
    self = [super init];
    _progress = [[HostProgress alloc] init];
    return self;
}
- (NSProgress*)progress {
    return static_cast<NSProgress*>(static_cast<id>(_progress));
}
- (void)cancel:(void (^)(NSData*))handler {
    _cancelled = YES;
    void (^const kept)(NSData*) = handler;
    cocoa_host::postToMainQueue([kept] {
        if (kept != nil) {
            kept(nil);
        }
    });
}
- (double)hostFraction {
    return _progress.fractionCompleted;
}
- (void)setHostFraction:(double)fraction {
    _progress.fractionCompleted = fraction;
}
- (long long)hostByteCount {
    return _progress.completedUnitCount;
}
- (void)setHostByteCount:(long long)count {
    _progress.completedUnitCount = count;
}
- (BOOL)hostCancelled {
    return _cancelled;
}
- (NSURL*)hostDestination {
    return _destination;
}
- (BOOL)hostWasAnswered {
    return _answered;
}
- (void)hostAskForPlaceOf:(NSString*)suggestedName {
    const auto calls = countCalls();
    id const response = [[HostResponse alloc] init];
    [self.delegate download:self
        decideDestinationUsingResponse:response
                     suggestedFilename:suggestedName
                     completionHandler:^(NSURL* destination) {
                       calls->add();
                       self->_answered = YES;
                       self->_destination = destination;
                     }];
}
- (void)hostFinish {
    [self.delegate downloadDidFinish:self];
}
- (void)hostFail:(NSString*)why {
    NSError* const error = [NSError errorWithDomain:@"WKErrorDomain"
                                               code:1
                                           userInfo:@{NSLocalizedDescriptionKey : why}];
    [self.delegate download:self didFailWithError:error resumeData:nil];
}
@end

@interface WKOpenPanelParameters ()
@property (nonatomic) BOOL allowsMultipleSelection;
@property (nonatomic) BOOL allowsDirectories;
@end
@implementation WKOpenPanelParameters
@end

@implementation WKHTTPCookieStore {
    NSMutableArray<NSHTTPCookie*>* _cookies;
}
- (NSMutableArray<NSHTTPCookie*>*)hostCookies {
    if (_cookies == nil) {
        _cookies = [NSMutableArray array];
    }
    return _cookies;
}
- (void)setCookie:(NSHTTPCookie*)cookie completionHandler:(void (^)(void))handler {
    [self.hostCookies addObject:cookie];
    void (^const kept)(void) = handler;
    cocoa_host::postToMainQueue([kept] {
        if (kept != nil) {
            kept();
        }
    });
}
@end

@implementation WKWebsiteDataStore {
    WKHTTPCookieStore* _cookieStore;
}
+ (WKWebsiteDataStore*)defaultDataStore {
    static WKWebsiteDataStore* const only = [[WKWebsiteDataStore alloc] init];
    return only;
}
- (WKHTTPCookieStore*)httpCookieStore {
    if (_cookieStore == nil) {
        _cookieStore = [[WKHTTPCookieStore alloc] init];
    }
    return _cookieStore;
}
@end

@implementation WKUserScript {
    NSString* _source;
    WKUserScriptInjectionTime _injectionTime;
    BOOL _mainFrameOnly;
}
- (instancetype)initWithSource:(NSString*)source
                 injectionTime:(WKUserScriptInjectionTime)injectionTime
              forMainFrameOnly:(BOOL)mainFrameOnly {
    self = [super init];
    _source = [source copy];
    _injectionTime = injectionTime;
    _mainFrameOnly = mainFrameOnly;
    return self;
}
- (id)copyWithZone:(struct _NSZone*)__unused zone {
    return self;
}
- (NSString*)hostSource {
    return _source;
}
- (WKUserScriptInjectionTime)hostInjectionTime {
    return _injectionTime;
}
- (BOOL)hostMainFrameOnly {
    return _mainFrameOnly;
}
@end

@interface WKScriptMessage ()
@property (nonatomic, copy) id body;
@property (nonatomic, copy) NSString* name;
@end
@implementation WKScriptMessage
@end

@implementation WKContentRuleList
@end

@implementation WKContentRuleListStore
+ (instancetype)defaultStore {
    static WKContentRuleListStore* const only = [[WKContentRuleListStore alloc] init];
    return only;
}
- (void)compileContentRuleListForIdentifier:(NSString*)__unused identifier
                     encodedContentRuleList:(NSString*)__unused rules
                          completionHandler:(void (^)(WKContentRuleList*, NSError*))handler {
    void (^const kept)(WKContentRuleList*, NSError*) = handler;
    cocoa_host::postToMainQueue([kept] { kept([[WKContentRuleList alloc] init], nil); });
}
@end

@implementation WKUserContentController {
    NSMutableArray<WKUserScript*>* _scripts;
    NSMutableArray<WKContentRuleList*>* _ruleLists;
    NSMutableDictionary<NSString*, id<WKScriptMessageHandler>>* _handlers;
}
- (instancetype)init {
    self = [super init];
    _scripts = [NSMutableArray array];
    _ruleLists = [NSMutableArray array];
    _handlers = [NSMutableDictionary dictionary];
    return self;
}
- (NSArray<WKUserScript*>*)hostScripts {
    return _scripts;
}
- (NSUInteger)hostHandlerCount {
    return _handlers.count;
}
- (NSUInteger)hostRuleListCount {
    return _ruleLists.count;
}
- (void)addContentRuleList:(WKContentRuleList*)list {
    [_ruleLists addObject:list];
}
- (void)removeAllContentRuleLists {
    [_ruleLists removeAllObjects];
}
- (void)addUserScript:(WKUserScript*)script {
    [_scripts addObject:script];
}
// A second handler of a name is an exception in WebKit too.
- (void)addScriptMessageHandler:(id<WKScriptMessageHandler>)handler name:(NSString*)name {
    if (_handlers[name] != nil) {
        [[NSException exceptionWithName:@"NSInvalidArgumentException"
                                 reason:@"a script message handler of that name exists"
                               userInfo:nil] raise];
    }
    _handlers[name] = handler;
}
- (void)removeScriptMessageHandlerForName:(NSString*)name {
    [_handlers removeObjectForKey:name];
}
// The controller's own reference is the only one: a handler that removes itself is gone.
- (void)deliver:(WKScriptMessage*)message {
    __unsafe_unretained id<WKScriptMessageHandler> handler = nil;
    @autoreleasepool {
        handler = _handlers[message.name];
    }
    [handler userContentController:self didReceiveScriptMessage:message];
}
@end

@implementation WKWebViewConfiguration
@synthesize userContentController = _userContentController;
@synthesize websiteDataStore = _websiteDataStore;
- (instancetype)init {
    self = [super init];
    _userContentController = [[WKUserContentController alloc] init];
    return self;
}
- (id)copyWithZone:(struct _NSZone*)__unused zone {
    WKWebViewConfiguration* const made = [[WKWebViewConfiguration alloc] init];
    made.userContentController = _userContentController;
    made.websiteDataStore = _websiteDataStore;
    return made;
}
@end

static __weak WKWebView* latestView;

@implementation WKWebView {
    WKWebViewConfiguration* _configuration;
    NSMutableArray<NSURLRequest*>* _requests;
    NSMutableArray<NSString*>* _pages;
    id _title;
    NSString* _url; // of the page that came
    NSUInteger _reloads;
}
@synthesize navigationDelegate = _navigationDelegate;
@synthesize UIDelegate = _UIDelegate;
@synthesize allowsBackForwardNavigationGestures = _allowsBackForwardNavigationGestures;
@synthesize customUserAgent = _customUserAgent;
@synthesize inspectable = _inspectable;

- (instancetype)initWithFrame:(CGRect)frame configuration:(WKWebViewConfiguration*)configuration {
    self = [super initWithFrame:frame];
    _configuration = [configuration copy];
    _requests = [NSMutableArray array];
    _pages = [NSMutableArray array];
    latestView = self;
    return self;
}
+ (WKWebView*)hostLatest {
    return latestView;
}
- (WKWebViewConfiguration*)configuration {
    return [_configuration copy];
}
- (NSArray<NSURLRequest*>*)hostRequests {
    return _requests;
}
- (NSArray<NSString*>*)hostPages {
    return _pages;
}

- (void)load:(NSString*)url title:(NSString*)title {
    __weak WKWebView* const weakSelf = self;
    cocoa_host::postToMainQueue([weakSelf, url, title] {
        WKWebView* const view = weakSelf;
        if (view != nil && [view hostNavigateTo:url type:otherNavigation]) {
            view->_url = url;
            [view hostFinishWithTitle:title];
        }
    });
}
- (WKNavigation*)loadRequest:(NSURLRequest*)request {
    [_requests addObject:request];
    [self load:request.URL.absoluteString title:@"a loaded page"];
    return [[WKNavigation alloc] init];
}
- (WKNavigation*)reload {
    if (_url == nil) {
        return nil;
    }
    ++_reloads;
    [self load:_url title:@"a loaded page"];
    return [[WKNavigation alloc] init];
}
- (NSUInteger)hostReloads {
    return _reloads;
}
- (WKNavigation*)loadHTMLString:(NSString*)page baseURL:(NSURL*)__unused base {
    [_pages addObject:page];
    [self load:@"about:blank" title:@""];
    return [[WKNavigation alloc] init];
}

- (WKNavigationAction*)actionFor:(NSString*)url type:(WKNavigationType)type {
    WKNavigationAction* const action = [[WKNavigationAction alloc] init];
    action.navigationType = type;
    action.request = url == nil ? nil
                                : [NSURLRequest requestWithURL:[NSURL URLWithString:url]
                                                   cachePolicy:NSURLRequestUseProtocolCachePolicy
                                               timeoutInterval:60];
    return action;
}
- (BOOL)hostNavigateTo:(NSString*)url type:(WKNavigationType)type {
    const auto calls = countCalls();
    const auto allowed = std::make_shared<bool>(false);
    [self.navigationDelegate webView:self
        decidePolicyForNavigationAction:[self actionFor:url type:type]
                        decisionHandler:^(WKNavigationActionPolicy policy) {
                          calls->add();
                          *allowed = policy == WKNavigationActionPolicyAllow;
                        }];
    return *allowed;
}
- (WKNavigationActionPolicy)hostDecide:(const cocoa_host::Navigation&)navigation {
    WKNavigationAction* const action = [self actionFor:navigation.url type:navigation.type];
    if (navigation.frame != cocoa_host::TargetFrame::none) {
        action.targetFrame = [[WKFrameInfo alloc] init];
        action.targetFrame.mainFrame = navigation.frame == cocoa_host::TargetFrame::main;
    }
    action.buttonNumber = navigation.button;
    action.shouldPerformDownload = navigation.isDownload;
    const auto calls = countCalls();
    const auto decided = std::make_shared<WKNavigationActionPolicy>(WKNavigationActionPolicyCancel);
    [self.navigationDelegate webView:self
        decidePolicyForNavigationAction:action
                        decisionHandler:^(WKNavigationActionPolicy policy) {
                          calls->add();
                          *decided = policy;
                        }];
    return *decided;
}
- (WKNavigationResponsePolicy)hostDecideReplyOf:(NSDictionary*)fields
                                      mainFrame:(BOOL)mainFrame
                                     canBeShown:(BOOL)canBeShown {
    HostResponse* const reply = [[HostResponse alloc] init];
    reply.fields = fields;
    WKNavigationResponse* const response = [[WKNavigationResponse alloc] init];
    response.response = static_cast<NSURLResponse*>(static_cast<id>(reply));
    response.forMainFrame = mainFrame;
    response.canShowMIMEType = canBeShown;
    const auto calls = countCalls();
    const auto decided =
        std::make_shared<WKNavigationResponsePolicy>(WKNavigationResponsePolicyCancel);
    [self.navigationDelegate webView:self
        decidePolicyForNavigationResponse:response
                          decisionHandler:^(WKNavigationResponsePolicy policy) {
                            calls->add();
                            *decided = policy;
                          }];
    return *decided;
}
- (WKDownload*)hostOfferDownload {
    WKDownload* const made = [[WKDownload alloc] init];
    [self.navigationDelegate webView:self
                  navigationResponse:[[WKNavigationResponse alloc] init]
                   didBecomeDownload:made];
    return made;
}
- (void)hostFinishWithTitle:(id)title {
    _title = title;
    [self.navigationDelegate webView:self didFinishNavigation:[[WKNavigation alloc] init]];
}
- (void)evaluateJavaScript:(NSString*)script
                   inFrame:(WKFrameInfo*)__unused frame
            inContentWorld:(WKContentWorld*)__unused world
         completionHandler:(void (^)(id, NSError*))handler {
    id const result = [script isEqualToString:@"document.title"] ? _title : nil;
    void (^const kept)(id, NSError*) = handler;
    cocoa_host::postToMainQueue([kept, result] {
        NSError* const error =
            result != nil ? nil : [NSError errorWithDomain:@"WKErrorDomain" code:4 userInfo:@{}];
        kept(result, error);
    });
}
- (void)hostAskForWindow:(NSString*)url {
    id const features = [[NSObject alloc] init];
    WKWebView* const made = [self.UIDelegate webView:self
                      createWebViewWithConfiguration:self.configuration
                                 forNavigationAction:[self actionFor:url
                                                                type:WKNavigationTypeLinkActivated]
                                      windowFeatures:features];
    if (made != nil) {
        [[NSException exceptionWithName:@"NSInternalInconsistencyException"
                                 reason:@"no window was to be made"
                               userInfo:nil] raise];
    }
}
- (void)hostEndWebProcess {
    [self.navigationDelegate webViewWebContentProcessDidTerminate:self];
}
- (void)hostPostMessage:(id)body name:(NSString*)name {
    WKScriptMessage* const message = [[WKScriptMessage alloc] init];
    message.body = body;
    message.name = name;
    [_configuration.userContentController deliver:message];
}
- (void)hostAlert:(NSString*)message {
    const auto calls = countCalls();
    id const frame = [[NSObject alloc] init];
    [self.UIDelegate webView:self
        runJavaScriptAlertPanelWithMessage:message
                          initiatedByFrame:frame
                         completionHandler:^{
                           calls->add();
                         }];
}
- (void)hostConfirm:(NSString*)message answer:(void (^)(BOOL))answer {
    const auto calls = countCalls();
    id const frame = [[NSObject alloc] init];
    [self.UIDelegate webView:self
        runJavaScriptConfirmPanelWithMessage:message
                            initiatedByFrame:frame
                           completionHandler:^(BOOL agreed) {
                             calls->add();
                             answer(agreed);
                           }];
}
- (void)hostChooseFilesMultiple:(BOOL)multiple
                        folders:(BOOL)folders
                         answer:(void (^)(NSArray<NSURL*>*))answer {
    const auto calls = countCalls();
    id const frame = [[NSObject alloc] init];
    WKOpenPanelParameters* const parameters = [[WKOpenPanelParameters alloc] init];
    parameters.allowsMultipleSelection = multiple;
    parameters.allowsDirectories = folders;
    [self.UIDelegate webView:self
        runOpenPanelWithParameters:parameters
                  initiatedByFrame:frame
                 completionHandler:^(NSArray<NSURL*>* urls) {
                   calls->add();
                   answer(urls);
                 }];
}
@end
