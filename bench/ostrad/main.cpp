// The server in the box with a large library: a generated tree of tiny files, scanned without
// probing, and one large file read in ranges by fifty readers, beside nginx serving the same file.
// Prints each figure with its aim.
// Usage: bench_ostrad [FILES]
#include <arpa/inet.h>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t bigFile = 256UL << 20U;
constexpr std::size_t rangeSize = 1UL << 20U;
constexpr int readers = 50;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double quantile(std::vector<double> values, double which) {
    std::ranges::sort(values);
    return values.empty() ? 0
                          : values[std::min(values.size() - 1,
                                            static_cast<std::size_t>(
                                                which * static_cast<double>(values.size())))];
}

void print(const std::string& what, const std::string& seen, const std::string& aim, bool reached) {
    fmt::print("{:<46} {:>22}   aim {:<18} {}\n", what, seen, aim, reached ? "reached" : "MISSED");
    std::fflush(stdout);
}

// A child of this program; ended, and reaped, by the destructor.
class Process {
  public:
    Process(std::vector<std::string> command, const std::string& output) {
        std::vector<char*> arguments;
        for (std::string& word : command) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            static_cast<void>(std::freopen(output.c_str(), "w", stdout));
            static_cast<void>(std::freopen("/dev/null", "w", stderr));
            ::execvp(arguments[0], arguments.data());
            ::_exit(127);
        }
    }
    ~Process() {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    [[nodiscard]] pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = -1;
};

// One connection that is kept, to a server on the loopback interface.
class Client {
  public:
    explicit Client(std::uint16_t port)
        : port_(port)
        , fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            ::close(fd_);
            throw std::runtime_error("nobody listens");
        }
    }
    ~Client() { ::close(fd_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // The body; its bytes are counted, and kept if asked for.
    std::size_t exchange(const std::string& method, const std::string& target,
                         const std::string& more, std::string* kept, const std::string& body = {}) {
        const std::string text = fmt::format("{} {} HTTP/1.1\r\nHost: 127.0.0.1:{}\r\n{}\r\n{}",
                                             method, target, port_, more, body);
        if (::send(fd_, text.data(), text.size(), MSG_NOSIGNAL) < 0) {
            throw std::runtime_error("cannot send");
        }
        std::string head;
        std::size_t end = std::string::npos;
        while ((end = head.find("\r\n\r\n")) == std::string::npos) {
            const ssize_t got = ::recv(fd_, buffer_.data(), buffer_.size(), 0);
            if (got <= 0) {
                throw std::runtime_error("no reply to " + target);
            }
            head.append(buffer_.data(), static_cast<std::size_t>(got));
        }
        const std::size_t at = head.find("Content-Length: ");
        const std::size_t length = at < end ? std::stoul(head.substr(at + 16)) : 0;
        std::size_t seen = head.size() - end - 4;
        if (kept != nullptr) {
            *kept = head.substr(end + 4);
        }
        while (seen < length) {
            const ssize_t got = ::recv(fd_, buffer_.data(), buffer_.size(), 0);
            if (got <= 0) {
                throw std::runtime_error("half a reply to " + target);
            }
            seen += static_cast<std::size_t>(got);
            if (kept != nullptr) {
                kept->append(buffer_.data(), static_cast<std::size_t>(got));
            }
        }
        return length;
    }
    boost::json::value json(const std::string& target) {
        std::string body;
        exchange("GET", target, "", &body);
        return boost::json::parse(body);
    }
    boost::json::value post(const std::string& target, const std::string& body) {
        std::string reply;
        exchange(
            "POST", target,
            fmt::format("Content-Type: application/json\r\nContent-Length: {}\r\n", body.size()),
            &reply, body);
        return boost::json::parse(reply);
    }

  private:
    std::uint16_t port_;
    int fd_;
    std::vector<char> buffer_ = std::vector<char>(256UL * 1024);
};

class Folder {
  public:
    Folder()
        : path_((fs::temp_directory_path() / "ostrad-bench-XXXXXX").string()) {
        if (::mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
    }
    ~Folder() { fs::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] std::string path(const std::string& name) const { return path_ + '/' + name; }

  private:
    std::string path_;
};

// Ten tracks an album, ten albums an artist: one second of silence each.
void makeTree(const Folder& folder, int files) {
    const std::string track = folder.path("track.mp3");
    const std::string command =
        "ffmpeg -v error -f lavfi -i anullsrc=r=8000:cl=mono -t 1 -b:a 8k " + track;
    if (std::system(command.c_str()) != 0) { // NOLINT(concurrency-mt-unsafe)
        throw std::runtime_error("ffmpeg cannot make a track");
    }
    std::ifstream file(track, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    std::string album;
    for (int number = 0; number < files; ++number) {
        if (number % 10 == 0) {
            album = folder.path(
                fmt::format("music/Artist {:04}/Album {}", number / 100, number / 10 % 10));
            fs::create_directories(album);
        }
        std::ofstream(fmt::format("{}/{:02} - Track {:06}.mp3", album, number % 10 + 1, number),
                      std::ios::binary)
            << bytes;
    }
    fs::create_directories(folder.path("films"));
    std::ofstream big(folder.path("films/Big.mp4"), std::ios::binary);
    const std::string block(1UL << 20U, 'b');
    for (std::size_t size = 0; size < bigFile; size += block.size()) {
        big << block;
    }
}

double bareWalk(const std::string& root) {
    const auto begin = Clock::now();
    std::uintmax_t sum = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        struct stat status{};
        sum += ::lstat(entry.path().c_str(), &status) == 0 ? 1U : 0U;
    }
    return sum > 0 ? secondsSince(begin) : 0;
}

std::uint16_t waitForPort(const std::string& output) {
    for (int attempt = 0; attempt < 1000; ++attempt) {
        std::ifstream file(output);
        std::string line;
        if (std::getline(file, line) && !file.eof()) {
            return static_cast<std::uint16_t>(std::stoul(line.substr(line.rfind(':') + 1)));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw std::runtime_error("the server does not start");
}

double mebibytes(pid_t process, const std::string& field) {
    std::ifstream status(fmt::format("/proc/{}/status", process));
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field + ":")) {
            return std::stod(line.substr(field.size() + 1)) / 1024;
        }
    }
    return 0;
}

bool isScanning(Client& client) {
    return client.json("/api/scan").at("scanning").as_bool();
}

void addLibrary(Client& client, const std::string& mode, const std::string& path) {
    client.post("/api/libraries", fmt::format(R"({{"modeId":"{}","path":"{}"}})", mode, path));
}

double page(Client& client, std::int64_t offset) {
    const auto begin = Clock::now();
    client.exchange("GET",
                    fmt::format("/api/entities?type=music.track&limit=100&offset={}", offset), "",
                    nullptr);
    return secondsSince(begin) * 1000;
}

// Bytes a second that fifty readers get together.
double readRanges(std::uint16_t port, const std::string& target) {
    std::atomic<std::size_t> bytes = 0;
    const auto begin = Clock::now();
    const auto end = begin + std::chrono::seconds(3);
    std::vector<std::thread> threads;
    for (int reader = 0; reader < readers; ++reader) {
        threads.emplace_back([&, reader] {
            std::minstd_rand random(static_cast<unsigned>(reader) + 1);
            Client client(port);
            while (Clock::now() < end) {
                const std::size_t from = random() % (bigFile - rangeSize);
                bytes += client.exchange(
                    "GET", target,
                    fmt::format("Range: bytes={}-{}\r\n", from, from + rangeSize - 1), nullptr);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return static_cast<double>(bytes) / secondsSince(begin);
}

std::uint16_t freePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(fd);
    return ntohs(address.sin_port);
}

void measureScan(const Folder& folder, Client& client, int files) {
    std::vector<double> pages;
    std::minstd_rand random(7);
    const auto begin = Clock::now();
    addLibrary(client, "music", folder.path("music"));
    do {
        for (int look = 0; look < 10; ++look) {
            pages.push_back(page(client, static_cast<std::int64_t>(random() % 1000U)));
        }
    } while (isScanning(client));
    const double rate = files / secondsSince(begin);
    print("first scan without probing", fmt::format("{:.0f} files/s", rate), ">= 5000 files/s",
          rate >= 5000);
    const double p99 = quantile(pages, 0.99);
    print(fmt::format("a page of entities while scanning, p99 of {}", pages.size()),
          fmt::format("{:.1f} ms", p99), "<= 15 ms", p99 <= 15);

    const auto again = Clock::now();
    client.post("/api/libraries/1/scan", "{}");
    while (isScanning(client)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const double rescan = secondsSince(again);
    print("scan without changes", fmt::format("{:.2f} s", rescan), "<= 3 s", rescan <= 3);
    fmt::print("{:<46} {:>22}\n", "  (this program's bare walk of the same tree)",
               fmt::format("{:.2f} s", bareWalk(folder.path("music"))));
}

void measurePages(Client& client, int files) {
    std::vector<double> first;
    for (int round = 0; round < 20; ++round) {
        const auto begin = Clock::now();
        for (const char* const target :
             {"/", "/app.css", "/list.js", "/stream.js", "/app.js", "/api/modes",
              "/api/account/link/status", "/api/scan", "/api/libraries",
              "/api/entities?type=music.album&limit=12"}) {
            client.exchange("GET", target, "", nullptr);
        }
        first.push_back(secondsSince(begin) * 1000);
    }
    const double home = quantile(first, 0.99);
    print("everything the first page asks for", fmt::format("{:.1f} ms", home), "<= 300 ms",
          home <= 300);
    std::vector<double> anywhere;
    std::minstd_rand random(11);
    for (int round = 0; round < 200; ++round) {
        anywhere.push_back(
            page(client, static_cast<std::int64_t>(random() % static_cast<unsigned>(files))));
    }
    const double p99 = quantile(anywhere, 0.99);
    print("a page anywhere in the list, p99 of 200", fmt::format("{:.1f} ms", p99), "<= 15 ms",
          p99 <= 15);
}

// Pages of a list while others search in all titles.
void measureSearches(std::uint16_t port, Client& client, int files) {
    std::atomic<bool> stop = false;
    std::atomic<int> searches = 0;
    std::vector<std::thread> others;
    const auto begin = Clock::now();
    for (int searcher = 0; searcher < 4; ++searcher) {
        others.emplace_back([&, searcher] {
            Client own(port);
            // Each another word, since what was counted is remembered.
            for (int word = searcher; !stop; word += 4) {
                own.exchange("GET", fmt::format("/api/entities?search=k%20{:03}", word), "",
                             nullptr);
                ++searches;
            }
        });
    }
    std::vector<double> pages;
    std::minstd_rand random(13);
    while (secondsSince(begin) < 3) {
        pages.push_back(
            page(client, static_cast<std::int64_t>(random() % static_cast<unsigned>(files))));
    }
    const double each = secondsSince(begin) * 1000 / std::max(1, searches.load());
    stop = true;
    for (std::thread& other : others) {
        other.join();
    }
    const double p99 = quantile(pages, 0.99);
    print(fmt::format("a page while four search, p99 of {}", pages.size()),
          fmt::format("{:.1f} ms", p99), "<= 15 ms", p99 <= 15);
    fmt::print("{:<46} {:>22}\n", "  (a search in all titles)", fmt::format("{:.1f} ms", each));
}

void measureRanges(const Folder& folder, std::uint16_t port, Client& client) {
    addLibrary(client, "movies", folder.path("films"));
    while (isScanning(client)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const auto films = client.json("/api/entities?type=movies.movie");
    const std::string target(films.at(0).at("media").at("url").as_string());

    const std::uint16_t other = freePort();
    std::ofstream(folder.path("nginx.conf")) << fmt::format(
        "daemon off;\nmaster_process off;\nworker_processes 1;\npid {0}/nginx.pid;\n"
        "error_log /dev/null crit;\nevents {{ worker_connections 256; }}\n"
        "http {{ access_log off; sendfile on; tcp_nopush on;\n"
        "  client_body_temp_path {0}/t1; proxy_temp_path {0}/t2; fastcgi_temp_path {0}/t3;\n"
        "  uwsgi_temp_path {0}/t4; scgi_temp_path {0}/t5;\n"
        "  server {{ listen 127.0.0.1:{1}; root {0}/films; }} }}\n",
        folder.path("."), other);
    const Process nginx({"nginx", "-e", "/dev/null", "-c", folder.path("nginx.conf")}, "/dev/null");
    bool isUp = false;
    for (int attempt = 0; attempt < 300 && !isUp; ++attempt) {
        try {
            isUp = Client(other).exchange("GET", "/Big.mp4", "Range: bytes=0-9\r\n", nullptr) == 10;
        } catch (const std::runtime_error&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    if (!isUp) {
        fmt::print("nginx does not start: install nginx-light\n");
        return;
    }
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int round = 0; round < 5; ++round) {
        ours.push_back(readRanges(port, target));
        theirs.push_back(readRanges(other, "/Big.mp4"));
    }
    const double mine = quantile(ours, 0.5) / (1 << 20);
    const double bare = quantile(theirs, 0.5) / (1 << 20);
    print("50 range readers, beside nginx",
          fmt::format("{:.0f} / {:.0f} MiB/s = {:.2f}", mine, bare, mine / bare), ">= 0.80",
          mine / bare >= 0.8);
}

} // namespace

int main(int argc, char** argv) {
    const int files = argc > 1 ? std::atoi(argv[1]) : 100'000;
    const Folder folder;
    makeTree(folder, files);
    const std::string output = folder.path("output");
    const Process server({OSTRAD_PATH, "-addr", "127.0.0.1:0", "-db", folder.path("db")}, output);
    const std::uint16_t port = waitForPort(output);
    Client client(port);
    measureScan(folder, client, files);
    measurePages(client, files);
    measureSearches(port, client, files);
    const double resident = mebibytes(server.pid(), "VmHWM");
    print("resident memory at its peak so far", fmt::format("{:.0f} MiB", resident), "<= 150 MiB",
          resident <= 150);
    measureRanges(folder, port, client);
    return 0;
}
