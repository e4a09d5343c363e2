"""What the example "webapp" shows: a page, and a token for the window it is shown in.

Prints its origin once it listens on a port that the system chose.
"""
import http.server
import json


class Service(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.answer("text/html", "<!doctype html><title>Example</title><p>An application")

    def do_POST(self):
        marked = self.headers.get("x-example-app") == "1"
        cookie = "example_app=1" in self.headers.get("Cookie", "")
        if self.path != "/mint" or not marked or not cookie:
            self.send_error(403)
            return
        origin = "http://" + self.headers["Host"]
        self.answer("application/json", json.dumps({"token": "0123456789", "origin": origin}))

    def answer(self, kind, text):
        body = text.encode()
        self.send_response(200)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Service)
print(f"http://127.0.0.1:{server.server_port}", flush=True)
server.serve_forever()
