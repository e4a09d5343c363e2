// What these tests use of the framework that reads the system's log back.
#ifndef ZORVANE_TEST_DECLARATIONS_OSLOG
#define ZORVANE_TEST_DECLARATIONS_OSLOG

#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

@class OSLogPosition;

@interface OSLogEntry : NSObject
@property(nonatomic, readonly, copy) NSString* composedMessage;
@end

typedef NS_ENUM(NSInteger, OSLogStoreScope){
    OSLogStoreCurrentProcessIdentifier = 1,
};

typedef NS_OPTIONS(NSUInteger, OSLogEnumeratorOptions){
    OSLogEnumeratorReverse = 0x01,
};

@interface OSLogStore : NSObject
+ (nullable instancetype)storeWithScope:(OSLogStoreScope)scope
                                  error:(NSError* _Nullable* _Nullable)error
    API_AVAILABLE(macos(12.0));
- (nullable NSEnumerator<OSLogEntry*>*)
    entriesEnumeratorWithOptions:(OSLogEnumeratorOptions)options
                        position:(nullable OSLogPosition*)position
                       predicate:(nullable NSPredicate*)predicate
                           error:(NSError* _Nullable* _Nullable)error;
@end

NS_ASSUME_NONNULL_END

#endif
