// How ffmpeg and ffprobe are started on a file of somebody else's: quiet, with that one local file,
// and with the demuxers of media files only, none of which opens further files that it names.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace ostrad {

// The tool's path, then what holds for every input, then `words`.
inline std::vector<std::string> mediaCommand(const std::string& tool,
                                             std::initializer_list<std::string> words) {
    constexpr const char* formats =
        "matroska,webm,mov,mp4,m4a,3gp,3g2,mj2,avi,mpegts,mpegtsraw,mpeg,mpegvideo,m4v,h264,hevc,"
        "ogg,mp3,flac,wav,w64,aiff,aac,ac3,eac3,dts,dtshd,truehd,asf,flv,ape,wv,tta,caf,au,amr,"
        "jpeg_pipe,png_pipe,image2,webp_pipe,gif,srt,ass,webvtt";
    std::vector<std::string> command{
        tool, "-v", "quiet", "-protocol_whitelist", "file", "-format_whitelist", formats};
    command.insert(command.end(), words);
    return command;
}

} // namespace ostrad
