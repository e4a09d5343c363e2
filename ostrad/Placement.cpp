#include "ostrad/Placement.h"

#include "ostrad/Naming.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace ostrad {

namespace {

constexpr std::array<std::string_view, 7> kExtrasFolders{
    "behind the scenes", "deleted scenes", "extras", "featurettes", "sample", "samples", "trailers",
};
constexpr int kUnnumbered = 99'999'999; // after every number

struct FilePath {
    std::vector<std::string_view> folders;
    std::string_view stem;
    const FileKind* kind = nullptr;
};

FilePath splitPath(std::string_view path) {
    FilePath parts;
    for (std::size_t slash = path.find('/'); slash != std::string_view::npos;
         slash = path.find('/')) {
        parts.folders.push_back(path.substr(0, slash));
        path.remove_prefix(slash + 1);
    }
    parts.stem = path.substr(0, path.rfind('.'));
    return parts;
}

bool isExtra(const FilePath& path) {
    const auto isExtrasFolder = [](std::string_view folder) {
        return std::ranges::find(kExtrasFolders, asciiLower(folder)) != kExtrasFolders.end();
    };
    const std::string stem = asciiLower(path.stem);
    return std::ranges::any_of(path.folders, isExtrasFolder) || stem.ends_with("-trailer") ||
           stem.ends_with("-sample") || stem == "sample";
}

// Builds a placement from the outside in; sort keys and group keys continue those of the parent.
class Builder {
  public:
    void group(std::string_view type, std::string_view title, std::optional<int> number = {},
               std::optional<int> year = {}) {
        const std::string shown = validUtf8(title);
        Node node{.type = type,
                  .key = groupKey(type, shown, year),
                  .title = shown,
                  .sort = sortFor(shown, number),
                  .number = number,
                  .year = year};
        chainKey = node.key;
        chainSort = node.sort;
        placement.groups.push_back(std::move(node));
    }

    Placement item(std::string_view type, std::string_view path, std::string_view title,
                   std::optional<int> number = {}, std::optional<int> year = {},
                   std::optional<int> disc = {}) {
        const std::string shown = validUtf8(title);
        const auto position =
            number ? std::optional<int>(disc.value_or(0) * 10'000 + *number) : std::nullopt;
        placement.item = {.type = type,
                          .key = std::string(path),
                          .title = shown,
                          .sort = sortFor(shown, position),
                          .number = number,
                          .year = year};
        return std::move(placement);
    }

  private:
    // The year tells two shows of one name apart; the years in the tags of one album may differ.
    [[nodiscard]] std::string groupKey(std::string_view type, const std::string& title,
                                       std::optional<int> year) const {
        const bool remade = type == "tv.show" && year;
        return fmt::format("{}{}{}\x1f", chainKey, asciiLower(title),
                           remade ? fmt::format(" {}", *year) : "");
    }

    [[nodiscard]] std::string sortFor(const std::string& title, std::optional<int> number) const {
        const std::string own = sortKey(title);
        if (placement.groups.empty()) {
            return own;
        }
        return fmt::format("{}\x01{:08}\x01{}", chainSort, number.value_or(kUnnumbered), own);
    }

    Placement placement;
    std::string chainKey;
    std::string chainSort;
};

std::string_view preferred(const std::string& tag, std::string_view otherwise) {
    return tag.empty() ? otherwise : std::string_view(tag);
}

Placement placeMusic(std::string_view path, FilePath parts, const MediaTags& tags) {
    NumberedTitle track = parseTrack(parts.stem);
    if (parts.folders.size() > 1) {
        if (const auto disc = parseDiscFolder(parts.folders.back())) {
            track.disc = disc;
            parts.folders.pop_back();
        }
    }
    std::string artist(preferred(tags.albumArtist, tags.artist));
    std::string album = tags.album;
    TitleYear folder;
    if (!parts.folders.empty()) {
        artist = preferred(artist, parts.folders.front());
    }
    if (parts.folders.size() > 1) {
        folder = parseTitleYear(parts.folders.back());
        album = preferred(album, folder.title);
    }
    Builder builder;
    if (!artist.empty()) {
        builder.group("music.artist", artist);
    }
    if (!album.empty()) {
        builder.group("music.album", album, {}, tags.year ? tags.year : folder.year);
    }
    return builder.item("music.track", path, preferred(tags.title, track.title),
                        tags.track ? tags.track : track.number, {},
                        tags.disc ? tags.disc : track.disc);
}

Placement placeTv(std::string_view path, const FilePath& parts) {
    const EpisodeName name = parseEpisode(parts.stem);
    std::optional<int> season = name.season;
    std::string show = name.show;
    std::optional<int> year;
    if (!parts.folders.empty()) {
        const TitleYear folder = parseTitleYear(parts.folders.front());
        show = folder.title;
        year = folder.year;
    }
    if (!season && parts.folders.size() > 1) {
        season = parseSeasonFolder(parts.folders.back());
    }
    Builder builder;
    builder.group("tv.show", show.empty() ? "Other" : show, {}, year);
    if (season) {
        builder.group("tv.season", *season == 0 ? "Specials" : fmt::format("Season {}", *season),
                      season);
    }
    std::string title = name.title;
    if (title.empty() && name.episode) {
        title = fmt::format("Episode {}", *name.episode);
    }
    return builder.item("tv.episode", path, title, name.episode);
}

Placement placeMovie(std::string_view path, const FilePath& parts) {
    TitleYear film = parseTitleYear(parts.stem);
    if (!film.year && !parts.folders.empty()) {
        TitleYear folder = parseTitleYear(parts.folders.back());
        if (folder.year) {
            film = std::move(folder);
        }
    }
    return Builder().item("movies.movie", path, film.title, {}, film.year);
}

Placement placePodcast(std::string_view path, const FilePath& parts, const MediaTags& tags) {
    Builder builder;
    if (!parts.folders.empty()) {
        builder.group("podcasts.podcast", parts.folders.front());
    } else if (!tags.album.empty()) {
        builder.group("podcasts.podcast", tags.album);
    }
    const NumberedTitle name = parseTrack(parts.stem);
    return builder.item("podcasts.episode", path, preferred(tags.title, name.title),
                        tags.track ? tags.track : name.number, tags.year);
}

// A file next to its author's other books is a book; in a folder of its own it is a chapter, unless
// it has the extension that only whole books have.
Placement placeAudiobook(std::string_view path, FilePath parts) {
    Builder builder;
    std::optional<int> disc;
    if (parts.folders.size() > 1) {
        if ((disc = parseDiscFolder(parts.folders.back()))) {
            parts.folders.pop_back();
        }
    }
    const bool wholeBook = parts.kind->extension == "m4b" || parts.kind->extension == "m4a";
    if (parts.folders.size() > 1 || (wholeBook && !parts.folders.empty())) {
        builder.group("audiobooks.author", parts.folders.front());
    }
    if (parts.folders.empty() || (wholeBook && parts.folders.size() == 1)) {
        const TitleYear book = parseTitleYear(parts.stem);
        return builder.item("audiobooks.book", path, book.title, {}, book.year);
    }
    const TitleYear book = parseTitleYear(parts.folders[parts.folders.size() > 1 ? 1 : 0]);
    builder.group("audiobooks.book", book.title, {}, book.year);
    const NumberedTitle chapter = parseTrack(parts.stem);
    return builder.item("audiobooks.chapter", path, chapter.title, chapter.number, {}, disc);
}

Placement placeComic(std::string_view path, const FilePath& parts) {
    const NumberedTitle issue = parseIssue(parts.stem);
    Builder builder;
    if (!parts.folders.empty()) {
        builder.group("comics.series", cleanTitle(parts.folders.front()));
    } else if (issue.number) {
        builder.group("comics.series", issue.title);
    }
    const std::string title =
        issue.number ? fmt::format("{} #{}", issue.title, *issue.number) : issue.title;
    return builder.item("comics.issue", path, title, issue.number);
}

Placement placeGame(std::string_view path, const FilePath& parts) {
    Builder builder;
    builder.group("games.platform",
                  parts.folders.empty() ? parts.kind->detail : parts.folders.front());
    return builder.item("games.game", path, cleanTitle(parts.stem));
}

} // namespace

std::optional<Placement> placeFile(const Mode& mode, std::string_view path, const MediaTags& tags) {
    FilePath parts = splitPath(path);
    parts.kind = fileKind(mode, path.substr(path.rfind('/') + 1));
    if (parts.kind == nullptr || parts.stem.empty()) {
        return std::nullopt;
    }
    if (parts.kind->kind == MediaKind::video && isExtra(parts)) {
        return std::nullopt;
    }
    if (mode.id == "music") {
        return placeMusic(path, std::move(parts), tags);
    }
    if (mode.id == "tv") {
        return placeTv(path, parts);
    }
    if (mode.id == "movies") {
        return placeMovie(path, parts);
    }
    if (mode.id == "podcasts") {
        return placePodcast(path, parts, tags);
    }
    if (mode.id == "audiobooks") {
        return placeAudiobook(path, std::move(parts));
    }
    if (mode.id == "comics") {
        return placeComic(path, parts);
    }
    return placeGame(path, parts);
}

void correct(Placement& placement, const Correction& correction) {
    Node& item = placement.item;
    item.title = correction.title.value_or(item.title);
    item.number = correction.number ? correction.number : item.number;
    item.year = correction.year ? correction.year : item.year;
    if (placement.groups.empty()) {
        item.sort = sortKey(item.title);
        return;
    }
    const std::string& parent = placement.groups.back().sort;
    const std::string_view rest = std::string_view(item.sort).substr(parent.size() + 1);
    const std::string position(rest.substr(0, rest.find('\x01')));
    item.sort = fmt::format("{}\x01{}\x01{}", parent,
                            correction.number ? fmt::format("{:08}", *correction.number) : position,
                            sortKey(item.title));
}

} // namespace ostrad
