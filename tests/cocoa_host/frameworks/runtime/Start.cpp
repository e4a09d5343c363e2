// Before main(), once the classes of this library are known; the last of its sources to be linked.
extern "C" {
void cocoaHostMakeBlockClasses();
void cocoaHostAdaptFoundation();
void cocoaHostAdaptAppKit();
void cocoaHostWatchMainLoop();
}

namespace {

[[gnu::constructor]] void start() {
    cocoaHostMakeBlockClasses();
    cocoaHostAdaptFoundation();
    cocoaHostAdaptAppKit();
    cocoaHostWatchMainLoop();
}

} // namespace
