#!/usr/bin/env python3
"""A server for the application whose pages are files of a test: the folder in the variable
TEST_PAGES. GET / is index.html there; as long as there is a file "hold" there, pages wait for its
end. GET /attachment?name=N&size=S&rate=R sends S bytes as an
attachment named N, R bytes a second (0: at once); without a size it never ends. GET /report?TEXT
adds a line to the file "reports"."""
import os
import signal
import sys
import time
from urllib.parse import parse_qs, urlsplit

sys.dont_write_bytecode = True  # nothing is written beside the sources
import test_http  # noqa: E402
from test_http import PAGES  # noqa: E402

PIECE = 64 * 1024


class Handler(test_http.Handler):
    def send_attachment(self, query):
        size = int(query["size"][0]) if "size" in query else None
        rate = int(query.get("rate", ["0"])[0])
        self.send_response(200)
        self.send_header("Content-Type", query.get("type", ["application/octet-stream"])[0])
        if "name" in query:
            self.send_header("Content-Disposition",
                             'attachment; filename="%s"' % query["name"][0])
        if size is not None:
            self.send_header("Content-Length", str(size))
        self.send_header("Connection", "close")
        self.close_connection = True
        self.end_headers()
        sent = 0
        while size is None or sent < size:
            count = PIECE if size is None else min(PIECE, size - sent)
            self.wfile.write(b"x" * count)
            sent += count
            if rate:
                time.sleep(count / rate)

    def do_GET(self):
        address = urlsplit(self.path)
        if address.path == "/api/health":
            nonce = os.environ.get("MEDIASERVER_HEALTH_NONCE", "")
            self.reply(200, "application/json", b'{"status":"ok","nonce":"%s"}' % nonce.encode())
        elif address.path == "/report":
            self.take_report(address.query)
        elif address.path == "/attachment":
            self.send_attachment(parse_qs(address.query, encoding="utf-8"))
        else:
            name = os.path.basename(address.path) or "index.html"
            while os.path.exists(os.path.join(PAGES, "hold")):
                time.sleep(0.01)
            try:
                with open(os.path.join(PAGES, name), "rb") as page:
                    self.reply(200, "text/html; charset=utf-8", page.read())
            except OSError:
                self.reply(404, "text/plain", b"There is nothing here.\n")


def main(arguments):
    if "-version" in arguments:
        print("1.0.0")
        return
    host, port = arguments[arguments.index("-addr") + 1].rsplit(":", 1)
    signal.signal(signal.SIGTERM, signal.SIG_DFL)
    server = test_http.Server((host, int(port)), Handler)
    print("listening", flush=True)
    server.serve_forever()


main(sys.argv[1:])
