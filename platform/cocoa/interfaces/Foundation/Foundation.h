// What Zorvane uses of Foundation.
#ifndef ZORVANE_INTERFACE_FOUNDATION
#define ZORVANE_INTERFACE_FOUNDATION

#include <MacTypes.h>
#include <dispatch/dispatch.h>
#import <CoreFoundation/CoreFoundation.h>
#import <objc/NSObject.h>
#import <objc/objc.h>
#include <os/availability.h>

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")

#define NS_ENUM(_type, _name)                                                                      \
    enum __attribute__((enum_extensibility(open))) _name : _type _name;                            \
    enum _name : _type
// In C++ a set of options is its integer type, so that its values can be combined.
#define NS_OPTIONS(_type, _name)                                                                   \
    _type _name;                                                                                   \
    enum __attribute__((flag_enum, enum_extensibility(open))) : _name

#define FOUNDATION_EXPORT extern "C"
#define NS_INLINE static inline __attribute__((always_inline))
#define NS_NOESCAPE __attribute__((noescape))
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))

NS_ASSUME_NONNULL_BEGIN

@class NSArray<ObjectType>, NSDictionary<KeyType, ObjectType>, NSError, NSNotification,
    NSOperationQueue, NSString, NSURL;

typedef double NSTimeInterval;

typedef CGRect NSRect;

NS_INLINE NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h) {
    NSRect rectangle;
    rectangle.origin.x = x;
    rectangle.origin.y = y;
    rectangle.size.width = w;
    rectangle.size.height = h;
    return rectangle;
}

FOUNDATION_EXPORT Class _Nullable NSClassFromString(NSString* aClassName);

typedef CGSize NSSize;

NS_INLINE NSSize NSMakeSize(CGFloat w, CGFloat h) {
    NSSize size;
    size.width = w;
    size.height = h;
    return size;
}

@protocol NSCopying
- (id)copyWithZone:(nullable struct _NSZone*)zone;
@end

typedef NSUInteger NSStringEncoding;
enum : NSStringEncoding {
    NSUTF8StringEncoding = 4,
    NSISOLatin1StringEncoding = 5,
};

@interface NSString : NSObject <NSCopying>
@property(nullable, readonly) const char* UTF8String NS_RETURNS_INNER_POINTER;
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)len
                              encoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)aString;
- (NSUInteger)lengthOfBytesUsingEncoding:(NSStringEncoding)enc;
@property(readonly) NSUInteger length;
@property(readonly, copy) NSString* lowercaseString;
@property(readonly, copy) NSString* lastPathComponent;
- (BOOL)hasPrefix:(NSString*)str;
- (NSString*)stringByAppendingString:(NSString*)aString;
@end

@interface NSObject (NSKeyValueCoding)
- (void)setValue:(nullable id)value forKey:(NSString*)key;
@end

@interface NSValue : NSObject <NSCopying>
@end

@interface NSNumber : NSValue
+ (NSNumber*)numberWithBool:(BOOL)value;
@property(readonly) double doubleValue;
@property(readonly) BOOL boolValue;
@end

@interface NSDate : NSObject <NSCopying>
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)secs;
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSCopying>
@property(readonly) NSUInteger count;
@property(nullable, readonly, copy) ObjectType lastObject;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)idx API_AVAILABLE(macos(10.8));
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject <NSCopying>
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key API_AVAILABLE(macos(10.8));
- (void)enumerateKeysAndObjectsUsingBlock:(void(NS_NOESCAPE ^)(KeyType key, ObjectType obj,
                                                               BOOL* stop))block
    API_AVAILABLE(macos(10.6));
+ (nullable NSDictionary<NSString*, ObjectType>*)
    dictionaryWithContentsOfURL:(NSURL*)url
                          error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.13));
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
+ (instancetype)dictionary;
- (void)setObject:(nullable ObjectType)obj
    forKeyedSubscript:(KeyType<NSCopying>)key API_AVAILABLE(macos(10.8));
@end

@interface NSError : NSObject <NSCopying>
@property(readonly, copy) NSString* localizedDescription;
@end

@interface NSURL : NSObject <NSCopying>
+ (nullable instancetype)URLWithString:(NSString*)URLString;
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDir
                                relativeToURL:(nullable NSURL*)baseURL API_AVAILABLE(macos(10.9));
@property(nullable, readonly, copy) NSString* absoluteString;
@property(readonly) const char* fileSystemRepresentation NS_RETURNS_INNER_POINTER
    API_AVAILABLE(macos(10.9));
@property(nullable, readonly, copy) NSString* pathExtension API_AVAILABLE(macos(10.6));
@property(nullable, readonly, copy) NSString* path;
@property(nullable, readonly, copy) NSString* lastPathComponent API_AVAILABLE(macos(10.6));
- (nullable NSURL*)URLByAppendingPathComponent:(NSString*)pathComponent
    API_AVAILABLE(macos(10.6));
- (nullable NSURL*)URLByAppendingPathComponent:(NSString*)pathComponent
                                   isDirectory:(BOOL)isDirectory API_AVAILABLE(macos(10.7));
@end

typedef NS_ENUM(NSUInteger, NSURLRequestCachePolicy){
    NSURLRequestUseProtocolCachePolicy = 0,
};

@interface NSURLRequest : NSObject <NSCopying>
+ (instancetype)requestWithURL:(NSURL*)URL
                   cachePolicy:(NSURLRequestCachePolicy)cachePolicy
               timeoutInterval:(NSTimeInterval)timeoutInterval;
@property(nullable, readonly, copy) NSURL* URL;
@end

@interface NSURLResponse : NSObject <NSCopying>
@end

@interface NSHTTPURLResponse : NSURLResponse
- (nullable NSString*)valueForHTTPHeaderField:(NSString*)field API_AVAILABLE(macos(10.15));
@end

typedef NSString* NSHTTPCookiePropertyKey __attribute__((swift_newtype(struct)));
FOUNDATION_EXPORT NSHTTPCookiePropertyKey const NSHTTPCookieName API_AVAILABLE(macos(10.2));
FOUNDATION_EXPORT NSHTTPCookiePropertyKey const NSHTTPCookieValue API_AVAILABLE(macos(10.2));
FOUNDATION_EXPORT NSHTTPCookiePropertyKey const NSHTTPCookieDomain API_AVAILABLE(macos(10.2));
FOUNDATION_EXPORT NSHTTPCookiePropertyKey const NSHTTPCookiePath API_AVAILABLE(macos(10.2));
FOUNDATION_EXPORT NSHTTPCookiePropertyKey const NSHTTPCookieExpires API_AVAILABLE(macos(10.2));
FOUNDATION_EXPORT NSHTTPCookiePropertyKey const NSHTTPCookieSecure API_AVAILABLE(macos(10.2));

API_AVAILABLE(macos(10.2))
@interface NSHTTPCookie : NSObject
+ (nullable NSHTTPCookie*)cookieWithProperties:
    (NSDictionary<NSHTTPCookiePropertyKey, id>*)properties;
@end

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
+ (nullable instancetype)bundleWithURL:(NSURL*)url API_AVAILABLE(macos(10.6));
- (BOOL)loadAndReturnError:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.5));
@property(nullable, readonly, copy) NSURL* privateFrameworksURL API_AVAILABLE(macos(10.6));
@property(readonly, copy) NSURL* bundleURL API_AVAILABLE(macos(10.6));
@property(nullable, readonly, copy) NSURL* resourceURL API_AVAILABLE(macos(10.6));
@property(nullable, readonly, copy) NSURL* executableURL API_AVAILABLE(macos(10.6));
- (nullable NSURL*)URLForResource:(nullable NSString*)name
                    withExtension:(nullable NSString*)ext API_AVAILABLE(macos(10.6));
- (nullable NSURL*)URLForAuxiliaryExecutable:(NSString*)executableName
    API_AVAILABLE(macos(10.6));
@property(nullable, readonly, copy) NSDictionary<NSString*, id>* infoDictionary;
@end

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (void)removeObjectForKey:(NSString*)defaultName;
- (NSInteger)integerForKey:(NSString*)defaultName;
- (BOOL)boolForKey:(NSString*)defaultName;
- (void)setInteger:(NSInteger)value forKey:(NSString*)defaultName;
- (void)setBool:(BOOL)value forKey:(NSString*)defaultName;
@end

typedef NS_ENUM(NSUInteger, NSSearchPathDirectory){
    NSApplicationSupportDirectory = 14,
    NSDownloadsDirectory API_AVAILABLE(macos(10.5)) = 15,
    NSItemReplacementDirectory API_AVAILABLE(macos(10.6)) = 99,
};
typedef NS_OPTIONS(NSUInteger, NSFileManagerItemReplacementOptions){
    NSFileManagerItemReplacementUsingNewMetadataOnly API_AVAILABLE(macos(10.6)) = 1UL << 0,
};
typedef NS_OPTIONS(NSUInteger, NSSearchPathDomainMask){
    NSUserDomainMask = 1,
};

FOUNDATION_EXPORT NSString* NSHomeDirectory(void);

@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager* defaultManager;
@property(readonly, copy) NSURL* homeDirectoryForCurrentUser API_AVAILABLE(macos(10.12));
- (nullable NSURL*)homeDirectoryForUser:(NSString*)userName API_AVAILABLE(macos(10.12));
- (nullable NSURL*)URLForDirectory:(NSSearchPathDirectory)directory
                          inDomain:(NSSearchPathDomainMask)domain
                 appropriateForURL:(nullable NSURL*)url
                            create:(BOOL)shouldCreate
                             error:(NSError* _Nullable* _Nullable)error
    API_AVAILABLE(macos(10.6));
- (BOOL)fileExistsAtPath:(NSString*)path;
- (BOOL)moveItemAtURL:(NSURL*)srcURL
                toURL:(NSURL*)dstURL
                error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.6));
- (BOOL)removeItemAtURL:(NSURL*)URL
                  error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.6));
- (BOOL)replaceItemAtURL:(NSURL*)originalItemURL
           withItemAtURL:(NSURL*)newItemURL
          backupItemName:(nullable NSString*)backupItemName
                 options:(NSFileManagerItemReplacementOptions)options
        resultingItemURL:(NSURL* _Nullable* _Nullable)resultingURL
                   error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.6));
@end

API_AVAILABLE(macos(10.9))
@interface NSProgress : NSObject
@property int64_t completedUnitCount;
@property(readonly) double fractionCompleted;
@end

@interface NSTimer : NSObject
+ (NSTimer*)scheduledTimerWithTimeInterval:(NSTimeInterval)interval
                                   repeats:(BOOL)repeats
                                     block:(void (^)(NSTimer* timer))block
    API_AVAILABLE(macos(10.12));
- (void)invalidate;
@end

@interface NSHost : NSObject
+ (instancetype)currentHost;
@property(nullable, readonly, copy) NSString* localizedName API_AVAILABLE(macos(10.6));
@end

typedef NSString* NSNotificationName __attribute__((swift_newtype(struct)));

@interface NSNotification : NSObject <NSCopying>
@end

@interface NSNotificationCenter : NSObject
@property(class, readonly, strong) NSNotificationCenter* defaultCenter;
- (void)postNotificationName:(NSNotificationName)aName object:(nullable id)anObject;
- (void)removeObserver:(id)observer;
- (id<NSObject>)addObserverForName:(nullable NSNotificationName)name
                            object:(nullable id)obj
                             queue:(nullable NSOperationQueue*)queue
                        usingBlock:(void (^)(NSNotification* notification))block
    API_AVAILABLE(macos(10.6));
@end

@interface NSOperationQueue : NSObject
@property(class, readonly, strong) NSOperationQueue* mainQueue API_AVAILABLE(macos(10.6));
@end

typedef NS_OPTIONS(uint64_t, NSActivityOptions){
    NSActivityIdleSystemSleepDisabled = (1ULL << 20),
    NSActivityUserInitiated = (0x00FFFFFFULL | NSActivityIdleSystemSleepDisabled),
    NSActivityUserInitiatedAllowingIdleSystemSleep =
        (NSActivityUserInitiated & ~NSActivityIdleSystemSleepDisabled),
} API_AVAILABLE(macos(10.9));

@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo* processInfo;
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options
                                  reason:(NSString*)reason API_AVAILABLE(macos(10.9));
- (void)endActivity:(id<NSObject>)activity API_AVAILABLE(macos(10.9));
@end

typedef FourCharCode AEEventClass;
typedef FourCharCode AEEventID;
typedef FourCharCode AEKeyword;

@interface NSAppleEventDescriptor : NSObject <NSCopying>
@property(readonly) OSType typeCodeValue;
@property(readonly) OSType enumCodeValue;
@property(readonly) AEEventClass eventClass;
@property(readonly) AEEventID eventID;
- (nullable NSAppleEventDescriptor*)attributeDescriptorForKeyword:(AEKeyword)keyword;
@end

@interface NSAppleEventManager : NSObject
+ (NSAppleEventManager*)sharedAppleEventManager;
@property(nullable, readonly, retain) NSAppleEventDescriptor* currentAppleEvent;
@end

NS_ASSUME_NONNULL_END

#endif
