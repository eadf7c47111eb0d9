#!/usr/bin/env python3
"""Loopback collection endpoint for tests and the demo.

Listens on 127.0.0.1 over HTTP and HTTPS (self-signed certificate), records
every request exactly as received and answers with a status that the caller
chooses. Standard library only.

  receiver.py serve [--print] [--state-dir D] ...   run in the foreground
  receiver.py start --state-dir D                   run in the background
  receiver.py stop --state-dir D                    end a background receiver

--count-only keeps no request, only their number (for long benchmark runs).

The state directory receives "ports" (one line: "127.0.0.1 HTTP HTTPS CLOSED",
CLOSED being a port that refuses connections), "pid", "log" and the
certificate.

Control requests (GET, on either port; never recorded):
  /__control/ping                        "ok"
  /__control/mode?status=404             answer every later request with 404
  /__control/mode?status=301&location=U  ... adding a Location header
  /__control/mode?status=hold            accept, read, record, never answer
  /__control/mode?status=400&match=T     ... only to requests whose body holds the
                                         text T (a later mode or reset ends it); 204 to others
  /__control/release                     let held connections go (closed unanswered)
  /__control/reset                       forget requests, back to 204, release
  /__control/count                       number of recorded requests
  /__control/request?index=N             raw bytes of request N (negative: from the end)
  /__control/requests                    all requests as JSON
"""

import argparse
import base64
import json
import os
import signal
import socket
import socketserver
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

HOST = "127.0.0.1"
MAX_HEAD = 1 << 20
MAX_BODY = 64 << 20
HOLD_LIMIT_SECONDS = 300
SOCKET_TIMEOUT_SECONDS = 60
REASONS = {200: "OK", 204: "No Content", 301: "Moved Permanently", 302: "Found",
           400: "Bad Request", 404: "Not Found", 500: "Internal Server Error",
           503: "Service Unavailable"}


class State:
    def __init__(self, status, printer, count_only=False):
        self.lock = threading.Lock()
        self.count_only = count_only
        self.requests = []
        self.status = status  # an int, or "hold"
        self.location = None
        self.match = None  # bytes: only bodies holding them get the status
        self.release = threading.Event()
        self.printer = printer

    def record(self, entry):
        kept = {"time": entry["time"]} if self.count_only else entry
        with self.lock:
            self.requests.append(kept)
        if self.printer:
            self.printer(entry)

    def mode(self, body):
        with self.lock:
            if self.match is not None and self.match not in body:
                return 204, None, self.release
            return self.status, self.location, self.release


def read_request(sock):
    """Returns (head bytes including the blank line, body bytes) or None."""
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = sock.recv(65536)
        if not chunk:
            return None
        data += chunk
        if len(data) > MAX_HEAD:
            return None
    end = data.index(b"\r\n\r\n") + 4
    head, rest = data[:end], data[end:]
    length = 0
    chunked = False
    for line in head.split(b"\r\n")[1:]:
        name, _, value = line.partition(b":")
        name = name.strip().lower()
        if name == b"content-length":
            length = int(value.strip() or b"0")
        elif name == b"transfer-encoding" and b"chunked" in value.lower():
            chunked = True
    if chunked:
        while not rest.endswith(b"0\r\n\r\n"):
            chunk = sock.recv(65536)
            if not chunk:
                break
            rest += chunk
            if len(rest) > MAX_BODY:
                break
        return head, rest
    length = min(length, MAX_BODY)
    while len(rest) < length:
        chunk = sock.recv(min(65536, length - len(rest)))
        if not chunk:
            break
        rest += chunk
    return head, rest


def parse_head(head):
    lines = head.split(b"\r\n")
    request_line = lines[0].decode("latin-1")
    headers = []
    for line in lines[1:]:
        if not line:
            continue
        name, _, value = line.decode("latin-1").partition(":")
        headers.append([name, value.strip()])
    return request_line, headers


def answer(sock, status, body=b"", extra=()):
    reason = REASONS.get(status, "Status")
    lines = ["HTTP/1.1 %d %s" % (status, reason), "Connection: close"]
    if status != 204 and status >= 200:
        lines.append("Content-Type: text/plain")
        lines.append("Content-Length: %d" % len(body))
    else:
        body = b""
    lines.extend(extra)
    sock.sendall(("\r\n".join(lines) + "\r\n\r\n").encode("latin-1") + body)


def control(state, path, sock):
    url = urllib.parse.urlsplit(path)
    query = dict(urllib.parse.parse_qsl(url.query))
    command = url.path[len("/__control/"):]
    if command == "ping":
        return answer(sock, 200, b"ok")
    if command == "mode":
        value = query.get("status", "204")
        with state.lock:
            if value == "hold":
                state.status = "hold"
            else:
                state.status = int(value)
            state.location = query.get("location")
            match = query.get("match")
            state.match = match.encode("utf-8") if match else None
            if state.status != "hold":
                state.release.set()
                state.release = threading.Event()
        return answer(sock, 200, b"ok")
    if command in ("release", "reset"):
        with state.lock:
            state.release.set()
            state.release = threading.Event()
            if command == "reset":
                state.requests = []
                state.status = 204
                state.location = None
                state.match = None
        return answer(sock, 200, b"ok")
    if command == "count":
        with state.lock:
            count = len(state.requests)
        return answer(sock, 200, str(count).encode())
    if command == "request":
        with state.lock:
            try:
                entry = state.requests[int(query.get("index", "-1"))]
            except (IndexError, ValueError):
                entry = None
        if entry is None:
            return answer(sock, 404, b"no such request")
        return answer(sock, 200, entry["raw"])
    if command == "requests":
        with state.lock:
            entries = list(state.requests)
        out = [{"scheme": e["scheme"], "request_line": e["request_line"],
                "headers": e["headers"], "time": e["time"],
                "body_base64": base64.b64encode(e["body"]).decode("ascii"),
                "body_text": e["body"].decode("utf-8", "replace")} for e in entries]
        return answer(sock, 200, json.dumps(out, indent=1).encode())
    return answer(sock, 404, b"unknown control command")


def make_handler(state, scheme, context):
    class Handler(socketserver.BaseRequestHandler):
        def handle(self):
            sock = self.request
            sock.settimeout(SOCKET_TIMEOUT_SECONDS)
            try:
                if context is not None:
                    sock = context.wrap_socket(sock, server_side=True)
                got = read_request(sock)
                if got is None:
                    return
                head, body = got
                request_line, headers = parse_head(head)
                parts = request_line.split(" ")
                if len(parts) >= 2 and parts[1].startswith("/__control/"):
                    return control(state, parts[1], sock)
                state.record({"scheme": scheme, "raw": head + body, "head": head,
                              "request_line": request_line, "headers": headers,
                              "body": body, "time": time.time()})
                status, location, release = state.mode(body)
                if status == "hold":
                    release.wait(HOLD_LIMIT_SECONDS)
                    return
                extra = ["Location: %s" % location] if location else []
                answer(sock, status, b"ignored by the client", extra)
            except (OSError, ssl.SSLError, ValueError):
                pass
            finally:
                try:
                    sock.close()
                except OSError:
                    pass

    return Handler


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    allow_reuse_address = True
    request_queue_size = 64


def make_certificate(directory):
    cert = os.path.join(directory, "cert.pem")
    key = os.path.join(directory, "key.pem")
    if not (os.path.exists(cert) and os.path.exists(key)):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes",
                        "-days", "30", "-subj", "/CN=localhost", "-keyout", key, "-out", cert],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return cert, key


def print_entry(entry):
    lines = ["=== %s %s (%d body bytes)" % (entry["scheme"], entry["request_line"],
                                             len(entry["body"]))]
    lines += ["%s: %s" % (n, v) for n, v in entry["headers"]]
    lines += ["", entry["body"].decode("utf-8", "replace"), ""]
    sys.stdout.write("\n".join(lines) + "\n")
    sys.stdout.flush()


def serve(args):
    state_dir = args.state_dir or tempfile.mkdtemp(prefix="qz-receiver-")
    os.makedirs(state_dir, exist_ok=True)
    cert, key = (args.cert, args.key) if args.cert else make_certificate(state_dir)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    state = State(args.status, print_entry if args.print else None, args.count_only)

    http = Server((HOST, args.http_port), make_handler(state, "http", None))
    https = Server((HOST, args.https_port), make_handler(state, "https", context))
    # Bound but never listening: connecting to it is refused at once.
    closed = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    closed.bind((HOST, 0))

    for server in (http, https):
        threading.Thread(target=server.serve_forever, args=(0.1,), daemon=True).start()
    ports = "%s %d %d %d\n" % (HOST, http.server_address[1], https.server_address[1],
                               closed.getsockname()[1])
    temporary = os.path.join(state_dir, "ports.tmp")
    with open(temporary, "w") as f:
        f.write(ports)
    os.replace(temporary, os.path.join(state_dir, "ports"))
    sys.stderr.write("receiver: " + ports)
    sys.stderr.flush()

    done = threading.Event()
    signal.signal(signal.SIGTERM, lambda *_: done.set())
    try:
        while not done.wait(0.1):
            pass
    except KeyboardInterrupt:
        pass
    http.shutdown()
    https.shutdown()
    closed.close()
    with state.lock:
        state.release.set()
    return 0


def stop(args):
    pid_file = os.path.join(args.state_dir, "pid")
    try:
        with open(pid_file) as f:
            pid = int(f.read().strip())
    except (OSError, ValueError):
        return 0
    try:
        os.kill(pid, signal.SIGTERM)
        for _ in range(100):
            time.sleep(0.05)
            os.kill(pid, 0)
        os.kill(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    for name in ("pid", "ports"):
        try:
            os.remove(os.path.join(args.state_dir, name))
        except OSError:
            pass
    return 0


def start(args):
    os.makedirs(args.state_dir, exist_ok=True)
    stop(args)
    command = [sys.executable, os.path.abspath(__file__), "serve", "--state-dir", args.state_dir,
               "--status", str(args.status), "--http-port", str(args.http_port),
               "--https-port", str(args.https_port)]
    if args.cert:
        command += ["--cert", args.cert, "--key", args.key]
    if args.count_only:
        command.append("--count-only")
    with open(os.path.join(args.state_dir, "log"), "ab") as log:
        child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                 start_new_session=True)
    with open(os.path.join(args.state_dir, "pid"), "w") as f:
        f.write("%d\n" % child.pid)
    ports = os.path.join(args.state_dir, "ports")
    deadline = time.time() + 30
    while time.time() < deadline:
        if child.poll() is not None:
            sys.stderr.write("receiver: exited early, see %s/log\n" % args.state_dir)
            return 1
        if os.path.exists(ports):
            with open(ports) as f:
                sys.stdout.write(f.read())
            return 0
        time.sleep(0.05)
    sys.stderr.write("receiver: did not start within 30 s\n")
    child.kill()
    return 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("command", choices=("serve", "start", "stop"))
    parser.add_argument("--state-dir")
    parser.add_argument("--http-port", type=int, default=0)
    parser.add_argument("--https-port", type=int, default=0)
    parser.add_argument("--status", type=int, default=204)
    parser.add_argument("--cert")
    parser.add_argument("--key")
    parser.add_argument("--print", action="store_true", help="print every request received")
    parser.add_argument("--count-only", action="store_true", help="keep no request, only their number")
    args = parser.parse_args()
    if args.cert and not args.key:
        parser.error("--cert needs --key")
    if args.command != "serve" and not args.state_dir:
        parser.error("%s needs --state-dir" % args.command)
    return {"serve": serve, "start": start, "stop": stop}[args.command](args)


if __name__ == "__main__":
    sys.exit(main())
