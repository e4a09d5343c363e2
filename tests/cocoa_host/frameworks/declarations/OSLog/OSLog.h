// Reading the unified log; doubles/OsLog.mm keeps it.
#pragma once

#import <Foundation/Foundation.h>

enum { OSLogStoreCurrentProcessIdentifier = 1 };

@interface OSLogEntry : NSObject
@property (nonatomic, copy) NSString* composedMessage;
@end

@interface OSLogStore : NSObject
+ (OSLogStore*)storeWithScope:(NSInteger)scope error:(NSError**)error;
- (NSArray<OSLogEntry*>*)entriesEnumeratorWithOptions:(NSUInteger)options
                                             position:(id)position
                                            predicate:(NSPredicate*)predicate
                                                error:(NSError**)error;
@end
