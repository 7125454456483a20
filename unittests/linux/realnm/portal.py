#!/usr/bin/python3
"""The HTTP server NetworkManager's connectivity check asks in the real NetworkManager tests.

Usage: portal.py ADDRESS PORT MODE_FILE. Each request reads MODE_FILE: "full" answers 200 with
the body the daemon is configured to expect, "portal" redirects to a login page the way a hotel
network does, "silent" closes the connection without an answer, anything else answers 500 with an
unexpected body.
"""
import http.server
import sys

address, port, mode_file = sys.argv[1], int(sys.argv[2]), sys.argv[3]


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        try:
            with open(mode_file, encoding="ascii") as f:
                mode = f.read().strip()
        except OSError:
            mode = "full"
        if mode == "full":
            self.answer(200, b"realnm-ok", {})
        elif mode == "silent":
            self.close_connection = True  # no answer at all: the connection just closes
        elif mode == "portal":
            self.answer(302, b"<html>Sign in first</html>", {"Location": "http://10.20.0.1/login"})
        else:
            self.answer(500, b"broken", {})

    def answer(self, status, body, headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Type", "text/plain")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, format, *args):
        sys.stderr.write("%s %s\n" % (self.requestline, format % args))


http.server.ThreadingHTTPServer((address, port), Handler).serve_forever()
