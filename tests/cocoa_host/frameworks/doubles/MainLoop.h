// What a turn of the main run loop does here, in every mode that AppKit counts among the common
// ones: blocks handed to CFRunLoopPerformBlock, then the tasks of the main queue. Like libdispatch,
// it never runs a task inside another: while one of them turns the run loop, the others rest.
#pragma once

#include <functional>

namespace cocoa_host {

// Any thread. performOnMainLoop() does not wake the loop, as CFRunLoopPerformBlock does not.
void performOnMainLoop(std::function<void()> work);
void postToMainQueue(std::function<void()> task);
void wakeMainLoop();

} // namespace cocoa_host
