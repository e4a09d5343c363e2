// Beside what the application uses of Foundation, what these tests do. For the build without a Mac
// only, as platform/cocoa/interfaces is.
#ifndef ZORVANE_TEST_DECLARATIONS_FOUNDATION
#define ZORVANE_TEST_DECLARATIONS_FOUNDATION

#include_next <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

typedef unsigned short unichar;

typedef struct {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

FOUNDATION_EXPORT NSString* NSUserName(void);

@interface NSString (Tests)
@property(readonly) NSUInteger length;
+ (instancetype)stringWithCharacters:(const unichar*)characters length:(NSUInteger)length;
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
- (NSString*)stringByAppendingString:(NSString*)aString;
@end

@interface NSNumber (Tests)
+ (NSNumber*)numberWithInt:(int)value;
+ (NSNumber*)numberWithDouble:(double)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
@end

@interface NSNull : NSObject <NSCopying>
+ (NSNull*)null;
@end

@interface NSDate (Tests)
+ (instancetype)date;
@end

@interface NSArray<__covariant ObjectType> (Tests)
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull* _Nullable)objects
                           count:(NSUInteger)cnt;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
- (void)addObject:(ObjectType)anObject;
- (void)removeAllObjects;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> (Tests)
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull* _Nullable)objects
                              forKeys:(const KeyType<NSCopying> _Nonnull* _Nullable)keys
                                count:(NSUInteger)cnt;
@end

@interface NSUUID : NSObject <NSCopying>
+ (instancetype)UUID;
@property(readonly, copy) NSString* UUIDString;
@end

@interface NSURL (Tests)
+ (NSURL*)fileURLWithPath:(NSString*)path isDirectory:(BOOL)isDir;
@end

@interface NSBundle (Tests)
+ (nullable instancetype)bundleWithPath:(NSString*)path;
@end

@interface NSUserDefaults (Tests)
- (nullable instancetype)initWithSuiteName:(nullable NSString*)suitename;
- (void)removePersistentDomainForName:(NSString*)domainName;
@end

typedef NS_ENUM(NSUInteger, NSNumberFormatterStyle){
    NSNumberFormatterDecimalStyle = 1,
};

@interface NSNumberFormatter : NSObject
+ (NSString*)localizedStringFromNumber:(NSNumber*)num numberStyle:(NSNumberFormatterStyle)nstyle;
@end

@interface NSPredicate : NSObject
+ (NSPredicate*)predicateWithFormat:(NSString*)predicateFormat, ...;
@end

@interface NSEnumerator<ObjectType> : NSObject
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable* _Nonnull)buffer
                                    count:(NSUInteger)len;
@end

NS_ASSUME_NONNULL_END

#endif
