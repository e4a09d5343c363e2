// Turning the main run loop from a test, which is on the main thread.
#pragma once

#include "tests/cocoa_host/frameworks/doubles/MainLoop.h"

#import <AppKit/AppKit.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>

namespace cocoa_host {

// Whether the condition held before the patience of a test that fails was over.
template <typename Condition> [[nodiscard]] bool turnUntil(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        constexpr double longestTurn = 0.05; // seconds
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, longestTurn, true);
    }
    return true;
}

// Everything that the main queue and the run loop had to do has been done.
inline void settle() {
    int rounds = 0;
    constexpr int enough = 3; // what was posted, what that posted, and once more
    std::function<void()> next = [&] {
        if (++rounds < enough) {
            postToMainQueue(next);
        }
    };
    postToMainQueue(next);
    (void)turnUntil([&] { return rounds == enough; });
}

// Does the work once a modal window is up, by way of the run loop alone.
inline void whenModal(std::function<void()> work) {
    performOnMainLoop([work = std::move(work)] {
        if (NSApplication.sharedApplication.modalWindow == nil) {
            whenModal(work);
        } else {
            work();
        }
    });
    wakeMainLoop();
}

inline std::string textOf(NSString* text) { return text == nil ? "(nil)" : text.UTF8String; }

} // namespace cocoa_host
