#pragma once

#include "tests/ostrad/RawClient.h"
#include "tests/ostrad/ServerProcess.h"
#include "tests/ostrad/TempFolder.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace ostrad::test {

// The real executable on a port the system chose, with a database of its own.
class OstradTest : public testing::Test {
  protected:
    void SetUp() override { start(); }

    void start(std::vector<std::string> more = {}, const std::string& address = "127.0.0.1:0") {
        more.insert(more.end(), {"-addr", address, "-db", temp.path("data.db")});
        server = std::make_unique<ServerProcess>(
            OSTRAD_EXECUTABLE, more,
            ServerProcess::Environment{{"MEDIASERVER_ARTWORK_DIR", temp.path("art")}});
        port = server->waitForPort();
    }

    RawReply get(std::string_view target, std::string_view extraLines = {}) const {
        return exchange(port, "GET", target, extraLines);
    }

    [[nodiscard]] boost::json::value json(std::string_view target) const {
        return boost::json::parse(get(target).body);
    }

    RawReply addLibrary(const std::string& mode, const std::string& path) const {
        return postJson(
            port, "/api/libraries",
            boost::json::serialize(boost::json::object{{"modeId", mode}, {"path", path}}));
    }

    [[nodiscard]] bool scanned() const {
        return eventually([this] { return !json("/api/scan").at("scanning").as_bool(); });
    }

    [[nodiscard]] std::string firstId(const std::string& type) const {
        return std::to_string(json("/api/entities?type=" + type).at(0).at("id").as_int64());
    }

    TempFolder temp;
    std::unique_ptr<ServerProcess> server;
    std::uint16_t port = 0;
};

} // namespace ostrad::test
