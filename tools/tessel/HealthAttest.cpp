// tessel health attest: whether a bundle is what the receipt inside of it says.
#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "mac/Tessel/Health/AppHealthCheck.h"
#include "mac/Tessel/Health/AppHealthEnumerations.h"
#include "mac/Tessel/Json/JsonText.h"
#include "platform/Bundle.h"
#include "platform/Headless.h"
#include "tools/tessel/FileContent.h"
#include "tools/tessel/Health.h"
#include "tools/tessel/Output.h"

#include <boost/json/object.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <utility>

namespace tool::health {
namespace {

// A bundle that is looked at from outside, in the layout of every application bundle.
class BundleAt final : public platform::Bundle {
  public:
    BundleAt(std::filesystem::path folder, platform::InfoDictionary info)
        : folder_(std::move(folder))
        , info_(std::move(info)) {}

    [[nodiscard]] std::optional<std::filesystem::path> bundlePath() const override {
        return folder_;
    }
    [[nodiscard]] std::optional<std::filesystem::path> resourcesPath() const override {
        return folder_ / "Contents/Resources";
    }
    [[nodiscard]] std::filesystem::path executablePath() const override {
        return folder_ / "Contents/MacOS" / infoString("CFBundleExecutable").value_or("");
    }
    [[nodiscard]] std::optional<std::filesystem::path>
    auxiliaryExecutable(std::string_view name) const override {
        const auto path = folder_ / "Contents/MacOS" / name;
        std::error_code error;
        return std::filesystem::exists(path, error) ? std::optional(path) : std::nullopt;
    }
    [[nodiscard]] std::optional<std::string> infoString(std::string_view key) const override {
        const auto found = info_.find(key);
        return found == info_.end() ? std::nullopt : found->second;
    }
    [[nodiscard]] platform::InfoDictionary infoDictionary() const override { return info_; }
    [[nodiscard]] std::optional<std::string> resource(std::string_view name,
                                                      std::string_view extension) const override {
        const auto file = folder_ / "Contents/Resources" / fmt::format("{}.{}", name, extension);
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error) ||
            std::filesystem::file_size(file, error) > largestResource) {
            return std::nullopt;
        }
        const auto content = contentOf(file.string());
        return content ? std::optional(*content) : std::nullopt;
    }

  private:
    std::filesystem::path folder_;
    platform::InfoDictionary info_;
};

struct AttestOptions {
    std::string bundle;
    std::string resource;
    std::string commit;
};

void printResult(const tessel::AppHealthCheck& check, tessel::AppHealthStatus status,
                 const tessel::AppHealthMetrics& metrics) {
    boost::json::object numbers;
    for (const auto& [key, value] : metrics) {
        numbers[key] = value;
    }
    boost::json::object result;
    result["id"] = check.id;
    const std::string_view category = tessel::rawValue(check.category);
    result["category"] = boost::json::string_view(category.data(), category.size());
    const std::string_view outcome = tessel::rawValue(status);
    result["status"] = boost::json::string_view(outcome.data(), outcome.size());
    result["metrics"] = std::move(numbers);
    emit("{}\n", tessel::prettyJsonText(result).value_or(""));
}

void attest(const AttestOptions& options, Tool& tool) {
    const auto system = platform::makeHeadlessPlatform(tool.environment);
    const std::filesystem::path folder = options.bundle;
    auto info = system->readInfoFile(folder / "Contents/Info.plist");
    if (!info) {
        throw std::runtime_error(info.error());
    }
    const BundleAt bundle(folder, std::move(*info));
    const auto commit =
        options.commit.empty() ? std::nullopt : std::optional<std::string>(options.commit);
    const auto check = tessel::AppBuildAttestation::healthCheck(bundle, options.resource, commit);
    const auto [status, metrics] = check.operation();
    printResult(check, status, metrics);
    if (status == tessel::AppHealthStatus::skip) {
        tool.fail(fmt::format("{} holds no receipt {}.json that can be read", options.bundle,
                              options.resource));
    } else if (status != tessel::AppHealthStatus::pass) {
        tool.fail(fmt::format("{} is not what its receipt says", options.bundle));
    }
}

} // namespace

void addAttest(CLI::App& health, Tool& tool) {
    CLI::App* const command = health.add_subcommand(
        "attest", "Compare a bundle with the receipt of its build; exit 0 if they agree");
    command->footer(
        examples({"tessel health attest --bundle Studio.app --resource build-attestation",
                  "tessel health attest --bundle Studio.app --resource "
                  "build-attestation --commit $(git rev-parse HEAD)"}));
    const auto options = std::make_shared<AttestOptions>();
    command->add_option("--bundle", options->bundle, "The application bundle")->required();
    command
        ->add_option("--resource", options->resource,
                     "The receipt's name among the bundle's resources, without .json")
        ->required();
    command->add_option("--commit", options->commit, "The commit it must have been made from");
    command->callback([options, &tool] { guarded(tool, [&] { attest(*options, tool); }); });
}

} // namespace tool::health
