#include "tests/desktop/session/PageServer.h"

#include "tests/desktop/session/Program.h"

#include <fstream>
#include <iterator>

namespace desktop {
namespace {

constexpr const char* script = R"py(#!/usr/bin/env python3
import os, signal, sys
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

PAGES = {
    "/": '<a href="/second" style="position:fixed;inset:0;background:#c00000"></a>',
    "/second": '<body style="background:#008000">',
}


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        if self.path == "/api/health":
            self.reply(200, '{"nonce":"%s"}' % os.environ["MEDIASERVER_HEALTH_NONCE"])
        elif self.path in PAGES:
            with open(sys.argv[0] + ".asked", "a") as asked:
                asked.write(self.path + "\n")
            self.reply(200, "<!doctype html>" + PAGES[self.path])
        else:
            self.reply(404, "nothing")

    def reply(self, status, text):
        self.send_response(status)
        self.send_header("Content-Type", "text/html")
        self.send_header("Content-Length", str(len(text)))
        self.end_headers()
        self.wfile.write(text.encode())

    def log_message(self, *arguments):
        pass


def is_there(process):
    try:
        with open("/proc/%s/stat" % process) as stat:
            return stat.read().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


def end(number, frame):
    try:
        with open(sys.argv[0] + ".watched") as watched:
            there = [process for process in watched.read().split() if is_there(process)]
    except OSError:
        there = []
    with open(sys.argv[0] + ".part", "w") as seen:
        seen.write("\n".join(there))
    os.rename(sys.argv[0] + ".part", sys.argv[0] + ".seen")
    os._exit(0)


signal.signal(signal.SIGTERM, end)
if "-version" in sys.argv:
    print("1.0.0")
    sys.exit()
host, port = sys.argv[sys.argv.index("-addr") + 1].split(":")
ThreadingHTTPServer((host, int(port)), Handler).serve_forever()
)py";

} // namespace

PageServer::PageServer(const std::filesystem::path& folder)
    : program_(folder / "page-server") {
    std::ofstream(program_) << script;
    std::filesystem::permissions(program_, std::filesystem::perms::owner_all);
}

std::string PageServer::asked() const {
    return readFile(program_.string() + ".asked");
}

void PageServer::watch(const std::vector<pid_t>& processes) const {
    std::ofstream watched(program_.string() + ".watched");
    for (const pid_t process : processes) {
        watched << process << "\n";
    }
}

std::optional<std::vector<pid_t>> PageServer::seenAtItsEnd() const {
    std::ifstream seen(program_.string() + ".seen");
    if (!seen) {
        return std::nullopt;
    }
    return std::vector<pid_t>(std::istream_iterator<pid_t>(seen), {});
}

} // namespace desktop
