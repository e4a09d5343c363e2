#pragma once

#include "ostrad/AccountLink.h"
#include "ostrad/Catalogue.h"
#include "ostrad/DeviceLinks.h"
#include "ostrad/Finder.h"
#include "ostrad/Http.h"
#include "ostrad/Modes.h"
#include "ostrad/Options.h"
#include "ostrad/Scanner.h"
#include "ostrad/Streams.h"
#include "ostrad/WriteTurn.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ostrad {

// Answers requests: the gate every request passes, then the routes of the web interface (/), of the
// API (/api/...) and of files (/media/ID, /art/NAME). Every reply of the API is JSON; a refusal is
// {"error": a sentence}. Confined to the server's thread, except for what a reply puts off to a
// worker: that reads files and folders and nothing of this object. References outlive it. A failing
// database becomes a reply with status 500, never an exception.
class Site {
  public:
    struct Settings {
        ListenAddress address;
        std::optional<std::string> healthNonce;
        std::string serverName;
        std::string artworkPath = {}; // empty: no pictures
        std::string ffmpeg = {};      // empty: files are played as they are
        std::string ffprobe = {};
    };

    Site(Settings siteSettings, Catalogue& siteCatalogue, Scanner& siteScanner,
         AccountLink& accountLink, DeviceLinks& deviceLinks, WriteTurn& writeTurn);

    Reply handle(const Request& request);

  private:
    struct Call { // a request and what its route matched
        const Request& request;
        std::string_view argument; // the ID or NAME in the path
    };
    struct Route {
        Method method;
        std::string_view path; // ends with '/' when an argument follows
        std::string_view tail; // what follows the argument, e.g. "/scan"
        Reply (Site::*run)(const Call&);
    };
    static std::span<const Route> routes();

    Reply dispatch(const Request& request);
    // The reply, or status 500 when the database fails.
    static Reply guarded(const std::function<Reply()>& answer);
    [[nodiscard]] std::string origin() const;
    [[nodiscard]] std::string linkUrl(std::string_view code) const;
    [[nodiscard]] std::string sessionCookieName() const;
    [[nodiscard]] std::string session(const Request& request) const;

    Reply health(const Call& call);
    Reply listModes(const Call& call);
    Reply listLibraries(const Call& call);
    Reply addLibrary(const Call& call);
    Reply addResolvedLibrary(const Mode& mode, const std::string& name, const std::string& path);
    Reply removeLibrary(const Call& call);
    Reply rescanLibrary(const Call& call);
    Reply scanProgress(const Call& call);
    Reply listEntities(const Call& call);
    Reply oneEntity(const Call& call);
    Reply folders(const Call& call);
    Reply linkStatus(const Call& call);
    Reply linkStart(const Call& call);
    Reply linkApprove(const Call& call);
    Reply linkDeny(const Call& call);
    Reply unlink(const Call& call);
    Reply wrongOrDone(AccountLink::Outcome outcome);
    Reply deviceStart(const Call& call);
    Reply devicePoll(const Call& call);
    Reply sessionStatus(const Call& call);
    Reply sessionAllow(const Call& call);
    Reply mint(const Call& call);
    Reply media(const Call& call);
    Reply art(const Call& call);
    Reply tracks(const Call& call);
    Reply subtitles(const Call& call);
    Reply openStream(const Call& call);
    Reply closeStream(const Call& call);
    Reply streamPart(const Call& call);
    Reply setProgress(const Call& call);

    // The file of the entity whose id the route matched; nothing when it is no audio or video.
    [[nodiscard]] std::optional<MediaFile> playable(const Call& call);

    Settings settings;
    Catalogue& catalogue;
    Scanner& scanner;
    AccountLink& account;
    DeviceLinks& devices;
    WriteTurn& turn;
    std::shared_ptr<Streams> streams = std::make_shared<Streams>();
    std::shared_ptr<Finder> finder;
};

} // namespace ostrad
