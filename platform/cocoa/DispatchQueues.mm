#include "platform/cocoa/DispatchQueues.h"

#include "platform/cocoa/DispatchTask.h"

#include <utility>

namespace platform::cocoa {
namespace {

qos_class_t classOf(QualityOfService qos) {
    return qos == QualityOfService::userInitiated ? QOS_CLASS_USER_INITIATED : QOS_CLASS_UTILITY;
}

dispatch_queue_t globalQueue(QualityOfService qos) {
    return dispatch_get_global_queue(classOf(qos), 0);
}

} // namespace

DispatchQueue::DispatchQueue(dispatch_queue_t queue) : queue_(queue) {}

void DispatchQueue::post(Task task) { dispatchTask(queue_, std::move(task)); }

void DispatchQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
    dispatchTaskAfter(delay, queue_, std::move(task));
}

DispatchQueues::DispatchQueues()
    : userInitiated_(globalQueue(QualityOfService::userInitiated)),
      utility_(globalQueue(QualityOfService::utility)) {}

Queue& DispatchQueues::global(QualityOfService qos) {
    return qos == QualityOfService::userInitiated ? userInitiated_ : utility_;
}

std::unique_ptr<Queue> DispatchQueues::makeSerial(const std::string& label, QualityOfService qos) {
    const dispatch_queue_attr_t attributes =
        dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_SERIAL, classOf(qos), 0);
    return std::make_unique<DispatchQueue>(dispatch_queue_create(label.c_str(), attributes));
}

} // namespace platform::cocoa
