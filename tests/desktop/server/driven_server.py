#!/usr/bin/env python3
"""The server in the box (DRIVEN_SERVER), with one script more in each of its pages: the file that
TEST_DRIVER names, at /driver.js. GET /report?TEXT adds a line to the file "reports" in the folder
TEST_PAGES. Everything else is the server's own reply."""
import http.client
import os
import re
import signal
import subprocess
import sys
import threading
from urllib.parse import urlsplit

sys.dont_write_bytecode = True  # nothing is written beside the sources
import test_http  # noqa: E402

SCRIPT = b'<script src="/driver.js" defer></script></head>'


class Handler(test_http.Handler):
    inner = ""

    def handle_request(self):
        address = urlsplit(self.path)
        if address.path == "/report":
            self.take_report(address.query)
        elif address.path == "/driver.js":
            with open(os.environ["TEST_DRIVER"], "rb") as driver:
                self.reply(200, "text/javascript", driver.read())
        else:
            try:
                self.forward()
            except OSError:
                self.close_connection = True

    do_GET = do_HEAD = do_POST = do_DELETE = handle_request

    def forward(self):
        body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
        kept = {name: value.replace(self.headers["Host"], self.inner)
                for name, value in self.headers.items()
                if name.lower() not in ("connection", "accept-encoding")}
        server = http.client.HTTPConnection(self.inner, timeout=60)
        server.request(self.command, self.path, body or None, kept)
        answer = server.getresponse()
        headers = {name: value for name, value in answer.getheaders()
                   if name.lower() != "connection"}
        page = answer.getheader("Content-Type", "").startswith("text/html")
        if page and self.command != "HEAD":
            text = answer.read().replace(b"</head>", SCRIPT)
            headers["Content-Length"] = str(len(text))
        self.send_response_only(answer.status, answer.reason)
        for name, value in headers.items():
            self.send_header(name, value)
        self.end_headers()
        if page and self.command != "HEAD":
            self.wfile.write(text)
        while self.command != "HEAD" and (piece := answer.read1(65536)):
            self.wfile.write(piece)
        server.close()


def main(arguments):
    server = os.environ["DRIVEN_SERVER"]
    if "-version" in arguments:
        os.execv(server, [server, "-version"])
    place = arguments.index("-addr") + 1
    host, port = arguments[place].rsplit(":", 1)
    arguments[place] = host + ":0"
    program = subprocess.Popen([server, *arguments], stdout=subprocess.PIPE, text=True)
    Handler.inner = re.search(r"http://([^/]+)/", program.stdout.readline()).group(1)
    signal.signal(signal.SIGTERM, lambda *_: program.terminate())
    outer = test_http.Server((host, int(port)), Handler)
    threading.Thread(target=outer.serve_forever, daemon=True).start()
    sys.exit(program.wait())


main(sys.argv[1:])
