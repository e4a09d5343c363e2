"""What the servers of the desktop tests have in common."""
import os
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import unquote

PAGES = os.environ.get("TEST_PAGES", ".")


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def reply(self, status, kind, body):
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Cache-Control", "no-store")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    # Adds a line to the file "reports", which the test reads.
    def take_report(self, query):
        with open(os.path.join(PAGES, "reports"), "a", encoding="utf-8") as reports:
            reports.write(unquote(query) + "\n")
        self.reply(200, "text/plain", b"")

    def log_message(self, *_):
        pass


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, request, client_address):
        pass  # a client that went away
