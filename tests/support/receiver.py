#!/usr/bin/env python3
"""Loopback collection endpoint for tests and the demo.

Listens on 127.0.0.1 over HTTP and HTTPS (self-signed certificate), and over
HTTPS with a certificate for localhost and 127.0.0.1 that a test authority
signed, and with one it signed for another host; records every request exactly as received and answers with a status
that the caller chooses. A small proxy beside it tunnels CONNECT requests to
those ports. Standard library and the openssl command only.

  receiver.py serve [--print] [--state-dir D] ...   run in the foreground
  receiver.py start --state-dir D                   run in the background
  receiver.py stop --state-dir D                    end a background receiver

--count-only keeps no request, only their number (for long benchmark runs).

The state directory receives "ports" (one line: "127.0.0.1 HTTP HTTPS CLOSED
SIGNED PROXY MISNAMED": CLOSED refuses connections, SIGNED is HTTPS with the
signed certificate, PROXY the CONNECT proxy, MISNAMED HTTPS with the signed
certificate for another host), "pid", "log", the certificates and
"ca.pem", the test authority.

Control requests (GET, on either port; never recorded):
  /__control/ping                        "ok"
  /__control/mode?status=404             answer every later request with 404
  /__control/mode?status=301&location=U  ... adding a Location header
  /__control/mode?status=503&retry_after=2  ... adding a Retry-After header
  /__control/mode?status=503&times=1     only the next request(s), then 204 again
  /__control/mode?status=hold            accept, read, record, never answer
  /__control/mode?status=400&match=T     ... only to requests whose body holds the
                                         text T (a later mode or reset ends it); 204 to others
  /__control/release                     let held connections go (closed unanswered)
  /__control/reset                       forget requests, back to 204, release
  /__control/count                       number of recorded requests
  /__control/request?index=N             raw bytes of request N (negative: from the end)
  /__control/requests                    all requests as JSON
  /__control/times                       arrival of each request, seconds, one a line
  /__control/pins                        "SELF SIGNED": SHA-256 of each HTTPS
                                         port's public key, base64
  /__control/tunnels                     targets the proxy tunnelled to, one a line
  /__control/proxy.pac                   a proxy script that names the proxy
"""

import argparse
import base64
import hashlib
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
           400: "Bad Request", 404: "Not Found", 429: "Too Many Requests",
           500: "Internal Server Error", 503: "Service Unavailable"}


class State:
    def __init__(self, status, printer, count_only=False):
        self.lock = threading.Lock()
        self.count_only = count_only
        self.requests = []
        self.status = status  # an int, or "hold"
        self.location = None
        self.retry_after = None
        self.times = None  # requests left before the answer goes back to 204
        self.match = None  # bytes: only bodies holding them get the status
        self.release = threading.Event()
        self.printer = printer
        self.pins = ""
        self.proxy_port = 0
        self.tunnels = []

    def record(self, entry):
        kept = {"time": entry["time"]} if self.count_only else entry
        with self.lock:
            self.requests.append(kept)
        if self.printer:
            self.printer(entry)

    def mode(self, body):
        """The answer for one recorded request (counting it off a limited mode)."""
        with self.lock:
            if self.match is not None and self.match not in body:
                return 204, None, None, self.release
            answer = self.status, self.location, self.retry_after, self.release
            if self.times is not None:
                self.times -= 1
                if self.times <= 0:
                    self.status, self.location, self.retry_after, self.times = 204, None, None, None
            return answer


def read_head(sock):
    """Returns (head bytes including the blank line, the bytes after it) or None."""
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = sock.recv(65536)
        if not chunk:
            return None
        data += chunk
        if len(data) > MAX_HEAD:
            return None
    end = data.index(b"\r\n\r\n") + 4
    return data[:end], data[end:]


def read_request(sock):
    """Returns (head bytes including the blank line, body bytes) or None."""
    got = read_head(sock)
    if got is None:
        return None
    head, rest = got
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
            state.retry_after = query.get("retry_after")
            state.times = int(query["times"]) if "times" in query else None
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
                state.retry_after = None
                state.times = None
                state.tunnels = []
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
    if command == "times":
        with state.lock:
            lines = "".join("%.3f\n" % e["time"] for e in state.requests)
        return answer(sock, 200, lines.encode())
    if command == "pins":
        return answer(sock, 200, state.pins.encode())
    if command == "tunnels":
        with state.lock:
            lines = "".join(t + "\n" for t in state.tunnels)
        return answer(sock, 200, lines.encode())
    if command == "proxy.pac":
        # By name: Wine's WinHTTP tunnels only to a host named differently
        # from its proxy, and the tests post to 127.0.0.1.
        script = ('function FindProxyForURL(url, host) { return "PROXY localhost:%d"; }\n'
                  % state.proxy_port)
        return answer(sock, 200, script.encode())
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
                status, location, retry_after, release = state.mode(body)
                if status == "hold":
                    release.wait(HOLD_LIMIT_SECONDS)
                    return
                extra = ["Location: %s" % location] if location else []
                if retry_after is not None:
                    extra.append("Retry-After: %s" % retry_after)
                answer(sock, status, b"ignored by the client", extra)
            except (OSError, ssl.SSLError, ValueError):
                pass
            finally:
                try:
                    sock.close()
                except OSError:
                    pass

    return Handler


def pipe(source, target):
    try:
        while True:
            data = source.recv(65536)
            if not data:
                break
            target.sendall(data)
    except OSError:
        pass
    finally:
        for sock in (source, target):
            try:
                sock.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


def make_proxy_handler(state):
    """CONNECT to this machine's receiver ports only; anything else is refused."""
    class Handler(socketserver.BaseRequestHandler):
        def handle(self):
            client = self.request
            client.settimeout(SOCKET_TIMEOUT_SECONDS)
            upstream = None
            try:
                # A CONNECT may name a Content-Length (Wine's does): the bytes
                # after its head belong to the tunnel, whatever it says.
                got = read_head(client)
                if got is None:
                    return
                request_line, _ = parse_head(got[0])
                parts = request_line.split(" ")
                host, _, port = parts[1].rpartition(":") if len(parts) == 3 else ("", "", "")
                if parts[0] != "CONNECT" or host not in (HOST, "localhost") or not port.isdigit():
                    return answer(client, 400, b"CONNECT to the receiver only")
                with state.lock:
                    state.tunnels.append(parts[1])
                upstream = socket.create_connection((HOST, int(port)), SOCKET_TIMEOUT_SECONDS)
                client.sendall(b"HTTP/1.1 200 Connection established\r\n\r\n")
                if got[1]:
                    upstream.sendall(got[1])
                back = threading.Thread(target=pipe, args=(upstream, client), daemon=True)
                back.start()
                pipe(client, upstream)
                back.join(SOCKET_TIMEOUT_SECONDS)
            except (OSError, ValueError):
                pass
            finally:
                for sock in (client, upstream):
                    if sock is not None:
                        try:
                            sock.close()
                        except OSError:
                            pass

    return Handler


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    allow_reuse_address = True
    request_queue_size = 64


def openssl(*args):
    subprocess.run(("openssl",) + args, check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def make_certificate(directory):
    cert = os.path.join(directory, "cert.pem")
    key = os.path.join(directory, "key.pem")
    if not (os.path.exists(cert) and os.path.exists(key)):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "30",
                "-subj", "/CN=localhost", "-keyout", key, "-out", cert)
    return cert, key


def make_signed_certificate(directory, name, names, serial):
    """A certificate for names that the test authority ("ca.pem", made when
    missing) signed."""
    ca, ca_key = os.path.join(directory, "ca.pem"), os.path.join(directory, "ca-key.pem")
    cert, key = os.path.join(directory, name + ".pem"), os.path.join(directory, name + "-key.pem")
    if not (os.path.exists(ca) and os.path.exists(ca_key)):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "30",
                "-subj", "/CN=qz test authority", "-keyout", ca_key, "-out", ca,
                "-addext", "basicConstraints=critical,CA:TRUE",
                "-addext", "keyUsage=critical,keyCertSign,cRLSign")
    if os.path.exists(cert) and os.path.exists(key):
        return cert, key
    request, extensions = os.path.join(directory, name + ".csr"), os.path.join(directory, name + ".ext")
    with open(extensions, "w") as f:
        f.write("subjectAltName=%s\nbasicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n"
                % names)
    openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=" + names.split(":")[1].split(",")[0],
            "-keyout", key, "-out", request)
    openssl("x509", "-req", "-in", request, "-CA", ca, "-CAkey", ca_key, "-set_serial", str(serial),
            "-days", "30", "-extfile", extensions, "-out", cert)
    return cert, key


def tls_context(cert, key):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    return context


def public_key_pin(cert):
    """SHA-256 of the certificate's public key (SubjectPublicKeyInfo), base64."""
    pem = subprocess.run(["openssl", "x509", "-pubkey", "-noout", "-in", cert], check=True,
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.decode()
    der = base64.b64decode("".join(l for l in pem.splitlines() if l and not l.startswith("-----")))
    return base64.b64encode(hashlib.sha256(der).digest()).decode()


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
    signed_cert, signed_key = make_signed_certificate(
        state_dir, "signed", "DNS:localhost,IP:127.0.0.1", 2)
    misnamed_cert, misnamed_key = make_signed_certificate(
        state_dir, "misnamed", "DNS:collector.invalid", 3)
    state = State(args.status, print_entry if args.print else None, args.count_only)
    state.pins = "%s %s" % (public_key_pin(cert), public_key_pin(signed_cert))

    http = Server((HOST, args.http_port), make_handler(state, "http", None))
    https = Server((HOST, args.https_port), make_handler(state, "https", tls_context(cert, key)))
    signed = Server((HOST, 0), make_handler(state, "https", tls_context(signed_cert, signed_key)))
    misnamed = Server((HOST, 0), make_handler(state, "https",
                                              tls_context(misnamed_cert, misnamed_key)))
    proxy = Server((HOST, 0), make_proxy_handler(state))
    state.proxy_port = proxy.server_address[1]
    # Bound but never listening: connecting to it is refused at once.
    closed = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    closed.bind((HOST, 0))

    servers = (http, https, signed, proxy, misnamed)
    for server in servers:
        threading.Thread(target=server.serve_forever, args=(0.1,), daemon=True).start()
    ports = "%s %d %d %d %d %d %d\n" % (HOST, http.server_address[1], https.server_address[1],
                                        closed.getsockname()[1], signed.server_address[1],
                                        proxy.server_address[1], misnamed.server_address[1])
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
    for server in servers:
        server.shutdown()
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
