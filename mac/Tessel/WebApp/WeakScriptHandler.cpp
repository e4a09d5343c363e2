#include "mac/Tessel/WebApp/WeakScriptHandler.h"

#include "mac/Tessel/WebApp/WebAppWindow.h"

#include <utility>

namespace tessel {

WeakScriptHandler::WeakScriptHandler(std::weak_ptr<WebAppWindow> target)
    : target_(std::move(target)) {}

void WeakScriptHandler::operator()(const std::string& name, const boost::json::value& body) const {
    if (const auto target = target_.lock()) {
        target->didReceiveScriptMessage(name, body);
    }
}

} // namespace tessel
