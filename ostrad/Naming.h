#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ostrad {

// What file and folder names say about media. Pure functions of a name without its extension;
// every result is valid UTF-8 whatever the bytes of the name, and letter case is understood for
// ASCII only. A name that says nothing comes back as its own title.

struct TitleYear {
    std::string title;
    std::optional<int> year;

    bool operator==(const TitleYear&) const = default;
};

struct EpisodeName {
    std::string show; // empty when the name does not begin with one
    std::optional<int> season;
    std::optional<int> episode;
    std::string title; // empty when the name says nothing beyond the numbers

    bool operator==(const EpisodeName&) const = default;
};

struct NumberedTitle {
    std::optional<int> disc;
    std::optional<int> number;
    std::string title;

    bool operator==(const NumberedTitle&) const = default;
};

std::string asciiLower(std::string_view text);

// Broken sequences become U+FFFD.
std::string validUtf8(std::string_view bytes);

// A key whose byte order is the order in which people expect titles: numbers by value, letter case
// and a leading "The" ignored.
std::string sortKey(std::string_view title);

// "Some.Film.1999.1080p.x264" and "Some Film (1999)" are both the film of 1999. A bare year counts
// only where release tags or dots show that it is one, so "Summer of 1984" stays a title.
TitleYear parseTitleYear(std::string_view stem);

// "Show - S01E02 - Title", "show.name.1x02" and the like.
EpisodeName parseEpisode(std::string_view stem);

// "Season 3", "S03", "Series 3", "Specials" (0).
std::optional<int> parseSeasonFolder(std::string_view name);

// "CD1", "Disc 2", "Disk 3".
std::optional<int> parseDiscFolder(std::string_view name);

// "01 - Title", "07. Title", "2-05 Title" (disc 2).
NumberedTitle parseTrack(std::string_view stem);

// "Series 012 (2014)", "Series #12": the number stays out of the title.
NumberedTitle parseIssue(std::string_view stem);

// Dots and underscores as spaces where a name uses them in place of spaces; bracketed tags dropped.
std::string cleanTitle(std::string_view stem);

} // namespace ostrad
