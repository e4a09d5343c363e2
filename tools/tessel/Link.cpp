// tessel link: links an application to an account, from the terminal.
#include "mac/Tessel/DeviceLink.h"
#include "mac/Tessel/JsonText.h"
#include "tools/tessel/OpenStore.h"
#include "tools/tessel/TerminalLoop.h"
#include "tools/tessel/Tool.h"

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

namespace tool {
namespace {

using tessel::DeviceLink;

struct Options {
    std::string origin;
    std::string app;
    std::optional<std::string> name;
    bool noOpen = false;
    bool json = false;
};

std::string textOf(const tessel::Url& url) {
    return {url.buffer().data(), url.buffer().size()};
}

// The desktop's default handler; what it cannot open the user opens by hand.
class Browser final : public platform::Workspace {
  public:
    explicit Browser(platform::HeadlessPlatform& platform)
        : platform_(platform) {}
    void openUrl(const std::string& url) override {
        if (const auto failure = platform_.openUrl(url)) {
            fmt::print(stderr, "tessel: cannot open the page: {}\n", *failure);
        }
    }
    void openNewInstance(const std::filesystem::path& /*bundle*/,
                         std::function<void(platform::OpenResult)> completion) override {
        completion({.launched = false, .error = "not from a terminal"});
    }

  private:
    platform::HeadlessPlatform& platform_;
};

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
    fmt::print("{}\n", tessel::compactJsonText(object).value_or("null"));
    std::fflush(stdout);
}

class Session {
  public:
    Session(const Options& options, Tool& tool)
        : options_(options)
        , tool_(tool)
        , platform_(platform::makeHeadlessPlatform(tool.environment))
        , browser_(*platform_) {
        auto store = std::make_shared<const tessel::StateStore>(
            openStore({.app = options.app, .overrideKey = {}}, *platform_, tool.environment));
        DeviceLink::OpenURL openPage;
        if (options.noOpen) {
            openPage = [](const tessel::Url&) {};
        }
        link_ = DeviceLink::create({.mainQueue = loop_,
                                    .backgroundQueues = platform_->backgroundQueues(),
                                    .clock = platform_->clock(),
                                    .host = platform_->host(),
                                    .http = platform_->httpClient(),
                                    .workspace = browser_},
                                   std::move(store), options.app, {}, std::move(openPage));
        link_->onChange = [this] { changed(); };
        link_->onLinked = [this](const tessel::Credentials& credentials) { linked(credentials); };
    }

    void run(const tessel::Url& origin) {
        link_->begin(origin, options_.name);
        const bool ended = loop_.runUntil([this] { return done_; }, [this] { countDown(); });
        clearCountDown();
        if (!ended) {
            link_->cancel();
            tool_.fail("cancelled");
        }
    }

  private:
    void changed() {
        clearCountDown();
        if (options_.json) {
            printLine(jsonOf(link_->state()));
        } else if (const auto* const waiting = std::get_if<DeviceLink::Waiting>(&link_->state())) {
            fmt::print("Confirm code {} at {}\n", waiting->code, textOf(waiting->verifyUrl));
            std::fflush(stdout);
        }
        if (const auto* const failed = std::get_if<DeviceLink::Failed>(&link_->state())) {
            tool_.fail(failed->message);
            done_ = true;
        }
    }

    void linked(const tessel::Credentials& credentials) {
        if (options_.json) {
            printLine({{"state", "linked"}, {"tokenName", credentials.tokenName}});
        } else {
            fmt::print("Linked as {}\n", credentials.tokenName);
        }
        done_ = true;
    }

    // On one line of a terminal that is rewritten; what reads standard error otherwise is spared.
    void countDown() {
        const auto* const waiting = std::get_if<DeviceLink::Waiting>(&link_->state());
        if (waiting == nullptr || options_.json || ::isatty(STDERR_FILENO) == 0) {
            return;
        }
        const auto left = std::chrono::ceil<std::chrono::seconds>(
            waiting->expiry -
            std::chrono::floor<std::chrono::milliseconds>(platform_->clock().wallNow()));
        if (left.count() >= 0 && left != shown_) {
            shown_ = left;
            fmt::print(stderr, "\r{} s left, Ctrl-C cancels  ", left.count());
        }
    }

    void clearCountDown() {
        if (shown_) {
            fmt::print(stderr, "\r{:40}\r", "");
            shown_.reset();
        }
    }

    const Options& options_;
    Tool& tool_;
    TerminalLoop loop_;
    std::unique_ptr<platform::HeadlessPlatform> platform_;
    Browser browser_;
    std::shared_ptr<DeviceLink> link_;
    std::optional<std::chrono::seconds> shown_;
    bool done_ = false;
};

} // namespace

void addLink(CLI::App& app, Tool& tool) {
    const auto options = std::make_shared<Options>();
    CLI::App* const link = app.add_subcommand(
        "link", "Link to an account: show a code, wait until it is approved; exit 0 when linked");
    link->add_option("--origin", options->origin, "The account service")
        ->required()
        ->type_name("URL");
    link->add_option("--app", options->app, "The application's name")
        ->required()
        ->type_name("NAME");
    link->add_option("--name", options->name, "What the account calls this device")
        ->type_name("DEVICE");
    link->add_flag("--no-open", options->noOpen, "Do not open the approval page");
    link->add_flag("--json", options->json, "Print one JSON object a line for each change");
    link->footer(examples({"tessel link --origin https://account.example --app Zorvane",
                           "tessel link --origin http://127.0.0.1:8080 --app Zorvane --no-open"}));
    link->callback([options, &tool] {
        const auto origin = tessel::parseUrl(options->origin);
        if (!origin || !tessel::urlHost(*origin)) {
            tool.fail(fmt::format("--origin: {} is no URL with a host", options->origin));
            tool.status = 2;
            return;
        }
        Session(*options, tool).run(*origin);
    });
}

} // namespace tool
