#!/usr/bin/env python3
"""The report page in a real browser: runs qz-collector (SQLite, HTTP on a
free loopback port), fills it with the example host's runs and a batch of
every other kind (data/kinds.xml), opens "/" in headless Chromium, checks that
the screenshot is a real picture, and that every figure on the page is what
the database says (computed here with SQL of its own).

  page_test.py COLLECTOR HOST_EXAMPLE WORK_DIR
"""
import collections
import datetime
import html.parser
import http.client
import os
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import time
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
PATH = "/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish"
GROUP = "0000B0B0-0000-4000-8000-000000000001"
BROWSER_ARGS = ["--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--hide-scrollbars"]


class Figures(html.parser.HTMLParser):
    """Every element with data- attributes, by the section it stands in."""

    def __init__(self):
        super().__init__()
        self.section = None
        self.found = collections.defaultdict(list)

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        if tag == "section":
            self.section = attrs.get("id")
        data = {k[5:]: v for k, v in attrs.items() if k.startswith("data-")}
        if data:
            self.found[attrs.get("id") or self.section].append(data)


def browser(url, work, *args):
    profile = os.path.join(work, "chromium-%d" % len(os.listdir(work)))
    shutil.rmtree(profile, ignore_errors=True)
    os.makedirs(profile)
    result = subprocess.run(["chromium"] + BROWSER_ARGS + ["--user-data-dir=" + profile] + list(args) + [url],
                            capture_output=True, text=True, timeout=120, cwd=work)
    shutil.rmtree(profile, ignore_errors=True)
    if result.returncode != 0:
        sys.exit("chromium failed: " + result.stderr[-2000:])
    return result.stdout


def png_is_a_picture(path, width, height):
    """A PNG of the window's size whose pixels are not all alike."""
    data = open(path, "rb").read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        return "not a PNG"
    w, h = struct.unpack(">II", data[16:24])
    if (w, h) != (width, height):
        return "size %dx%d" % (w, h)
    idat, pos = b"", 8
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        if kind == b"IDAT":
            idat += data[pos + 8:pos + 8 + length]
        pos += 12 + length
    distinct = len(set(zlib.decompress(idat)))
    return None if distinct > 40 else "only %d distinct byte values: a blank page?" % distinct


def rows(dicts):
    return sorted(dicts, key=lambda d: tuple(sorted(d.items())))


def millis(text):
    return int(datetime.datetime.strptime(text, "%Y-%m-%dT%H:%M:%S.%fZ")
               .replace(tzinfo=datetime.timezone.utc).timestamp() * 1000 + 0.5)


def expected(db):
    con = sqlite3.connect(db)
    q = lambda sql: con.execute(sql).fetchall()
    e = {"totals": [{"batches": str(q("SELECT COUNT(*) FROM batches")[0][0]),
                     "messages": str(q("SELECT COUNT(*) FROM messages")[0][0]), "store": "sqlite"}]}
    uses = collections.Counter(n for n, in q("SELECT name FROM features WHERE event IN ('tick', 'start')"))
    e["features-by-use"] = rows({"name": n, "uses": str(c)} for n, c in uses.items())
    times = {}
    starts = {i: (n, g) for i, n, g in q("SELECT f.message_id, f.name, m.generated FROM features f "
                                         "JOIN messages m ON m.id = f.message_id WHERE f.event = 'start'")}
    for mid, group, name, when in q("SELECT f.message_id, f.group_id, f.name, m.generated FROM features f "
                                    "JOIN messages m ON m.id = f.message_id WHERE f.event = 'stop'"):
        if group != mid and group in starts:
            pairs, total = times.get(name, (0, 0))
            times[name] = (pairs + 1, total + millis(when) - millis(starts[group][1]))
    e["features-by-time"] = rows({"name": n, "pairs": str(p), "total-ms": str(t)} for n, (p, t) in times.items())
    days = collections.Counter(g[:10] for g, in q("SELECT generated FROM messages WHERE kind = 'session-start'"))
    e["sessions-per-day"] = rows({"day": d, "sessions": str(c)} for d, c in days.items())
    faults = collections.defaultdict(lambda: [0, 0])
    for typ, event in q("SELECT x.exception_type, f.event FROM faults f JOIN exceptions x "
                        "ON x.message_id = f.message_id WHERE x.position = 0"):
        faults[typ][0] += 1
        faults[typ][1] += event == "uncaught"
    e["faults-by-type"] = rows({"type": t, "faults": str(f), "uncaught": str(u)} for t, (f, u) in faults.items())
    probes = collections.defaultdict(list)
    for when, name, used, avail, cpu in q("SELECT m.generated, p.name, p.memory_used, p.memory_available, "
                                          "p.cpu_utilization FROM probes p JOIN messages m ON m.id = p.message_id"):
        probes[(when[:13], name or "")].append((used, avail, cpu))
    avg = lambda values: str(int(sum(values) / len(values) + 0.5)) if values else ""
    e["probes"] = rows({"hour": h, "name": n, "probes": str(len(v)), "used": avg([x[0] for x in v]),
                          "available": avg([x[1] for x in v]), "cpu": avg([x[2] for x in v if x[2] is not None])}
                         for (h, n), v in probes.items())
    return e


def main():
    collector, example, work = sys.argv[1:4]
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    db, ports = os.path.join(work, "c.db"), os.path.join(work, "ports")
    log = open(os.path.join(work, "log"), "w")
    server = subprocess.Popen([collector, "--db", db, "--create", "--http-port", "0", "--https-port", "-1",
                               "--ports-file", ports], stdout=log, stderr=log)
    failures = []
    try:
        deadline = time.time() + 60
        while not os.path.exists(ports):
            if server.poll() is not None or time.time() > deadline:
                sys.exit("the collector did not start")
            time.sleep(0.05)
        port = int(open(ports).read().split()[0])
        env = dict(os.environ, no_proxy="127.0.0.1,localhost", NO_PROXY="127.0.0.1,localhost")
        subprocess.run([example, "127.0.0.1:%d%s" % (port, PATH)], check=True, env=env, timeout=120,
                       stdout=subprocess.DEVNULL)
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
        connection.request("POST", PATH, open(os.path.join(HERE, "data", "kinds.xml"), "rb").read(),
                           {"Content-Type": "text/xml;charset=UTF-8",
                            "X-QZ-CID": "9531985D-5D9D-49F8-9818-E811892F902B",
                            "X-QZ-AID": "36F675CC-81E7-4EF5-A8E2-5D940ED90475",
                            "X-QZ-GID": GROUP, "X-QZ-API": "Win32/1.0"})
        answer = connection.getresponse()
        if answer.status != 204:
            sys.exit("kinds.xml refused: %d %s" % (answer.status, answer.read()))

        url = "http://127.0.0.1:%d/" % port
        screenshot = os.path.join(work, "report.png")
        browser(url, work, "--screenshot=" + screenshot, "--window-size=1100,2600")
        problem = png_is_a_picture(screenshot, 1100, 2600) if os.path.exists(screenshot) else "no screenshot"
        if problem:
            failures.append("screenshot: " + problem)
        page = Figures()
        page.feed(browser(url, work, "--dump-dom"))
    finally:
        server.send_signal(signal.SIGTERM)
        server.wait(timeout=60)
        log.close()

    want = expected(db)
    keys = {"features-by-use": ("name", "uses"), "features-by-time": ("name", "pairs", "total-ms"),
            "sessions-per-day": ("day", "sessions"), "faults-by-type": ("type", "faults", "uncaught"),
            "probes": ("hour", "name", "probes", "used", "available", "cpu"),
            "totals": ("batches", "messages", "store")}
    for section, fields in keys.items():
        got = rows({f: row.get(f) for f in fields} for row in page.found.get(section, []))
        if got != want[section]:
            failures.append("%s: page %r, database %r" % (section, got, want[section]))
    profiles = page.found.get("profiles", [])
    hosts = [p.get("host") for p in profiles if "host" in p]
    if "0CC175B9C0F1B6A831C399E269772661" not in hosts:
        failures.append("profiles: %r" % profiles)
    for f in failures:
        print("FAILED: " + f)
    print("%d passed, %d failed" % (0 if failures else 1, 1 if failures else 0))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
