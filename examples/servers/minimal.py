#!/usr/bin/env python3
"""The smallest server that keeps Zorvane's contract (docs/server.md): a page and a health reply."""
import argparse
import json
import os
import socket
import struct
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

VERSION = "1.0.0"
PAGE = b"<!doctype html><html lang=en><title>Minimal</title><h1>It works</h1></html>\n"


class Handler(BaseHTTPRequestHandler):
    # The client keeps the connection and ends it first.
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        if self.path == "/api/health":
            # No blank around the colon: the application compares letters.
            body = json.dumps(
                {"status": "ok", "nonce": os.environ.get("MEDIASERVER_HEALTH_NONCE", "")},
                separators=(",", ":"),
            ).encode()
            self.reply(200, "application/json", body)
        elif self.path == "/":
            self.reply(200, "text/html; charset=utf-8", PAGE)
        else:
            self.reply(404, "text/plain; charset=utf-8", b"There is nothing here.\n")

    def reply(self, status, content_type, body):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *arguments):
        pass


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def get_request(self):
        connection, client = super().get_request()
        # Reset instead of lingering in TIME_WAIT, so that the port is free when this server ends.
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        return connection, client


def main():
    parser = argparse.ArgumentParser(description=__doc__, allow_abbrev=False)
    parser.add_argument("-version", action="store_true")
    parser.add_argument("-addr", default="127.0.0.1:4280")
    for flag in ("-db", "-plugins", "-ffmpeg", "-ffprobe", "-fpcalc"):
        parser.add_argument(flag)
    options = parser.parse_args()
    if options.version:
        print(VERSION)
        return
    host, port = options.addr.rsplit(":", 1)
    server = Server((host, int(port)), Handler)
    print(f"listening on http://{host}:{server.server_port}/", flush=True)
    server.serve_forever()  # until SIGTERM, which ends Python at once


if __name__ == "__main__":
    main()
