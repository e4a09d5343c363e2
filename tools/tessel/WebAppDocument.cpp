#include "tools/tessel/WebAppDocument.h"

#include "mac/Tessel/Json/StrictJson.h"
#include "tools/tessel/FileContent.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace tool {
namespace {

using tessel::StrictJson;
using tessel::WebAppConfig;

enum class Content { text, identifier };

struct TextField {
    std::string_view key;
    std::string WebAppConfig::* field;
    Content content = Content::text;
};

constexpr std::array textFields{
    TextField{"startPath", &WebAppConfig::startPath},
    TextField{"deviceName", &WebAppConfig::deviceName},
    TextField{"windowTitle", &WebAppConfig::windowTitle},
    TextField{"mintPath", &WebAppConfig::mintPath},
    TextField{"clientFlagGlobal", &WebAppConfig::clientFlagGlobal, Content::identifier},
    TextField{"deviceGlobal", &WebAppConfig::deviceGlobal, Content::identifier},
    TextField{"needsTokenGlobal", &WebAppConfig::needsTokenGlobal, Content::identifier},
    TextField{"bridgeName", &WebAppConfig::bridgeName, Content::identifier},
    TextField{"appCookieName", &WebAppConfig::appCookieName},
    TextField{"appHeaderName", &WebAppConfig::appHeaderName},
    TextField{"userAgent", &WebAppConfig::userAgent}};

class WrongDocument : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

bool isField(std::string_view key) {
    return key == "origin" || key == "needsToken" || key == "authHosts" ||
           std::ranges::find(textFields, key, &TextField::key) != textFields.end();
}

bool isIdentifier(std::string_view text) {
    const auto mayBeIn = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '$';
    };
    return !text.empty() && (text.front() < '0' || text.front() > '9') &&
           std::ranges::all_of(text, mayBeIn);
}

StrictJson::Value member(StrictJson::Value object, std::string_view key) {
    const auto value = object.find(key);
    if (!value) {
        throw WrongDocument(fmt::format("\"{}\" is missing", key));
    }
    return *value;
}

std::string text(StrictJson::Value object, std::string_view key) {
    const auto value = member(object, key).string();
    if (!value) {
        throw WrongDocument(fmt::format("\"{}\" is no string", key));
    }
    return std::string(*value);
}

tessel::Url origin(StrictJson::Value object) {
    const auto url = tessel::parseUrl(text(object, "origin"));
    if (!url || !tessel::urlScheme(*url)) {
        throw WrongDocument("\"origin\" is no absolute URL");
    }
    return *url;
}

std::set<std::string> hosts(StrictJson::Value object) {
    const StrictJson::Value value = member(object, "authHosts");
    std::set<std::string> names;
    for (const StrictJson::Value element : value.elements()) {
        if (const auto name = element.string()) {
            names.emplace(*name);
        } else {
            throw WrongDocument("\"authHosts\" holds something that is no string");
        }
    }
    if (!value.isArray()) {
        throw WrongDocument("\"authHosts\" is no array");
    }
    return names;
}

WebAppConfig configOf(StrictJson::Value object) {
    if (!object.isObject()) {
        throw WrongDocument("it is no JSON object");
    }
    for (const auto entry : object.members()) {
        if (!isField(entry.key)) {
            throw WrongDocument(fmt::format("there is no field \"{}\"", entry.key));
        }
    }
    WebAppConfig config;
    config.origin = origin(object);
    const auto needsToken = member(object, "needsToken").boolean();
    if (!needsToken) {
        throw WrongDocument("\"needsToken\" is neither true nor false");
    }
    config.needsToken = *needsToken;
    config.authHosts = hosts(object);
    for (const TextField& field : textFields) {
        config.*field.field = text(object, field.key);
        if (field.content == Content::identifier && !isIdentifier(config.*field.field)) {
            throw WrongDocument(fmt::format("\"{}\" is no JavaScript identifier", field.key));
        }
    }
    return config;
}

} // namespace

std::expected<WebAppConfig, std::string> readWebApp(std::string_view document) {
    const auto tree = StrictJson::parse(document);
    if (!tree) {
        return std::unexpected("it is not valid JSON");
    }
    try {
        return configOf(tree->root());
    } catch (const WrongDocument& error) {
        return std::unexpected(error.what());
    }
}

std::expected<WebAppConfig, std::string> readWebAppFile(const std::string& file) {
    const auto document = contentOf(file);
    if (!document) {
        return std::unexpected(document.error());
    }
    auto config = readWebApp(*document);
    if (!config) {
        return std::unexpected(fmt::format("{}: {}", file, config.error()));
    }
    return config;
}

} // namespace tool
