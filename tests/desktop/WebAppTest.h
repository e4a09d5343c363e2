// The fixture of the tests that show a web application of a loopback server in a real window, with
// real clicks. The server is reached under two names: the application's origin is localhost, and
// 127.0.0.1 is some other host.
#pragma once

#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/loopback/LoopbackServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace desktop {

class WebAppTest : public ::testing::Test {
  protected:
    using Server = test_support::LoopbackServer;

    void TearDown() override;

    // A page whose whole area is one link.
    [[nodiscard]] static std::string linkPage(std::string_view title, std::string_view target,
                                              std::string_view attributes = "");
    [[nodiscard]] static std::string page(std::string_view title, std::string_view body = "");

    // A statement of a script that tells the server: "GET /report?TEXT" for the value as text.
    [[nodiscard]] static std::string report(std::string_view expression);
    [[nodiscard]] bool reports(const std::string& text);

    // The answers by path; everything else is 404.
    void serve(std::map<std::string, Server::Reply> replies);
    void launch(std::vector<std::string> arguments = {});

    [[nodiscard]] std::string appUrl(std::string_view target = "/") const;
    [[nodiscard]] std::string foreignUrl(std::string_view target = "/") const;

    [[nodiscard]] bool showsTitle(const std::string& title);
    // Clicks into the middle of the window's page.
    void click(const std::string& title, int button = 1);
    [[nodiscard]] bool says(const std::string& line, std::size_t times = 1);
    [[nodiscard]] std::vector<std::string> lines() const;
    // What was asked of the server, "METHOD TARGET" in order, icons left out.
    [[nodiscard]] std::vector<std::string> requests() const;
    [[nodiscard]] std::optional<Server::Request> request(std::string_view methodAndTarget) const;

    Server server;
    DesktopSession session;
    std::unique_ptr<Program> probe;

  private:
    int launches_ = 0;
};

} // namespace desktop
