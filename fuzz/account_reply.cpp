// The server's replies about the account link, and the address made from them.
#include "fuzz/Fuzzing.h"
#include "mac/OstraCore/AccountLink.h"
#include "platform/Utf8.h"

#include <string>

namespace {

using fuzzing::require;
using ostra::AccountLink;

// An address is handed on as text; it must still mean the same there.
void checkUrl(const std::optional<ostra::Url>& url) {
    if (url) {
        require(ostra::parseUrl(url->buffer()) == url, "an address reads as itself");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = fuzzing::textOf(data, size);
    const auto status = AccountLink::parseStatus(text);
    if (status) {
        const std::string line = status->menuLine();
        require(line.starts_with("Account: ") && platform::isValidUtf8(line), "the line is text");
        require(!status->serverName || platform::isValidUtf8(*status->serverName),
                "the server's name is text");
        checkUrl(status->verifyURL);
        checkUrl(status->origin);
    }
    const auto page = AccountLink::accountPageURL(status);
    require(page.has_value() == (status && status->origin), "an origin has a page");
    require(!page || std::string_view(page->encoded_path()).ends_with("account"),
            "the page is the account's");
    if (const auto start = AccountLink::parseStart(text)) {
        require(!start->code.empty(), "a start has a code");
        checkUrl(start->verifyURL);
    }
    return 0;
}
