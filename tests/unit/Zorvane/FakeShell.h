// The whole application on fakes: the desktop around it and the server below it. A fixture derives
// from it, sets what its test is about and calls launch().
#pragma once

#include "mac/Zorvane/AppDelegate.h"
#include "platform/testing/FakeDesktop.h"
#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/FakeStatusBar.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/unit/Zorvane/FakeSystem.h"

#include <memory>

namespace zorvane {

struct FakeShell : FakeSystem {
    platform::testing::Events events;
    platform::testing::FakeApplication application{events};
    platform::testing::FakeWebWindows windows{events};
    platform::testing::FakeNotificationCenter notifications;
    platform::testing::FakeStatusBar statusBar;
    platform::testing::FakePasteboard pasteboard;
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::FakeLoginService loginService{events};
    platform::testing::FakeNumberFormatter numbers;
    LaunchSteps steps;
    std::shared_ptr<AppDelegate> delegate;

    [[nodiscard]] AppDelegate::Facilities shellFacilities() {
        return {.application = application,
                .notifications = notifications,
                .windows = windows,
                .statusBar = statusBar,
                .menuBar = statusBar,
                .pasteboard = pasteboard,
                .workspace = workspace,
                .loginService = loginService,
                .numbers = numbers,
                .supervisor = supervisorFacilities()};
    }

    void launch() {
        delegate = AppDelegate::create(shellFacilities(), {{"HOME", "/home/ann"}}, steps);
        application.run(*delegate);
    }
    void launchQuietly() {
        launch();
        scheduler.runReady();
        events.clear();
    }
};

} // namespace zorvane
