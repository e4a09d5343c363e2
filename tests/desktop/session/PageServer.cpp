#include "tests/desktop/session/PageServer.h"

#include "tests/desktop/session/Program.h"

#include <fstream>

namespace desktop {
namespace {

constexpr const char* script = R"(#!/usr/bin/env python3
import os, sys
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


if "-version" in sys.argv:
    print("1.0.0")
    sys.exit()
host, port = sys.argv[sys.argv.index("-addr") + 1].split(":")
ThreadingHTTPServer((host, int(port)), Handler).serve_forever()
)";

} // namespace

PageServer::PageServer(const std::filesystem::path& folder)
    : program_(folder / "page-server") {
    std::ofstream(program_) << script;
    std::filesystem::permissions(program_, std::filesystem::perms::owner_all);
}

std::string PageServer::asked() const {
    return readFile(program_.string() + ".asked");
}

} // namespace desktop
