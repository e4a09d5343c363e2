#include "ostrad/Modes.h"

#include "ostrad/Naming.h"

#include <algorithm>
#include <array>

namespace ostrad {

namespace {

using enum MediaKind;

constexpr std::array<FileKind, 12> kAudio{{
    {"aac", "audio/aac", audio},
    {"aif", "audio/aiff", audio},
    {"aiff", "audio/aiff", audio},
    {"alac", "audio/mp4", audio},
    {"flac", "audio/flac", audio},
    {"m4a", "audio/mp4", audio},
    {"m4b", "audio/mp4", audio},
    {"mp3", "audio/mpeg", audio},
    {"oga", "audio/ogg", audio},
    {"ogg", "audio/ogg", audio},
    {"opus", "audio/ogg", audio},
    {"wav", "audio/wav", audio},
}};

constexpr std::array<FileKind, 10> kVideo{{
    {"avi", "video/x-msvideo", video},
    {"m2ts", "video/mp2t", video},
    {"m4v", "video/mp4", video},
    {"mkv", "video/x-matroska", video},
    {"mov", "video/quicktime", video},
    {"mp4", "video/mp4", video},
    {"mpg", "video/mpeg", video},
    {"ogv", "video/ogg", video},
    {"ts", "video/mp2t", video},
    {"webm", "video/webm", video},
}};

constexpr std::array<FileKind, 5> kComics{{
    {"cb7", "application/x-cb7", document},
    {"cbr", "application/vnd.comicbook-rar", document},
    {"cbz", "application/vnd.comicbook+zip", document},
    {"epub", "application/epub+zip", document},
    {"pdf", "application/pdf", document},
}};

constexpr std::string_view kBytes = "application/octet-stream";

constexpr std::array<FileKind, 20> kGames{{
    {"3ds", kBytes, game, "Nintendo 3DS"},
    {"a26", kBytes, game, "Atari 2600"},
    {"chd", kBytes, game, "Discs"},
    {"cso", kBytes, game, "PlayStation Portable"},
    {"d64", kBytes, game, "Commodore 64"},
    {"gb", kBytes, game, "Game Boy"},
    {"gba", kBytes, game, "Game Boy Advance"},
    {"gbc", kBytes, game, "Game Boy Color"},
    {"gen", kBytes, game, "Mega Drive"},
    {"gg", kBytes, game, "Game Gear"},
    {"iso", kBytes, game, "Discs"},
    {"md", kBytes, game, "Mega Drive"},
    {"n64", kBytes, game, "Nintendo 64"},
    {"nds", kBytes, game, "Nintendo DS"},
    {"nes", kBytes, game, "Nintendo Entertainment System"},
    {"sfc", kBytes, game, "Super Nintendo"},
    {"smc", kBytes, game, "Super Nintendo"},
    {"sms", kBytes, game, "Master System"},
    {"z64", kBytes, game, "Nintendo 64"},
    {"zip", kBytes, game, "Arcade"},
}};

constexpr std::array<EntityType, 3> kAudiobookTypes{{
    {"audiobooks.author", "Author", "Authors", true},
    {"audiobooks.book", "Audiobook", "Audiobooks"},
    {"audiobooks.chapter", "Chapter", "Chapters"},
}};
constexpr std::array<EntityType, 2> kComicTypes{{
    {"comics.series", "Series", "Series"},
    {"comics.issue", "Issue", "Issues"},
}};
constexpr std::array<EntityType, 2> kGameTypes{{
    {"games.platform", "Platform", "Platforms"},
    {"games.game", "Game", "Games"},
}};
constexpr std::array<EntityType, 1> kMovieTypes{{
    {"movies.movie", "Movie", "Movies"},
}};
constexpr std::array<EntityType, 3> kMusicTypes{{
    {"music.artist", "Artist", "Artists", true},
    {"music.album", "Album", "Albums"},
    {"music.track", "Track", "Tracks"},
}};
constexpr std::array<EntityType, 2> kPodcastTypes{{
    {"podcasts.podcast", "Podcast", "Podcasts"},
    {"podcasts.episode", "Episode", "Episodes"},
}};
constexpr std::array<EntityType, 3> kTvTypes{{
    {"tv.show", "Show", "Shows"},
    {"tv.season", "Season", "Seasons"},
    {"tv.episode", "Episode", "Episodes"},
}};

constexpr std::array<Mode, 7> kModes{{
    {"audiobooks", "Audiobooks", kAudiobookTypes, "audiobooks.book", kAudio},
    {"comics", "Comics", kComicTypes, "comics.issue", kComics},
    {"games", "Games", kGameTypes, "games.game", kGames},
    {"movies", "Movies", kMovieTypes, "movies.movie", kVideo},
    {"music", "Music", kMusicTypes, "music.track", kAudio},
    {"podcasts", "Podcasts", kPodcastTypes, "podcasts.episode", kAudio},
    {"tv", "TV", kTvTypes, "tv.episode", kVideo},
}};

} // namespace

std::span<const Mode> modes() {
    return kModes;
}

const Mode* findMode(std::string_view id) {
    const auto* const found = std::ranges::find(kModes, id, &Mode::id);
    return found == kModes.end() ? nullptr : &*found;
}

const EntityType* findEntityType(std::string_view id) {
    for (const Mode& mode : kModes) {
        for (const EntityType& type : mode.entityTypes) {
            if (type.id == id) {
                return &type;
            }
        }
    }
    return nullptr;
}

const FileKind* fileKind(const Mode& mode, std::string_view fileName) {
    const std::size_t dot = fileName.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return nullptr;
    }
    const std::string extension = asciiLower(fileName.substr(dot + 1));
    for (const FileKind& kind : mode.files) {
        if (kind.extension == extension) {
            return &kind;
        }
    }
    return nullptr;
}

std::string_view mediaKindName(MediaKind kind) {
    switch (kind) {
    case audio:
        return "audio";
    case video:
        return "video";
    case document:
        return "document";
    case game:
        break;
    }
    return "game";
}

} // namespace ostrad
