// Health reports as trees, for tests that change them piece by piece.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace health_documents {

using Object = boost::json::object;
using Array = boost::json::array;
using Json = boost::json::value;

inline Object receipt() {
    return {{"schemaVersion", "build-attestation@1"},
            {"app", "app"},
            {"version", "1.0.0+build-5"},
            {"build", "42"},
            {"sourceCommit", "c0ffee"},
            {"generatedAt", "2026-01-02T03:04:05Z"},
            {"verifiedSuites", Array{"unit", "smoke.Web"}}};
}

inline Object check(std::string_view id, std::string_view status, double durationMs) {
    return {{"id", boost::json::string(id)},
            {"category", "smoke"},
            {"status", boost::json::string(status)},
            {"durationMs", durationMs},
            {"metrics", Object{{"ratio", 0.25}, {"Delta.x", -5}}}};
}

// Two checks, one of which failed; an envelope; a log key.
inline Object report() {
    return {{"schemaVersion", "health-report@1"},
            {"app", "app"},
            {"channel", "beta"},
            {"version", "1.0.0+build-5"},
            {"build", "42"},
            {"sourceCommit", "c0ffee"},
            {"artifact", "mac-app"},
            {"trigger", "periodic"},
            {"generatedAt", "2026-01-02T03:04:05.678Z"},
            {"status", "fail"},
            {"checks", Array{check("first.check", "pass", 3), check("second", "fail", 4)}},
            {"metrics", Object{{"checks", 2},
                               {"passed", 1},
                               {"failed", 1},
                               {"warnings", 0},
                               {"skipped", 0},
                               {"totalDurationMs", 7},
                               {"bundleBytes", 1000}}},
            {"attestation", Object{{"gatesVerified", true},
                                   {"verifiedSuites", Array{"gate"}},
                                   {"receipt", receipt()}}},
            {"logKey", "health/app/42/run.json"}};
}

// Valid, and with everything report() has; the same for the same seed. The first check passed and
// the second failed.
class Random {
  public:
    explicit Random(std::uint64_t seed)
        : engine_(seed) {}

    Object report();

  private:
    std::uint64_t below(std::uint64_t bound) { return engine_() % bound; }

    std::string text(std::size_t most, std::string_view characters) {
        std::string text = "a";
        for (auto length = below(most); length > 0; --length) {
            text += characters[below(characters.size())];
        }
        return text;
    }

    // A name with single separators.
    std::string name(std::string_view beginning) {
        std::string name(beginning);
        for (auto parts = below(5); parts > 0; --parts) {
            name += "-._"[below(3)];
            name += text(6, "abz019");
        }
        return name;
    }

    double number() {
        switch (below(5)) {
        case 0:
            return static_cast<double>(below(1000));
        case 1:
            return -static_cast<double>(below(1'000'000'000'000));
        case 2:
            return 1e12;
        case 3:
            return static_cast<double>(engine_()) / 1e9;
        default:
            return 1 / static_cast<double>(1 + engine_());
        }
    }

    Object metrics(std::size_t most) {
        Object metrics{{"ratio", 0.25}, {"Delta.x", number()}};
        for (auto count = below(most - 1); count > 0; --count) {
            metrics[name(fmt::format("{}{}", count, count % 2 == 0 ? "Q" : "q"))] = number();
        }
        return metrics;
    }

    std::string timestamp() {
        auto time = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", below(10'000), 1 + below(12),
                                1 + below(28), below(24), below(60), below(60));
        const auto digits = below(10);
        time += digits > 0 ? "." : "";
        for (std::uint64_t digit = 0; digit < digits; ++digit) {
            time += static_cast<char>('0' + below(10));
        }
        return time + "Z";
    }

    Array suites(std::string_view beginning) {
        Array suites;
        for (auto count = 1 + below(32); count > 0; --count) {
            suites.emplace_back(name(fmt::format("{}{}", beginning, count)));
        }
        return suites;
    }

    std::string_view oneOf(std::initializer_list<std::string_view> texts) {
        return *(texts.begin() + below(texts.size()));
    }

    void addChecks(Object& report);

    std::mt19937_64 engine_;
};

inline void Random::addChecks(Object& report) {
    Array checks;
    std::map<std::string_view, int> counts;
    double total = 0;
    const std::uint64_t count = 2 + below(6) * below(50);
    for (std::uint64_t index = 0; index < count; ++index) {
        const auto status = index == 0   ? "pass"
                            : index == 1 ? "fail"
                                         : oneOf({"pass", "warning", "fail", "skip"});
        const auto duration = static_cast<double>(1 + below(1'000'000'000));
        auto made = check(name(fmt::format("c{}", index)), status, duration);
        made["category"] = boost::json::string(oneOf({"unit", "smoke", "reliability", "eval"}));
        made["metrics"] = metrics(31);
        checks.emplace_back(std::move(made));
        ++counts[status];
        total += duration;
    }
    report["metrics"] = Object{{"checks", count},
                               {"passed", counts["pass"]},
                               {"failed", counts["fail"]},
                               {"warnings", counts["warning"]},
                               {"skipped", counts["skip"]},
                               {"totalDurationMs", total},
                               {"bundleBytes", below(1'000'000'000'000)}};
    report["checks"] = std::move(checks);
}

inline Object Random::report() {
    auto made = health_documents::report();
    auto& attestation = made["attestation"].as_object();
    auto& receipt = attestation["receipt"].as_object();
    const auto both = [&](std::string_view key, const std::string& value) {
        made[key] = value;
        receipt[key] = value;
    };
    both("app", text(38, "abz019_-"));
    both("version", text(79, "abzABZ019.+_-"));
    both("build", text(63, "abzABZ019._-"));
    both("sourceCommit", text(127, "abzABZ019._-"));
    made["channel"] = boost::json::string(oneOf({"release", "beta", "dev"}));
    made["artifact"] = boost::json::string(oneOf({"static-web", "worker", "go-server", "mac-app"}));
    made["trigger"] = boost::json::string(oneOf(
        {"releaseVerification", "versionLaunch", "periodic", "manual", "postbuild", "bootBeacon"}));
    made["generatedAt"] = timestamp();
    receipt["generatedAt"] = timestamp();
    receipt["verifiedSuites"] = suites("S");
    attestation["verifiedSuites"] = suites("g");
    made["logKey"] = fmt::format("health/{}/{}/{}.json", made["app"].as_string().c_str(),
                                 made["build"].as_string().c_str(), text(63, "abzABZ019+-.:_"));
    addChecks(made);
    return made;
}

} // namespace health_documents
