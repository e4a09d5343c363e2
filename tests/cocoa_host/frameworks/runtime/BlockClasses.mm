// Blocks as objects: the blocks runtime leaves room for its classes, and this fills it, so that a
// block can be retained, copied and released like anything else. Compiled without automatic
// counting, which it is a part of.
#import <objc/NSObject.h>

#include <cstring>
#include <initializer_list>

extern "C" {
void* _Block_copy(const void* block);
void _Block_release(const void* block);
extern void* _NSConcreteStackBlock[32];
extern void* _NSConcreteMallocBlock[32];
extern void* _NSConcreteGlobalBlock[32];
// libobjc's table for a class that has not been sent a message yet.
extern struct sarray* __objc_uninstalled_dtable;
void cocoaHostMakeBlockClasses();
}

@interface HostBlock : NSObject
@end

@implementation HostBlock
- (instancetype)retain {
    return static_cast<id>(_Block_copy(self));
}
- (id)copyWithZone:(void*)__unused zone {
    return static_cast<id>(_Block_copy(self));
}
- (id)copy {
    return static_cast<id>(_Block_copy(self));
}
- (void)release {
    if (*reinterpret_cast<void***>(self) != _NSConcreteStackBlock) {
        _Block_release(self);
    }
}
@end

void cocoaHostMakeBlockClasses() {
    constexpr std::size_t wordsOfAClass = 13;
    constexpr std::size_t dispatchTable = 8;
    const void* const made = static_cast<const void*>([HostBlock class]);
    for (void** const place :
         {_NSConcreteStackBlock, _NSConcreteMallocBlock, _NSConcreteGlobalBlock}) {
        std::memcpy(place, made, wordsOfAClass * sizeof(void*));
        place[dispatchTable] = __objc_uninstalled_dtable;
    }
}
