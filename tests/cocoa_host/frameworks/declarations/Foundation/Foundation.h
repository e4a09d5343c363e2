// Beside what the application uses of Foundation: what its tests and the doubles do. GNUstep has
// all of it but for what doubles/Foundation.mm adds.
#pragma once

#include_next <Foundation/Foundation.h>

@class NSData, NSRunLoop;

typedef unsigned short unichar;
typedef struct {
    NSUInteger location;
    NSUInteger length;
} NSRange;

struct NSFastEnumerationState {
    unsigned long state;
    id __unsafe_unretained* itemsPtr;
    unsigned long* mutationsPtr;
    unsigned long extra[5];
};

extern "C" {
NSString* NSUserName(void);
NSString* NSStringFromSelector(SEL selector);
SEL NSSelectorFromString(NSString* name);
}
extern NSString* const NSLocalizedDescriptionKey;

@interface NSObject (Tests)
+ (instancetype)allocWithZone:(void*)zone;
@end

@interface NSString (Tests)
@property (readonly) NSUInteger length;
+ (instancetype)stringWithCharacters:(const unichar*)characters length:(NSUInteger)length;
+ (instancetype)stringWithUTF8String:(const char*)text;
- (NSString*)stringByAppendingString:(NSString*)text;
- (NSString*)stringByAppendingPathComponent:(NSString*)name;
- (NSString*)stringByAppendingPathExtension:(NSString*)extension;
@end

@interface NSNumber (Tests)
+ (NSNumber*)numberWithBool:(BOOL)value;
+ (NSNumber*)numberWithInt:(int)value;
+ (NSNumber*)numberWithLong:(long)value;
+ (NSNumber*)numberWithUnsignedInt:(unsigned)value;
+ (NSNumber*)numberWithUnsignedLong:(unsigned long)value;
+ (NSNumber*)numberWithDouble:(double)value;
@end

@interface NSNull : NSObject
@property (class, readonly) NSNull* null;
+ (NSNull*)null;
@end

@interface NSDate (Tests)
@property (class, readonly) NSDate* date;
+ (instancetype)date;
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)seconds;
@property (readonly) NSTimeInterval timeIntervalSince1970;
@end

@interface NSArray <ObjectType>(Tests)
+ (instancetype)arrayWithObjects:(const ObjectType*)objects count:(NSUInteger)count;
- (NSUInteger)countByEnumeratingWithState:(struct NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained*)buffer
                                    count:(NSUInteger)length;
- (NSUInteger)indexOfObjectIdenticalTo:(ObjectType)object;
@property (readonly) ObjectType firstObject;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
- (void)addObject:(ObjectType)object;
- (void)removeObjectAtIndex:(NSUInteger)index;
- (void)removeObjectIdenticalTo:(ObjectType)object;
- (void)removeAllObjects;
@end

@interface NSDictionary <KeyType, ObjectType>(Tests)
+ (instancetype)dictionaryWithObjects:(const ObjectType*)objects
                              forKeys:(const id<NSCopying>*)keys
                                count:(NSUInteger)count;
+ (instancetype)dictionaryWithContentsOfFile:(NSString*)path;
@property (readonly) NSUInteger count;
@end

@interface NSMutableDictionary <KeyType, ObjectType>(Tests)
- (void)removeObjectForKey:(KeyType)key;
@end

@interface NSError (Tests)
+ (instancetype)errorWithDomain:(NSString*)domain code:(NSInteger)code userInfo:(NSDictionary*)info;
@end

@interface NSException : NSObject
@property (readonly, copy) NSString* name;
@property (readonly, copy) NSString* reason;
+ (instancetype)exceptionWithName:(NSString*)name
                           reason:(NSString*)reason
                         userInfo:(NSDictionary*)info;
- (void)raise;
@end

@interface NSUUID : NSObject
@property (class, readonly) NSUUID* UUID;
@property (readonly, copy) NSString* UUIDString;
@end

@interface NSURL (Tests)
+ (NSURL*)fileURLWithPath:(NSString*)path;
+ (NSURL*)fileURLWithPath:(NSString*)path isDirectory:(BOOL)isDirectory;
@property (readonly, copy) NSString* path;
@end

@interface NSURLRequest (Tests)
@property (readonly) NSTimeInterval timeoutInterval;
@property (readonly) NSURLRequestCachePolicy cachePolicy;
@end

@interface NSHTTPCookie (Tests)
@property (readonly, copy) NSString* name;
@property (readonly, copy) NSString* value;
@property (readonly, copy) NSString* domain;
@property (readonly, copy) NSString* path;
@property (readonly, copy) NSDate* expiresDate;
@property (getter=isSecure, readonly) BOOL secure;
@end

@interface NSBundle (Tests)
+ (instancetype)bundleWithPath:(NSString*)path;
@property (readonly, copy) NSString* bundlePath;
@end

@interface NSUserDefaults (Tests)
- (instancetype)initWithSuiteName:(NSString*)name;
- (id)objectForKey:(NSString*)key;
- (void)setObject:(id)object forKey:(NSString*)key;
- (NSDictionary*)persistentDomainForName:(NSString*)name;
- (void)setPersistentDomain:(NSDictionary*)domain forName:(NSString*)name;
- (void)removePersistentDomainForName:(NSString*)name;
- (BOOL)synchronize;
@end

enum { NSNumberFormatterDecimalStyle = 1 };
@interface NSNumberFormatter : NSObject
+ (NSString*)localizedStringFromNumber:(NSNumber*)number numberStyle:(NSUInteger)style;
@end

@interface NSPredicate : NSObject
+ (NSPredicate*)predicateWithFormat:(NSString*)format, ...;
@end

@interface NSOperation : NSObject
- (void)waitUntilFinished;
@end
@interface NSBlockOperation : NSOperation
+ (instancetype)blockOperationWithBlock:(void (^)(void))block;
@end
@interface NSOperationQueue (Tests)
- (void)addOperation:(NSOperation*)operation;
@end

@interface NSThread : NSObject
@property (class, readonly) BOOL isMainThread;
@end

@interface NSNotification (Tests)
@property (readonly, copy) NSString* name;
@end
@interface NSNotificationCenter (Tests)
- (void)addObserver:(id)observer
           selector:(SEL)selector
               name:(NSNotificationName)name
             object:(id)object;
@end

// GNUstep's own way to have a run loop look at a descriptor.
@interface NSRunLoop : NSObject
@property (class, readonly) NSRunLoop* currentRunLoop;
- (void)addEvent:(void*)data type:(int)type watcher:(id)watcher forMode:(NSString*)mode;
- (BOOL)runMode:(NSString*)mode beforeDate:(NSDate*)date;
@end
