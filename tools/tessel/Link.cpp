// tessel link: links an application to an account, from the terminal.
#include "mac/Tessel/Json/JsonText.h"
#include "mac/Tessel/Link/DeviceLink.h"
#include "platform/RunLoop.h"
#include "tools/tessel/Interrupts.h"
#include "tools/tessel/OpenStore.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

namespace tool {
namespace {

using tessel::DeviceLink;

struct LinkOptions {
    std::string origin;
    StoreOptions store;
    std::optional<std::string> name;
    bool noOpen = false;
    bool json = false;
};

std::string textOf(const tessel::Url& url) {
    return {url.buffer().data(), url.buffer().size()};
}

boost::json::object jsonOf(const DeviceLink::State& state) {
    if (const auto* const waiting = std::get_if<DeviceLink::Waiting>(&state)) {
        return {{"state", "waiting"},
                {"code", waiting->code},
                {"expiry", tessel::formatTimestamp(waiting->expiry)},
                {"verifyUrl", textOf(waiting->verifyUrl)}};
    }
    if (const auto* const failed = std::get_if<DeviceLink::Failed>(&state)) {
        return {{"state", "failed"}, {"message", failed->message}};
    }
    return {{"state", std::holds_alternative<DeviceLink::Idle>(state) ? "idle" : "starting"}};
}

void printLine(const boost::json::object& object) {
    emit("{}\n", tessel::compactJsonText(object).value_or("null"));
    static_cast<void>(flushOutput());
}

class Session {
  public:
    Session(const LinkOptions& options, Tool& tool)
        : options_(options)
        , tool_(tool)
        , platform_(platform::makeHeadlessPlatform(tool.environment)) {
        store_ = std::make_shared<const tessel::StateStore>(
            openStore(options.store, *platform_, tool.environment));
        // What the desktop cannot open the user opens by hand.
        const auto openPage = [this](const tessel::Url& page) {
            if (const auto failure =
                    options_.noOpen ? std::nullopt : platform_->openUrl(textOf(page))) {
                say(fmt::format("cannot open the page: {}", *failure));
            }
        };
        link_ = DeviceLink::create({.mainQueue = loop_,
                                    .backgroundQueues = platform_->backgroundQueues(),
                                    .clock = platform_->clock(),
                                    .host = platform_->host(),
                                    .http = platform_->httpClient(),
                                    .workspace = platform_->workspace()},
                                   store_, options.store.app, {}, openPage);
        link_->onChange = [this] { changed(); };
        link_->onLinked = [this](const tessel::Credentials& credentials) { linked(credentials); };
    }

    void run(const tessel::Url& origin) {
        // A token that cannot be kept is better not asked for.
        if (const auto& failure = store_->setUpFailure()) {
            tool_.fail(failure->description());
            return;
        }
        link_->begin(origin, options_.name);
        loop_.runUntil([this, &origin] {
            showWaiting(origin);
            return done_ || interrupts_.signal() != 0 || (options_.json && !outputHasReader());
        });
        clearLine();
        if (!done_) {
            link_->cancel();
        }
        if (!done_ && interrupts_.signal() != 0) {
            tool_.fail("cancelled");
            tool_.status = Interrupts::exitStatus(interrupts_.signal());
        }
    }

  private:
    void changed() {
        clearLine();
        if (options_.json) {
            printLine(jsonOf(link_->state()));
        } else if (const auto* const waiting = std::get_if<DeviceLink::Waiting>(&link_->state())) {
            emit("Confirm code {} at {}\n", visible(waiting->code),
                 visible(textOf(waiting->verifyUrl)));
            static_cast<void>(flushOutput());
        }
        if (const auto* const failed = std::get_if<DeviceLink::Failed>(&link_->state())) {
            tool_.fail(visible(failed->message));
            done_ = true;
        }
    }

    // The file has the time to the second only.
    [[nodiscard]] bool isOnDisk(const tessel::Credentials& credentials) const {
        const auto kept = store_->loadCredentials();
        return kept && kept->token == credentials.token &&
               kept->serverOrigin == credentials.serverOrigin &&
               kept->tokenName == credentials.tokenName;
    }

    // The token exists once only: nobody shall believe that it was kept when it was not.
    [[nodiscard]] bool isKept(const tessel::Credentials& credentials) {
        if (isOnDisk(credentials)) {
            return true;
        }
        const auto saved = store_->trySaveCredentials(credentials);
        if (saved && isOnDisk(credentials)) {
            return true;
        }
        const std::string reason =
            saved ? store_->credentialsURL().native() + " does not hold it afterwards"
                  : saved.error().description();
        const std::string message = fmt::format("linked as {}, but the token could not be kept: {}",
                                                credentials.tokenName, reason);
        if (options_.json) {
            printLine({{"state", "failed"}, {"message", message}});
        }
        tool_.fail(visible(message));
        return false;
    }

    void linked(const tessel::Credentials& credentials) {
        done_ = true;
        if (!isKept(credentials)) {
            return;
        }
        if (options_.json) {
            printLine({{"state", "linked"}, {"tokenName", credentials.tokenName}});
        } else {
            emit("Linked as {}\n", visible(credentials.tokenName));
        }
    }

    // What is waited for, on one line of a terminal that is rewritten; what reads standard error
    // otherwise is spared.
    void showWaiting(const tessel::Url& origin) {
        if (options_.json || !errorIsTerminal()) {
            return;
        }
        if (std::holds_alternative<DeviceLink::Starting>(link_->state())) {
            showLine(fmt::format("Asking {} for a code, Ctrl-C cancels", visible(textOf(origin))));
        } else if (const auto* const waiting = std::get_if<DeviceLink::Waiting>(&link_->state())) {
            const auto left = std::chrono::ceil<std::chrono::seconds>(
                waiting->expiry -
                std::chrono::floor<std::chrono::milliseconds>(platform_->clock().wallNow()));
            if (left.count() >= 0) {
                showLine(fmt::format("{} s left, Ctrl-C cancels", left.count()));
            }
        }
    }

    void showLine(const std::string& line) {
        if (line != shown_) {
            clearLine();
            sayText("\r" + line);
            shown_ = line;
        }
    }

    void clearLine() {
        if (!shown_.empty()) {
            sayText(fmt::format("\r{:{}}\r", "", shown_.size()));
            shown_.clear();
        }
    }

    const LinkOptions& options_;
    Tool& tool_;
    Interrupts interrupts_;
    platform::RunLoop loop_;
    std::unique_ptr<platform::HeadlessPlatform> platform_;
    std::shared_ptr<const tessel::StateStore> store_;
    std::shared_ptr<DeviceLink> link_;
    std::string shown_;
    bool done_ = false;
};

} // namespace

void addLink(CLI::App& app, Tool& tool) {
    const auto options = std::make_shared<LinkOptions>();
    CLI::App* const link = app.add_subcommand(
        "link", "Link to an account: show a code, wait until it is approved; exit 0 when linked");
    link->add_option("--origin", options->origin, "The account service")
        ->required()
        ->type_name("URL");
    addStoreOptions(*link, options->store);
    link->add_option("--name", options->name, "What the account calls this device")
        ->type_name("DEVICE");
    link->add_flag("--no-open", options->noOpen, "Do not open the approval page");
    link->add_flag("--json", options->json, "Print one JSON object a line for each change");
    link->footer(examples({"tessel link --origin https://account.example --app Zorvane",
                           "tessel link --origin http://127.0.0.1:8080 --app Zorvane --no-open"}));
    link->callback([options, &tool] {
        const auto origin = tessel::parseUrl(options->origin);
        if (!origin || !tessel::urlHost(*origin)) {
            tool.refuse(
                fmt::format("--origin: {} is no URL with a host", visible(options->origin)));
            return;
        }
        Session(*options, tool).run(*origin);
    });
}

} // namespace tool
