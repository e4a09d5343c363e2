// Weak references: every place that refers weakly to an object is written down, and set to nil by
// the object's dealloc, before its memory goes.
#include "tests/cocoa_host/frameworks/runtime/Abi.h"

#include <mutex>
#include <unordered_map>
#include <unordered_set>

namespace objc_host {
namespace {

class WeakReferences {
  public:
    void set(Id* place, Id object) {
        *place = object;
        if (object != nullptr) {
            watchDeallocations();
            places_[object].insert(place);
        }
    }
    void forget(Id* place) {
        const auto found = places_.find(*place);
        if (found != places_.end()) {
            found->second.erase(place);
        }
        *place = nullptr;
    }
    void clear(Id object) {
        const auto found = places_.find(object);
        if (found == places_.end()) {
            return;
        }
        for (Id* const place : found->second) {
            *place = nullptr;
        }
        places_.erase(found);
    }

    std::recursive_mutex mutex;
    Method originalDealloc = nullptr;

  private:
    void watchDeallocations();

    std::unordered_map<Id, std::unordered_set<Id*>> places_;
};

// Never destroyed: objects are freed until the very end.
WeakReferences& references() {
    static auto* const all = new WeakReferences;
    return *all;
}

Id clearingDealloc(Id self, Selector selector, ...) {
    {
        const std::lock_guard lock(references().mutex);
        references().clear(self);
    }
    return references().originalDealloc(self, selector);
}

void WeakReferences::watchDeallocations() {
    if (originalDealloc == nullptr) {
        MethodData* const dealloc =
            class_getInstanceMethod(objc_lookUpClass("NSObject"), sel_registerName("dealloc"));
        originalDealloc = method_setImplementation(dealloc, clearingDealloc);
    }
}

} // namespace

extern "C" {

Id objc_retain(Id object);
Id objc_autorelease(Id object);

Id objc_storeWeak(Id* place, Id object) {
    const std::lock_guard lock(references().mutex);
    references().forget(place);
    references().set(place, object);
    return object;
}

Id objc_initWeak(Id* place, Id object) {
    *place = nullptr;
    return objc_storeWeak(place, object);
}

void objc_destroyWeak(Id* place) {
    objc_storeWeak(place, nullptr);
}

Id objc_loadWeakRetained(Id* place) {
    const std::lock_guard lock(references().mutex);
    return objc_retain(*place);
}

Id objc_loadWeak(Id* place) {
    return objc_autorelease(objc_loadWeakRetained(place));
}

void objc_copyWeak(Id* to, Id* from) {
    const std::lock_guard lock(references().mutex);
    objc_initWeak(to, *from);
}

void objc_moveWeak(Id* to, Id* from) {
    const std::lock_guard lock(references().mutex);
    objc_initWeak(to, *from);
    objc_destroyWeak(from);
}

} // extern "C"
} // namespace objc_host
