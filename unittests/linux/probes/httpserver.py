"""The HTTP server of the probe tests' private network: python3 httpserver.py ADDRESS PORT.
With PORT 0 it takes a free port and prints it on a line of its own once it listens.

/generate_204 answers 204 with no body, /success 200 with the body "Success", /welcome 200 with a
sign-in page, /redirect a 302 to http://portal.test/login, and /silent accepts the request and never
answers. Anything else is 404.
"""

import http.server
import sys
import threading


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self, with_body):
        if self.path == "/silent":
            threading.Event().wait()
        status, headers, body = {
            "/generate_204": (204, {}, b""),
            "/success": (200, {"Content-Type": "text/plain"}, b"Success"),
            "/welcome": (200, {"Content-Type": "text/html"}, b"<html>Sign in to continue</html>"),
            "/redirect": (302, {"Location": "http://portal.test/login"}, b""),
        }.get(self.path, (404, {}, b"not here"))
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.send_header("Connection", "close")
        self.end_headers()
        if with_body:
            self.wfile.write(body)

    def do_GET(self):
        self.answer(True)

    def do_HEAD(self):
        self.answer(False)

    def log_message(self, format, *args):
        sys.stderr.write("%s %s\n" % (self.address_string(), format % args))


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True


if __name__ == "__main__":
    server = Server((sys.argv[1], int(sys.argv[2])), Handler)
    if int(sys.argv[2]) == 0:
        print(server.server_address[1], flush=True)
    server.serve_forever()
