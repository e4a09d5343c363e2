#include "mac/Zorvane/LibrarySummaryCache.h"

#include <utility>

namespace zorvane {

LibrarySummaryCache::LibrarySummaryCache(const Facilities& facilities,
                                         std::function<std::optional<ostra::Url>()> serverUrl)
    : facilities_(facilities)
    , serverUrl_(std::move(serverUrl)) {}

void LibrarySummaryCache::refresh(bool force) {
    const auto url = serverUrl_();
    if (!url) {
        clear();
        return;
    }
    const bool sameServer = librarySummaryBase_ == url;
    if (librarySummaryFetchInFlight_ && sameServer) {
        return;
    }
    if (!force && sameServer && librarySummaryFetchedAt_ &&
        facilities_.clock.now() - *librarySummaryFetchedAt_ < freshness) {
        return;
    }
    librarySummaryFetchInFlight_ = true;
    librarySummaryBase_ = url;
    ostra::LibrarySummaryClient::fetch(*url, facilities_.http, facilities_.backgroundQueues,
                                       [weak = weak_from_this(), &mainQueue = facilities_.mainQueue,
                                        base = *url](std::optional<ostra::LibrarySummary> summary) {
                                           mainQueue.post(
                                               [weak, base, summary = std::move(summary)] {
                                                   if (const auto self = weak.lock()) {
                                                       self->received(base, summary);
                                                   }
                                               });
                                       });
}

void LibrarySummaryCache::received(const ostra::Url& base,
                                   std::optional<ostra::LibrarySummary> summary) {
    librarySummaryFetchInFlight_ = false;
    if (serverUrl_() != base) {
        return;
    }
    if (summary) {
        librarySummary_ = std::move(summary);
        librarySummaryFetchedAt_ = facilities_.clock.now();
    }
    if (onAnswer) {
        onAnswer();
    }
}

void LibrarySummaryCache::clear() {
    librarySummary_.reset();
    librarySummaryBase_.reset();
    librarySummaryFetchedAt_.reset();
}

std::optional<ostra::LibrarySummary> LibrarySummaryCache::current() const {
    const auto url = serverUrl_();
    if (!url || librarySummaryBase_ != url) {
        return std::nullopt;
    }
    return librarySummary_;
}

} // namespace zorvane
