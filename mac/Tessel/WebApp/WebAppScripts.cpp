#include "mac/Tessel/WebApp/WebAppScripts.h"

#include "mac/Tessel/WebApp/WebAppRules.h"

#include <cstddef>
#include <initializer_list>

namespace tessel {
namespace {

// "@0" is where the first value goes.
constexpr std::string_view bootstrapText = R"js((function () {
  var h = location.hostname, base = @0;
  if (base && h !== base && !h.endsWith("." + base)) return;
  window.@1 = true;
  window.@2 = @3;
  window.@4 = @5;
})();)js";

constexpr std::string_view mintText = R"js((function () {
  if (!window.@0 || !window.@1) return;
  try { if (sessionStorage.getItem("__app_linked")) return; } catch (e) {}
  var mh = window.webkit && window.webkit.messageHandlers
    && window.webkit.messageHandlers.@2;
  if (!mh) return;
  fetch(@3, {
    method: "POST",
    credentials: "same-origin",
    headers: {
      @4: "1",
      "x-app-device": window.@5 || "this Mac"
    }
  })
    .then(function (r) { return r.ok ? r.json() : null; })
    .then(function (d) {
      if (d && d.token) {
        try { sessionStorage.setItem("__app_linked", "1"); } catch (e) {}
        mh.postMessage({ action: "linked", token: d.token, origin: d.origin });
      }
    })
    .catch(function () {});
})();)js";

// One pass, so that a value may itself contain what looks like a place.
std::string fill(std::string_view text, std::initializer_list<std::string_view> values) {
    std::string filled;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '@') {
            filled += values.begin()[text[++index] - '0'];
        } else {
            filled += text[index];
        }
    }
    return filled;
}

} // namespace

std::string quotedForScript(std::string_view text) {
    std::string literal = "\"";
    for (const char character : text) {
        if (character == '\\' || character == '"') {
            literal += '\\';
        }
        literal += character;
    }
    return literal + '"';
}

std::string bootstrapScript(const WebAppConfig& config) {
    return fill(bootstrapText,
                {quotedForScript(hostOf(config.origin).value_or("")), config.clientFlagGlobal,
                 config.deviceGlobal, quotedForScript(config.deviceName), config.needsTokenGlobal,
                 config.needsToken ? "true" : "false"});
}

std::string mintScript(const WebAppConfig& config) {
    return fill(mintText, {config.clientFlagGlobal, config.needsTokenGlobal, config.bridgeName,
                           quotedForScript(config.mintPath), quotedForScript(config.appHeaderName),
                           config.deviceGlobal});
}

} // namespace tessel
