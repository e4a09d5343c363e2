#!/usr/bin/env python3
"""A server that keeps the whole contract, but for the clause that BREAKS names."""
import argparse
import json
import os
import signal
import socket
import struct
import sys
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import urlsplit

BREAKS = os.environ.get("BREAKS", "")
NONCE = os.environ.get("MEDIASERVER_HEALTH_NONCE", "")
COUNTED = {"health": 0}

MODES = [
    {
        "id": "music",
        "name": "Music",
        "entityTypes": [
            {"id": "music.artist", "name": "artist", "plural": "artists", "isPerson": True},
            {"id": "music.track", "name": "track", "plural": "tracks"},
        ],
    }
]
LIBRARIES = [{"id": 1, "modeId": "music", "name": "Songs"}]


def compact(value):
    return json.dumps(value, separators=(",", ":")).encode()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0" if BREAKS == "port" else "HTTP/1.1"

    def do_GET(self):
        path = urlsplit(self.path).path
        answer = {
            "/": self.page,
            "/api/health": self.health,
            "/api/modes": self.modes,
            "/api/libraries": self.libraries,
            "/api/entities": self.entities,
            "/api/account/link/status": self.status,
            "/api/account/link/start": self.start,
        }.get(path)
        if answer is None or (BREAKS == "bare" and path.startswith("/api/") and path != "/api/health"):
            self.reply(404, b"{}")
        else:
            answer()

    def page(self):
        self.reply(500 if BREAKS == "page" else 200, b"<!doctype html><title>Hello</title>")

    def health(self):
        COUNTED["health"] += 1
        if BREAKS == "steady" and COUNTED["health"] % 5 == 4:
            self.reply(503, b"{}")
        elif BREAKS == "health":
            self.reply(200, json.dumps({"nonce": NONCE}).encode())
        elif BREAKS == "health-nonce":
            self.reply(200, b'{"nonce":"0123"}')
        elif BREAKS == "health-status":
            self.reply(203, compact({"nonce": NONCE}))
        else:
            self.reply(200, compact({"status": "ok", "nonce": NONCE}))

    def modes(self):
        self.reply(200, compact([{"id": "music", "name": "Music"}] if BREAKS == "modes" else MODES))

    def libraries(self):
        self.reply(200, compact([{"id": 1}] if BREAKS == "libraries" else LIBRARIES))

    def entities(self):
        total = "many" if BREAKS == "totals" else "12"
        self.reply(200, b"[]", {} if BREAKS == "totals-missing" else {"X-Total-Count": total})

    def status(self):
        self.reply(200, compact({"linked": "no" if BREAKS == "link-status" else False}))

    def start(self):
        code = "" if BREAKS == "link-start" else "ABCD-1234"
        self.reply(200, compact({"code": code, "verifyUrl": "http://127.0.0.1/link"}))

    def reply(self, status, body, more={}):
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        for name, value in more.items():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *arguments):
        pass


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def get_request(self):
        connection, client = super().get_request()
        if BREAKS != "port":
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        return connection, client


def leave(server):
    """Hands the port to somebody who stays; nothing when nobody is there."""
    heir = socket.socket(socket.AF_UNIX)
    if heir.connect_ex(os.environ["HEIR"]) == 0:
        socket.send_fds(heir, [NONCE.encode()], [server.fileno()])
    return heir  # closed when this process has ended


def main():
    parser = argparse.ArgumentParser(allow_abbrev=False)
    parser.add_argument("-version", action="store_true")
    for flag in ("-addr", "-db", "-plugins", "-ffmpeg", "-ffprobe", "-fpcalc"):
        parser.add_argument(flag)
    options = parser.parse_args()
    if options.version:
        if BREAKS == "version-none":
            sys.exit(2)
        print("server 1.0" if BREAKS == "version" else "1.0")
        return
    if BREAKS == "start":
        print("no disk today", flush=True)
        sys.exit(3)
    mark = options.db + ".mark"
    if BREAKS in ("again", "killed") and os.path.exists(mark):
        print("somebody else is at it", flush=True)
        sys.exit(4)
    with open(options.db, "a"), open(mark, "w"):
        pass
    if BREAKS == "files":
        os.chmod(options.db, 0o644)
    if BREAKS == "killed":
        signal.signal(signal.SIGTERM, lambda *_: (os.unlink(mark), os._exit(0)))
    if BREAKS == "terminate":
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
    if BREAKS == "output":
        os.write(1, b"caf\xe9\n")
    if BREAKS == "output-long":
        print("x" * 20000, flush=True)
    if BREAKS == "secret":
        print("nonce", NONCE, flush=True)
    host, port = options.addr.rsplit(":", 1)
    server = Server(("0.0.0.0" if BREAKS == "loopback" else host, int(port)), Handler)
    heir = leave(server) if BREAKS == "gone" else None
    print("listening", flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
