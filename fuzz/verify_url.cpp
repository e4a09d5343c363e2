// A page that an account service sent, and the guard before the user's browser: a line with the
// number of an origin, then the page. What the guard accepts, libcurl's own reading of the URL has
// to call a page of that origin.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/Link/VerifyUrl.h"

#include <curl/curl.h>

#include <array>
#include <memory>
#include <string>

namespace {

using fuzzing::require;

struct Cleanup {
    void operator()(CURLU* url) const { ::curl_url_cleanup(url); }
};

std::string partOf(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    if (::curl_url_get(url, part, &text, 0) != CURLUE_OK) {
        return {};
    }
    std::string copy = text;
    ::curl_free(text);
    return copy;
}

std::unique_ptr<CURLU, Cleanup> readByCurl(const std::string& text) {
    std::unique_ptr<CURLU, Cleanup> url(::curl_url());
    if (::curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
        CURLUE_OK) {
        url.reset();
    }
    return url;
}

constexpr std::array<const char*, 6> origins{
    "https://account.example", "https://account.example:8443",
    "http://127.0.0.1",        "http://127.0.0.1:8080",
    "http://[::1]:8080",       "http://localhost"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto input = fuzzing::textOf(data, size);
    const auto line = fuzzing::takeLine(input);
    const std::size_t index = line.empty() ? 0 : static_cast<unsigned char>(line.front());
    const std::string origin = origins.at(index % origins.size());
    const auto accepted = tessel::validatedVerifyURL(input, tessel::Url(origin));
    if (!accepted) {
        return 0;
    }
    require(std::string_view(accepted->buffer().data(), accepted->buffer().size()) == input,
            "what is opened is what was examined");
    const auto expected = readByCurl(origin);
    const auto page = readByCurl(std::string(input));
    if (!page) {
        return 0; // nobody opens what cannot be read
    }
    require(partOf(page.get(), CURLUPART_HOST) == partOf(expected.get(), CURLUPART_HOST),
            "the host is the origin's");
    require(partOf(page.get(), CURLUPART_PORT) == partOf(expected.get(), CURLUPART_PORT),
            "the port is the origin's");
    const auto scheme = partOf(page.get(), CURLUPART_SCHEME);
    require(scheme == "https" || (scheme == "http" && index % origins.size() > 1),
            "the page is safe to ask for");
    return 0;
}
