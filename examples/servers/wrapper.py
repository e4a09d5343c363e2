#!/usr/bin/env python3
"""Puts an existing HTTP program behind Zorvane's contract (docs/server.md).

The program is started on a free loopback port; the health reply with its nonce comes from here,
everything else from the program. WRAPPED_SERVER is its command, "{port}" and "{data}" (a folder of
its own) filled in; without it, Python's own file server shows the data folder.
"""
import argparse
import http.client
import os
import shlex
import signal
import socket
import struct
import subprocess
import sys
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

COMMAND = "python3 -m http.server --bind 127.0.0.1 --directory {data} {port}"
HOP_BY_HOP = {"connection", "keep-alive", "transfer-encoding", "te", "trailer", "upgrade"}


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    program_port = 0

    def handle_request(self):
        if self.path == "/api/health" and self.command == "GET":
            self.health()
            return
        try:
            self.forward()
        except OSError:
            self.close_connection = True

    do_GET = do_HEAD = do_POST = do_PUT = do_PATCH = do_DELETE = do_OPTIONS = handle_request

    def health(self):
        try:
            socket.create_connection(("127.0.0.1", self.program_port), timeout=0.3).close()
            status = 200
        except OSError:
            status = 503  # the program is not there yet
        body = b'{"status":"ok","nonce":"%s"}' % os.environb.get(b"MEDIASERVER_HEALTH_NONCE", b"")
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def forward(self):
        body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
        program = http.client.HTTPConnection("127.0.0.1", self.program_port, timeout=60)
        kept = {n: v for n, v in self.headers.items() if n.lower() not in HOP_BY_HOP}
        program.request(self.command, self.path, body or None, kept)
        reply = program.getresponse()
        sized = reply.getheader("Content-Length") is not None or reply.status in (204, 304)
        self.send_response_only(reply.status, reply.reason)
        for name, value in reply.getheaders():
            if name.lower() not in HOP_BY_HOP:
                self.send_header(name, value)
        if not sized:
            self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        while self.command != "HEAD" and (piece := reply.read1(65536)):
            self.wfile.write(piece if sized else b"%x\r\n%s\r\n" % (len(piece), piece))
        if not sized and self.command != "HEAD":
            self.wfile.write(b"0\r\n\r\n")
        program.close()

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
    parser.add_argument("-db", default="library.db")
    for flag in ("-plugins", "-ffmpeg", "-ffprobe", "-fpcalc"):
        parser.add_argument(flag)
    options = parser.parse_args()
    if options.version:
        print("1.0.0")
        return
    data = os.path.join(os.path.dirname(os.path.abspath(options.db)), "wrapped")
    os.makedirs(data, mode=0o700, exist_ok=True)
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        Handler.program_port = probe.getsockname()[1]
    words = shlex.split(os.environ.get("WRAPPED_SERVER") or COMMAND)
    values = {"port": Handler.program_port, "data": data}
    # In our own process group, so that it ends with us however we end.
    program = subprocess.Popen([word.format(**values) for word in words])
    signal.signal(signal.SIGTERM, lambda *_: program.terminate())
    host, port = options.addr.rsplit(":", 1)
    server = Server((host, int(port)), Handler)
    print(f"listening on http://{host}:{server.server_port}/", flush=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    status = program.wait()
    sys.exit(0 if status == -signal.SIGTERM else 1)


if __name__ == "__main__":
    main()
