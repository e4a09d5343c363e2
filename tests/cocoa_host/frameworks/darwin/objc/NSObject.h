// The root class and its protocol: what the sources and the doubles send to objects in general.
#pragma once

#import <objc/objc.h>

typedef long NSInteger;
typedef unsigned long NSUInteger;

#define NS_DESIGNATED_INITIALIZER __attribute__((objc_designated_initializer))

@class NSString;

@protocol NSObject
- (BOOL)isEqual:(id)object;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)respondsToSelector:(SEL)aSelector;
- (NSUInteger)hash;
- (instancetype)self;
@property (readonly, copy) NSString* description;
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject> {
    Class isa;
}
+ (instancetype)alloc;
+ (instancetype)new;
+ (Class)class;
- (instancetype)init;
- (id)copy;
- (id)mutableCopy;
- (void)dealloc;
- (id)performSelector:(SEL)selector;
@end
