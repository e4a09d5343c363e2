// The entry points of automatic reference counting that clang's code calls, as its documentation
// has them (https://clang.llvm.org/docs/AutomaticReferenceCounting.html#runtime-support). They
// send the messages that every object understands. A returned object always goes through the pool.
#include "tests/cocoa_host/frameworks/runtime/Abi.h"

namespace objc_host {
namespace {

Id sendNamed(Id receiver, const char* name) {
    return send(receiver, sel_registerName(name));
}

} // namespace

extern "C" {

void* _Block_copy(const void* block);

Id objc_retain(Id object) {
    static const Selector retain = sel_registerName("retain");
    return send(object, retain);
}

void objc_release(Id object) {
    static const Selector release = sel_registerName("release");
    send(object, release);
}

Id objc_autorelease(Id object) {
    static const Selector autorelease = sel_registerName("autorelease");
    return send(object, autorelease);
}

Id objc_retainAutorelease(Id object) {
    return objc_autorelease(objc_retain(object));
}
Id objc_autoreleaseReturnValue(Id object) {
    return objc_autorelease(object);
}
Id objc_retainAutoreleaseReturnValue(Id object) {
    return objc_retainAutorelease(object);
}
Id objc_retainAutoreleasedReturnValue(Id object) {
    return objc_retain(object);
}
Id objc_unsafeClaimAutoreleasedReturnValue(Id object) {
    return object;
}
Id objc_retainBlock(Id block) {
    return static_cast<Id>(_Block_copy(block));
}

void objc_storeStrong(Id* place, Id object) {
    objc_retain(object);
    const Id previous = *place;
    *place = object;
    objc_release(previous);
}

void objc_setProperty_nonatomic_copy(Id self, Selector /*setter*/, Id value,
                                     std::ptrdiff_t offset) {
    Id* const place = reinterpret_cast<Id*>(reinterpret_cast<char*>(self) + offset);
    const Id previous = *place;
    *place = sendNamed(value, "copy");
    objc_release(previous);
}

void* objc_autoreleasePoolPush() {
    return sendNamed(reinterpret_cast<Id>(objc_lookUpClass("NSAutoreleasePool")), "new");
}

void objc_autoreleasePoolPop(void* pool) {
    objc_release(static_cast<Id>(pool));
}

} // extern "C"
} // namespace objc_host
