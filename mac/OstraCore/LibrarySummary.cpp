#include "mac/OstraCore/LibrarySummary.h"

#include "mac/OstraCore/ItemTypes.h"
#include "mac/OstraCore/LibraryReplies.h"

#include <boost/url/encode.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

namespace ostra {
namespace {

constexpr std::chrono::seconds longestExchange{2};
constexpr std::size_t longestReply = std::size_t{4} << 20;
constexpr std::size_t longestEntityReply = std::size_t{1} << 20;

platform::HttpRequest requestFor(const Url& url, std::size_t maxBodyBytes) {
    platform::HttpRequest request;
    request.url = url.buffer();
    request.timeout = longestExchange;
    request.maxBodyBytes = maxBodyBytes;
    return request;
}

// Everything reserved is encoded, "+" too: some servers read it as a space.
Url entitiesUrl(const Url& base, const EntityTypeDTO& type) {
    Url url = appendingPath(base, "api/entities");
    url.set_encoded_query("type=" + boost::urls::encode(type.id, boost::urls::unreserved_chars) +
                          "&limit=1&inLibrary=1");
    return url;
}

std::map<std::string, std::int64_t> countsByMode(const std::vector<LibraryDTO>& libraries) {
    std::map<std::string, std::int64_t> counts;
    for (const LibraryDTO& library : libraries) {
        ++counts[library.modeId];
    }
    return counts;
}

using Count = std::optional<std::int64_t>;

// The sum of the counts that are there, in their order; nothing when none is, or it overflows.
Count sumOfKnown(const std::vector<Count>& counts) {
    Count sum;
    for (const Count& count : counts) {
        std::int64_t longer = 0;
        if (count && __builtin_add_overflow(sum.value_or(0), *count, &longer)) {
            return std::nullopt;
        }
        if (count) {
            sum = longer;
        }
    }
    return sum;
}

// One pass; alive as long as one of its requests is.
class Pass : public std::enable_shared_from_this<Pass> {
  public:
    using Completion = std::function<void(std::optional<LibrarySummary>)>;

    Pass(Url base, platform::HttpClient& session, platform::BackgroundQueues& queues,
         Completion completion)
        : base_(std::move(base))
        , session_(session)
        , queues_(queues)
        , completion_(std::move(completion)) {}

    void start() {
        fetchJSON<ModeDTO>("api/modes", &parseModes, [self = shared_from_this()](auto modes) {
            if (!modes) {
                self->completion_(std::nullopt);
                return;
            }
            self->modes_ = *std::move(modes);
            self->fetchLibraries();
        });
    }

  private:
    struct Plan {
        std::vector<EntityTypeDTO> countTypes;
        std::vector<Count> totals; // one a type
    };

    template <typename Record>
    void fetchJSON(std::string_view path,
                   std::optional<std::vector<Record>> (*parse)(std::string_view),
                   std::function<void(std::optional<std::vector<Record>>)> completion) {
        session_.send(
            requestFor(appendingPath(base_, path), longestReply),
            [parse, completion = std::move(completion)](const platform::HttpResult& reply) {
                completion(reply && reply->status == 200 ? parse(reply->body) : std::nullopt);
            });
    }

    void fetchLibraries() {
        fetchJSON<LibraryDTO>(
            "api/libraries", &parseLibraries, [self = shared_from_this()](auto libraries) {
                self->libraryCounts_ = countsByMode(libraries.value_or(std::vector<LibraryDTO>{}));
                self->fetchTotals();
            });
    }

    void fetchTotals() {
        if (modes_.empty()) {
            completion_(LibrarySummary{});
            return;
        }
        for (const ModeDTO& mode : modes_) {
            auto types = countTypes(mode.id, mode.entityTypes);
            outstanding_ += types.size();
            std::vector<Count> totals(types.size());
            plans_.push_back({.countTypes = std::move(types), .totals = std::move(totals)});
        }
        // One more than there are requests, so that the pass cannot end before all are sent.
        ++outstanding_;
        for (Plan& plan : plans_) {
            for (std::size_t index = 0; index < plan.countTypes.size(); ++index) {
                fetchEntityCount(plan.countTypes[index], plan.totals[index]);
            }
        }
        leave();
    }

    // The total has a place of its own, which no other request touches.
    void fetchEntityCount(const EntityTypeDTO& type, Count& total) {
        session_.send(requestFor(entitiesUrl(base_, type), longestEntityReply),
                      [self = shared_from_this(), &total](const platform::HttpResult& reply) {
                          const auto field = reply && reply->status == 200
                                                 ? reply->header("X-Total-Count")
                                                 : std::nullopt;
                          total = field ? parseTotal(*field) : std::nullopt;
                          self->leave();
                      });
    }

    void leave() {
        if (outstanding_.fetch_sub(1) > 1) {
            return;
        }
        queues_.global(platform::QualityOfService::utility).post([self = shared_from_this()] {
            self->completion_(self->summary());
        });
    }

    // In the order of the modes; of modes with one id, the later ones follow the first.
    [[nodiscard]] LibrarySummary summary() const {
        std::map<std::string_view, std::size_t> firstOfId;
        std::vector<std::pair<std::size_t, std::size_t>> order;
        for (std::size_t index = 0; index < modes_.size(); ++index) {
            const auto first = firstOfId.try_emplace(modes_[index].id, index).first;
            order.emplace_back(first->second, index);
        }
        std::ranges::sort(order);
        LibrarySummary summary;
        for (const auto& [first, index] : order) {
            summary.modes.push_back(summaryOf(modes_[index], plans_[index]));
        }
        return summary;
    }

    [[nodiscard]] ModeSummary summaryOf(const ModeDTO& mode, const Plan& plan) const {
        const auto libraries = libraryCounts_.find(mode.id);
        ItemLabels labels = itemLabels(plan.countTypes);
        return {.id = mode.id,
                .name = mode.name,
                .itemCount = sumOfKnown(plan.totals),
                .singularItemName = std::move(labels.singular),
                .pluralItemName = std::move(labels.plural),
                .libraryCount = libraries == libraryCounts_.end() ? 0 : libraries->second};
    }

    const Url base_;
    platform::HttpClient& session_;
    platform::BackgroundQueues& queues_;
    const Completion completion_;

    // Complete before the first total is asked for; fixed from then on.
    std::vector<ModeDTO> modes_;
    std::map<std::string, std::int64_t> libraryCounts_;

    std::vector<Plan> plans_; // one a mode; from then on only the totals change
    std::atomic<std::size_t> outstanding_ = 0;
};

} // namespace

std::int64_t LibrarySummary::totalLibraries() const {
    std::int64_t total = 0;
    for (const ModeSummary& mode : modes) {
        if (__builtin_add_overflow(total, mode.libraryCount, &total)) {
            using Limits = std::numeric_limits<std::int64_t>;
            return mode.libraryCount > 0 ? Limits::max() : Limits::min();
        }
    }
    return total;
}

std::optional<std::int64_t> LibrarySummary::totalItems() const {
    std::vector<Count> counts;
    std::ranges::transform(modes, std::back_inserter(counts), &ModeSummary::itemCount);
    return sumOfKnown(counts);
}

void LibrarySummaryClient::fetch(const Url& base, platform::HttpClient& session,
                                 platform::BackgroundQueues& queues,
                                 std::function<void(std::optional<LibrarySummary>)> completion) {
    std::make_shared<Pass>(base, session, queues, std::move(completion))->start();
}

} // namespace ostra
