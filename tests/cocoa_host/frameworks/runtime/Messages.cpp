// How clang's code asks for a method, answered by libobjc. The receiver's first word is read here,
// in code that the address sanitizer watches, so that a message to a freed object is reported.
#include "tests/cocoa_host/frameworks/runtime/Abi.h"

#include <unwind.h>

namespace objc_host {
namespace {

struct Slot {
    Class owner;
    Class cachedFor;
    const char* types;
    int version;
    Method method;
};

Slot* slotOf(Method method) {
    thread_local Slot slot;
    slot.method = method;
    return &slot;
}

} // namespace

extern "C" {

Slot* objc_msg_lookup_sender(Id* receiver, Selector selector, Id /*sender*/) {
    if (*receiver != nullptr) {
        [[maybe_unused]] const volatile Class alive = (*receiver)->isa;
    }
    return slotOf(objc_msg_lookup(*receiver, selector));
}

Slot* objc_slot_lookup_super(Super* super, Selector selector) {
    return slotOf(objc_msg_lookup_super(super, selector));
}

_Unwind_Reason_Code __gxx_personality_v0(int, _Unwind_Action, _Unwind_Exception_Class,
                                         _Unwind_Exception*, _Unwind_Context*);

// Nothing here catches Objective-C exceptions by their class: what is left are C++'s rules.
_Unwind_Reason_Code __gnustep_objcxx_personality_v0(int version, _Unwind_Action actions,
                                                    _Unwind_Exception_Class kind,
                                                    _Unwind_Exception* exception,
                                                    _Unwind_Context* context) {
    return __gxx_personality_v0(version, actions, kind, exception, context);
}

} // extern "C"
} // namespace objc_host
