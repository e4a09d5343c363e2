// Walks a document's tree by the rules of "health-report@1" and "build-attestation@1" and collects
// a message for everything that is wrong, in the document's order, without ever stopping early.
// The tree must outlive the walk. One object, one walk, one thread; throws nothing of its own.
#pragma once

#include "mac/Tessel/Health/AppHealthEnumerations.h"
#include "mac/Tessel/Health/AppHealthSchema.h"
#include "mac/Tessel/Health/KnownMembers.h"
#include "mac/Tessel/Json/StrictJson.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessel {

class RawAppHealthValidator {
  public:
    using Value = StrictJson::Value;

    // Where in the document: "attestation", "checks[3].metrics". A text only once a message needs
    // it.
    struct Path {
        std::string_view base;
        std::optional<std::size_t> index = {};
        std::string_view member = {};

        [[nodiscard]] std::string text() const;
    };

    // `root` is an object.
    void validateReport(Value root);
    // `receipt` is an object.
    void validateReceipt(Value receipt, const Path& path);

    [[nodiscard]] const std::vector<std::string>& errors() const { return errors_; }
    [[nodiscard]] std::vector<std::string> takeErrors() { return std::move(errors_); }

  private:
    using ReportMembers = KnownMembers<AppHealthSchema::reportKeys>;
    using CheckMembers = KnownMembers<AppHealthSchema::checkKeys>;

    // What the checks add up to, recomputed.
    struct Summary {
        std::size_t checks = 0;
        std::size_t passed = 0;
        std::size_t failed = 0;
        std::size_t warnings = 0;
        std::size_t skipped = 0;
        double totalDurationMs = 0;

        void count(AppHealthStatus status);
        [[nodiscard]] AppHealthStatus rollup() const;
    };

    void validateIdentity(const ReportMembers& members);
    void validateChecks(std::optional<Value> checks, Summary& summary);
    void validateCheck(const CheckMembers& members, const Path& path, Summary& summary);
    void validateMetrics(std::optional<Value> metrics, const Path& path);
    void validateSummary(std::optional<Value> metrics, const Summary& summary);
    void validateSuites(std::optional<Value> suites, const Path& path);
    void validateAttestation(Value attestation, Value report);
    void validateReceiptIdentity(Value receipt, Value report, const Path& path);

    void require(bool holds, std::string_view message) {
        if (!holds) {
            errors_.emplace_back(message);
        }
    }
    void require(bool holds, const Path& path, std::string_view suffix) {
        if (!holds) {
            addError(path, suffix);
        }
    }
    void addError(const Path& path, std::string_view suffix);

    std::vector<std::string> errors_;
};

} // namespace tessel
