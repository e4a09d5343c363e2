// Passes script messages on to a window that it does not keep alive, so that a web view that keeps
// its handlers does not keep the window either. A message that comes after the window is gone is
// dropped. Main thread only.
#pragma once

#include <boost/json/fwd.hpp>

#include <memory>
#include <string>

namespace tessel {

class WebAppWindow;

class WeakScriptHandler {
  public:
    WeakScriptHandler() = delete;
    explicit WeakScriptHandler(std::weak_ptr<WebAppWindow> target);

    void operator()(const std::string& name, const boost::json::value& body) const;

  private:
    std::weak_ptr<WebAppWindow> target_;
};

} // namespace tessel
