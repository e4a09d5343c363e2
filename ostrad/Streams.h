#pragma once

#include "ostrad/LiveStream.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace ostrad {

// The streams of all viewers. A stream that nobody reads keeps no ffmpeg; one that was not read for
// hours is forgotten, and so is the oldest when there are too many. Any thread.
class Streams {
  public:
    struct Limits {
        int running = 0; // ffmpegs at a time; 0: by the number of processors
        std::size_t known = 64;
        std::chrono::milliseconds quiet{5'000}; // a viewer that reads nothing that long
        std::chrono::milliseconds forgotten{6 * 3'600'000};
        std::chrono::milliseconds look{500};
    };

    Streams();
    explicit Streams(Limits streamLimits);
    ~Streams(); // ends every ffmpeg
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    // The name of a new stream, which cannot be guessed.
    std::string open(LiveStream::Source source);
    std::shared_ptr<LiveStream> find(std::string_view name);
    bool close(std::string_view name);

  private:
    void keepHouse();

    const Limits limits;
    const std::shared_ptr<LiveStream::Places> places;
    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::string, std::shared_ptr<LiveStream>, std::less<>> streams;
    bool stopping = false;
    std::thread keeper;
};

} // namespace ostrad
