#!/usr/bin/env python3
"""Loopback HTTP server for the analytics tests.

Appends every request it receives to --log as one JSON line (method, path, headers, body), then
answers according to --mode: "ok" at once, "slow" after --delay seconds, "hang" never. Once
listening it writes its port to --ready, so the test can start it on a free port.
"""
import argparse
import json
import os
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

parser = argparse.ArgumentParser()
parser.add_argument("--log", required=True)
parser.add_argument("--ready", required=True)
parser.add_argument("--mode", choices=["ok", "slow", "hang"], default="ok")
parser.add_argument("--delay", type=float, default=0.0)
args = parser.parse_args()

log_lock = threading.Lock()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_POST(self):
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length)
        record = {
            "method": self.command,
            "path": self.path,
            "headers": {k.lower(): v for k, v in self.headers.items()},
            "body": body.decode("utf-8", "replace"),
        }
        with log_lock, open(args.log, "a", encoding="utf-8") as f:
            f.write(json.dumps(record) + "\n")
        if args.mode == "hang":
            threading.Event().wait()
        if args.mode == "slow":
            time.sleep(args.delay)
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    do_GET = do_POST
    do_PUT = do_POST

    def log_message(self, *unused):
        pass


server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
tmp = args.ready + ".tmp"
with open(tmp, "w", encoding="utf-8") as f:
    f.write(str(server.server_address[1]))
os.rename(tmp, args.ready)
server.serve_forever()
