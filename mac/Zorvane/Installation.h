// The launch steps that put the application where it belongs: the offer to move to an Applications
// folder, and the registration at login, which an application that is not installed never gets.
// Main thread; the facilities outlive what is made.
#pragma once

#include "mac/Tessel/Application/SelfInstall.h"
#include "mac/Zorvane/LaunchSteps.h"
#include "platform/ApplicationFolders.h"
#include "platform/Bundle.h"
#include "platform/Log.h"
#include "platform/LoginService.h"
#include "platform/UserDefaults.h"

namespace zorvane {

[[nodiscard]] decltype(LaunchSteps::moveToApplicationsIfNeeded)
moveToApplicationsStep(const tessel::SelfInstall::Facilities& facilities);

struct LoginFacilities {
    platform::LoginService& service;
    platform::UserDefaults& defaults;
    const platform::Bundle& bundle;
    const platform::ApplicationFolders& folders;
    platform::Log& log;
};

[[nodiscard]] decltype(LaunchSteps::enrollAtLoginOnceByDefault)
enrollAtLoginStep(const LoginFacilities& facilities);

} // namespace zorvane
