#!/usr/bin/env python3
# Loopback HTTP server for the analytics tests. Logs each request as a JSON line and answers as
# the path's second segment says: /<tag>/ok at once, /<tag>/slow-<seconds> late, /<tag>/hang never.
# Prints "<port> <log>", and exits once its parent is gone.
import json, os, tempfile, threading, time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

log_fd, log_path = tempfile.mkstemp(prefix="mavo-analytics-", suffix=".jsonl")
lock = threading.Lock()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        record = {"path": self.path, "body": body.decode(),
                  "headers": {k.lower(): v for k, v in self.headers.items()}}
        with lock:
            os.write(log_fd, (json.dumps(record) + "\n").encode())
        mode = (self.path.split("/") + [""] * 3)[2]
        if mode == "hang":
            threading.Event().wait()
        if mode.startswith("slow-"):
            time.sleep(float(mode[5:]))
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def log_message(self, *unused):
        pass


server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
parent = os.getppid()
threading.Thread(target=server.serve_forever, daemon=True).start()
print(server.server_address[1], log_path, flush=True)
while os.getppid() == parent:
    time.sleep(0.2)
os.remove(log_path)
