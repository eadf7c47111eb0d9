#!/usr/bin/env python3
"""The report page in a real browser: runs qz-collector (SQLite, HTTP
ingestion and the report's own HTTPS listener on free loopback ports), posts
30 days of generated runs of two companies' applications in three versions
(with hostile texts among them), the example host's run and a batch of every
kind (data/kinds.xml), opens the page in headless Chromium, checks that the
screenshots are real pictures, and that every figure on the page is what the
database's own tables say, computed here with SQL and Python of this test's
own (never from the report's summary tables). Screenshots stay in WORK_DIR.

  page_test.py COLLECTOR HOST_EXAMPLE WORK_DIR
"""
import collections
import datetime
import html.parser
import http.client
import os
import random
import re
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import time
import uuid
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
PATH = "/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish"
BROWSER_ARGS = ["--headless", "--no-sandbox", "--disable-gpu", "--no-first-run", "--ignore-certificate-errors",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--hide-scrollbars"]
DAY = 86400000
MAX_DURATION = 30 * DAY
# Two companies, one application each, three versions between them.
APPS = [
    {"company": "11111111-0000-4000-8000-000000000001", "company_name": "Alpha <Tools> & Co",
     "application": "AAAAAAAA-0000-4000-8000-000000000001", "name": "Planner", "versions": ["1.0", "1.1", "2.0"]},
    {"company": "22222222-0000-4000-8000-000000000002", "company_name": "Beta GmbH",
     "application": "BBBBBBBB-0000-4000-8000-000000000002", "name": "Viewer \u00fc\u20ac", "versions": ["1.1", "2.0"]},
]
FEATURES = ["Open", "Save", "Export \u2192 PDF", "Print\x1b[2J", "Zoom " + "\u00fcber" * 20]
EXCEPTIONS = ["IOError", "NullReference", "Timeout<script>alert(1)</script>"]
SYSTEMS = ["Microsoft Windows 10 Pro", "Microsoft Windows 11 Home", "Debian GNU/Linux 12"]


def esc(text):
    """XML attribute text as the library writes it: 7-bit, everything else a reference."""
    out = []
    for ch in text:
        c = ord(ch)
        if ch in "&<>\"'":
            out.append({"&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;", "'": "&apos;"}[ch])
        elif c < 32 or c > 126:
            if c > 0xFFFF:
                c -= 0x10000
                out.append("&#x%x;&#x%x;" % (0xD800 + (c >> 10), 0xDC00 + (c & 0x3FF)))
            else:
                out.append("&#x%x;" % c)
        else:
            out.append(ch)
    return "".join(out)


def stamp(ms):
    return datetime.datetime.fromtimestamp(ms / 1000, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%S.%f")[:23] + "Z"


def guid(rng):
    return str(uuid.UUID(int=rng.getrandbits(128), version=4)).upper()


def run_batch(rng, app, version, user, host, os_name, start_ms, with_profile):
    """One run of the application as one batch: start, session, features, a probe, maybe a fault and a profile."""
    group = guid(rng)
    t = start_ms
    msgs = []

    def head(kind, ms, extra=""):
        return '<%s generated="%s" id="%s" session="%s"%s' % (kind, stamp(ms), guid(rng), group, extra)

    host_el = ('<host ip="10.0.0.%d" locale="en_US" name="%s" src-lang="MSC" src-lang-ver="160030319">\n'
               '<os name="%s" sp-major="0" sp-minor="0"/>\n</host>\n<user name="%s"/>\n' % (host % 250, "%032X" % host, esc(os_name), "%032X" % (user * 7919)))
    msgs.append(head("app-start", t) + ">\n" + host_el + "</app-start>\n")
    t += 1000
    msgs.append(head("session-start", t) + "/>\n")
    for _ in range(rng.randint(1, 6)):
        t += rng.randint(1000, 60000)
        name = rng.choice(FEATURES)
        if rng.random() < 0.5:
            fid = guid(rng)
            msgs.append('<feature generated="%s" id="%s" session="%s" group="%s" name="%s" event="tick"/>\n'
                        % (stamp(t), fid, group, fid, esc(name)))
        else:
            sid = guid(rng)
            msgs.append('<feature generated="%s" id="%s" session="%s" group="%s" name="%s" event="start"/>\n'
                        % (stamp(t), sid, group, sid, esc(name)))
            t += rng.randint(10, 900000)
            msgs.append('<feature generated="%s" id="%s" session="%s" group="%s" name="%s" event="stop"/>\n'
                        % (stamp(t), guid(rng), group, sid, esc(name)))
    t += 500
    cpu = rng.choice([0, rng.randint(1, 100)])
    msgs.append(head("performance-probe", t, ' name="%s"' % rng.choice(["Startup", "Render"])) +
                '>\n<memory available="4096" used="%d"/>\n' % rng.randint(50, 900) +
                ('<cpu utilization="%d"/>\n' % cpu if cpu else "") + "</performance-probe>\n")
    if rng.random() < 0.35:
        t += 100
        event = rng.choice(["caught", "caught", "uncaught", "thrown"])
        msgs.append(head("fault", t, ' event="%s"' % event) + '>\n<exception seq="0" exceptionType="%s" message="%s">\n'
                    '<stack seq="0" type="Doc" method="Load"/>\n<stack seq="1" type="App" method="Run"/>\n'
                    '</exception>\n</fault>\n' % (esc(rng.choice(EXCEPTIONS)), esc("failed at %d\x1b]0;title\x07" % t)))
    if with_profile:
        t += 100
        msgs.append(head("system-profile", t, ' manufacturer="Contoso" model="M%d"' % (host % 3)) + ">\n" +
                    '<cpu name="CPU0" manufacturer="%s" address-width="64" max-speed="%d"/>\n'
                    % (rng.choice(["Intel", "AMD"]), rng.choice([2400, 3600])) +
                    '<memory total="%d" capacity="%d"/>\n' % ((rng.choice([4, 8, 16]) * 1024 - 200,) * 2) +
                    '<domain member="false" name="workgroup" role="0"/>\n<time-zone zone="60" dst="false"/>\n' +
                    '<screen width="%d" height="%d"/>\n' % rng.choice([(1920, 1080), (2560, 1440)]) +
                    "</system-profile>\n")
    t += 2000
    msgs.append(head("session-stop", t) + "/>\n")
    body = ('<messages xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
            'xsi:noNamespaceSchemaLocation="http://localhost:8443/services/messaging" protocol="3" agent-name="Win32" '
            'agent-version="1.0" id="%s" message-group="%s" sent="%s">\n<company id="%s" name="%s"/>\n'
            '<application id="%s" name="%s" version="%s"/>\n' % (guid(rng), group, stamp(t), app["company"],
                                                                 esc(app["company_name"]), app["application"],
                                                                 esc(app["name"]), esc(version)))
    headers = {"Content-Type": "text/xml;charset=UTF-8", "X-QZ-CID": app["company"], "X-QZ-AID": app["application"],
               "X-QZ-GID": group, "X-QZ-API": "Win32/1.0"}
    return (body + "".join(msgs) + "</messages>\n").encode(), headers


def post(connection, body, headers):
    connection.request("POST", PATH, body, headers)
    answer = connection.getresponse()
    answer.read()
    if answer.status != 204:
        sys.exit("batch refused: %d" % answer.status)


def generate(port, today):
    rng = random.Random(20261124)
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
    first = today - 29 * DAY
    for a, app in enumerate(APPS):
        for day in range(30):
            for _ in range(rng.randint(1, 4)):
                user = a * 100 + rng.randint(1, 8)
                host = user + 5000 + (a * 3)
                version = app["versions"][min(len(app["versions"]) - 1, day * len(app["versions"]) // 30 + rng.randint(0, 1))]
                start = first + day * DAY + rng.randint(0, 20 * 3600 * 1000)
                body, headers = run_batch(rng, app, version, user, host, SYSTEMS[host % 3], start, rng.random() < 0.3)
                post(connection, body, headers)
                if rng.random() < 0.1:
                    post(connection, body, headers)  # posted twice: counted once


class Figures(html.parser.HTMLParser):
    """Every element with data- attributes, by the section it stands in, and the page's text."""

    def __init__(self):
        super().__init__()
        self.section = None
        self.table = None
        self.found = collections.defaultdict(list)
        self.text = []
        self.links = []

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        if tag == "section":
            self.section = attrs.get("id")
        if tag == "table":
            self.table = attrs.get("id")
        if tag == "a":
            self.links.append(attrs.get("href", ""))
        data = {k[5:]: v for k, v in attrs.items() if k.startswith("data-")}
        if data:
            self.found[attrs.get("id") or self.table or self.section].append(data)

    def handle_endtag(self, tag):
        if tag == "table":
            self.table = None

    def handle_data(self, data):
        self.text.append(data)


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


def page(url, work):
    figures = Figures()
    figures.feed(browser(url, work, "--dump-dom"))
    return figures


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


UNSAFE = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u2028\u2029\u202a-\u202e\u2066-\u2069]")


def shown(text):
    """A stored text as the page shows it in an attribute: control characters replaced."""
    return UNSAFE.sub("\ufffd", text or "")


def nearest_rank(values, p):
    values = sorted(values)
    if not values:
        return 0
    return values[max(1, min(len(values), (len(values) * p + 99) // 100)) - 1]


def memory_class(mb):
    if not mb or int(mb) <= 0:
        return "unknown"
    gb = 1
    while gb * 1024 < int(mb):
        gb *= 2
    return "%d GB" % gb


def expected(db, company, application, version, first, last):
    """The figures of one application, from the stored messages themselves."""
    con = sqlite3.connect(db)
    q = lambda sql, *p: con.execute(sql, p).fetchall()
    msgs = q("SELECT m.id, m.kind, m.generated, m.generated_ms, b.message_group, b.application_version "
             "FROM messages m JOIN batches b ON b.id = m.batch_id WHERE b.company_id = ? AND b.application_id = ?",
             company, application)
    runs = {}
    for group, user, host, os_name in q("SELECT b.message_group, u.name, h.name, h.os_name FROM messages m "
                                        "JOIN batches b ON b.id = m.batch_id JOIN hosts h ON h.message_id = m.id "
                                        "JOIN users u ON u.message_id = m.id"):
        runs.setdefault(group, (user, host if host not in (None, "", "N/A") else None, os_name or ""))
    in_version = lambda v: not version or v == version
    in_range = lambda day: first <= day <= last
    days = collections.defaultdict(lambda: {"users": set(), "installs": set(), "sessions": 0})
    first_seen = {}
    versions = collections.Counter()
    systems = collections.defaultdict(set)
    by_id = {}
    for mid, kind, generated, ms, group, v in msgs:
        by_id[mid] = (kind, generated, ms, group, v)
        day = generated[:10]
        user, host, os_name = runs.get(group, (None, None, ""))
        if in_version(v) and host:
            first_seen[host] = min(first_seen.get(host, day), day)
        if kind == "session-start" and in_range(day):
            versions[v] += 1
        if not in_version(v) or not in_range(day):
            continue
        d = days[day]
        if user:
            d["users"].add(user)
        if host:
            d["installs"].add(host)
            systems[os_name].add(host)
        d["sessions"] += kind == "session-start"
    e = {}
    day = first
    while day <= last:  # every day of the range is on the page, with or without data
        days[day]
        day = (datetime.date.fromisoformat(day) + datetime.timedelta(days=1)).isoformat()
    e["days"] = sorted(({"day": day, "users": str(len(d["users"])), "installs": str(len(d["installs"])),
                         "sessions": str(d["sessions"]),
                         "new-installs": str(sum(1 for f in first_seen.values() if f == day))}
                        for day, d in days.items()), key=lambda r: r["day"])
    users = set().union(*(d["users"] for d in days.values())) if days else set()
    installs = set().union(*(d["installs"] for d in days.values())) if days else set()
    e["totals"] = [{"users": str(len(users)), "installs": str(len(installs)),
                    "sessions": str(sum(d["sessions"] for d in days.values())),
                    "new-installs": str(sum(1 for f in first_seen.values() if in_range(f)))}]
    e["versions"] = list({"label": v, "sessions": str(c)} for v, c in versions.items())
    e["systems"] = list({"label": s, "installs": str(len(h))} for s, h in systems.items())

    features = collections.defaultdict(lambda: {"users": set(), "ticks": 0, "starts": 0, "times": []})
    for mid, name, event, group_id in q("SELECT message_id, name, event, group_id FROM features"):
        if mid not in by_id:
            continue
        kind, generated, ms, group, v = by_id[mid]
        if not in_version(v) or not in_range(generated[:10]):
            continue
        f = features[name]
        if event in ("tick", "start"):
            f["ticks" if event == "tick" else "starts"] += 1
            if runs.get(group, (None,))[0]:
                f["users"].add(runs[group][0])
        elif event == "stop" and group_id != mid and group_id in by_id:
            f["times"].append(min(max(ms - by_id[group_id][2], 0), MAX_DURATION))
    e["feature-table"] = sorted(({"name": shown(n), "users": str(len(f["users"])), "uses": str(f["ticks"] + f["starts"]),
                                  "pairs": str(len(f["times"])), "median-ms": str(nearest_rank(f["times"], 50)),
                                  "p90-ms": str(nearest_rank(f["times"], 90))} for n, f in features.items()),
                                key=lambda r: r["name"])

    faults = q("SELECT f.message_id, f.event, x.exception_type, x.message FROM faults f JOIN exceptions x "
               "ON x.message_id = f.message_id AND x.position = 0")
    per_version = collections.defaultdict(lambda: [0, 0, 0])
    for v, c in versions.items():
        if in_version(v):
            per_version[v][0] = c
    types = collections.defaultdict(lambda: [0, 0, None])
    for mid, event, typ, message in faults:
        if mid not in by_id:
            continue
        kind, generated, ms, group, v = by_id[mid]
        if not in_version(v) or not in_range(generated[:10]):
            continue
        per_version[v][1] += 1
        per_version[v][2] += event == "uncaught"
        t = types[typ]
        t[0] += 1
        t[1] += event == "uncaught"
        if t[2] is None or (ms, mid) > t[2][0]:
            t[2] = ((ms, mid), generated)
    e["version-faults"] = list({"version": v, "sessions": str(s), "faults": str(f), "uncaught": str(u)}
                                 for v, (s, f, u) in per_version.items())
    top = sorted(types.items(), key=lambda kv: (-kv[1][0], kv[0]))[:10]
    e["exception-types"] = list({"type": shown(t), "faults": str(c), "uncaught": str(u),
                                   "latest": latest[1]}
                                  for t, (c, u, latest) in top)

    probes = collections.defaultdict(lambda: ([], []))
    for mid, name, used, cpu in q("SELECT message_id, name, memory_used, cpu_utilization FROM probes"):
        if mid not in by_id:
            continue
        kind, generated, ms, group, v = by_id[mid]
        if in_version(v) and in_range(generated[:10]):
            probes[(name or "", generated[:10])][0].append(used)
            if cpu is not None:
                probes[(name or "", generated[:10])][1].append(cpu)
    e["probe-table"] = sorted(({"name": shown(n), "day": d, "probes": str(len(u)), "used-p50": str(nearest_rank(u, 50)),
                                "used-p90": str(nearest_rank(u, 90)),
                                "cpu-p50": str(nearest_rank(c, 50)) if c else "",
                                "cpu-p90": str(nearest_rank(c, 90)) if c else ""}
                               for (n, d), (u, c) in probes.items()), key=lambda r: (r["name"], r["day"]))

    latest = {}
    for mid, in q("SELECT message_id FROM profiles"):
        if mid not in by_id:
            continue
        kind, generated, ms, group, v = by_id[mid]
        if not in_version(v) or not in_range(generated[:10]):
            continue
        user, host, os_name = runs.get(group, (None, None, ""))
        key = host or "run " + group
        if key not in latest or (ms, mid) > latest[key][0]:
            latest[key] = ((ms, mid), os_name)
    machines = collections.Counter()
    for key, ((ms, mid), os_name) in latest.items():
        cpus = q("SELECT manufacturer, model, speed, max_speed FROM profile_cpus WHERE message_id = ? ORDER BY position", mid)
        maker, model, speed, top_speed = cpus[0]
        cpu = (maker + " " + model) if model else (maker or "unknown") + (" %s MHz" % (top_speed or speed) if (top_speed or speed) else "")
        if len(cpus) > 1:
            cpu += " (%d processors)" % len(cpus)
        memory = q("SELECT total FROM profile_memory WHERE message_id = ?", mid)
        screen = q("SELECT width, height FROM profile_screens WHERE message_id = ?", mid)
        machines[("Processors", cpu)] += 1
        machines[("Memory", memory_class(memory[0][0] if memory else None))] += 1
        machines[("Screens", "%sx%s" % screen[0] if screen else "unknown")] += 1
        machines[("Operating systems", os_name or "unknown")] += 1
    e["machines"] = list({"kind": k, "label": shown(l), "hosts": str(c)} for (k, l), c in machines.items())
    return e


def compare(failures, what, got, want):
    if got != want:
        failures.append("%s:\n  page     %r\n  database %r" % (what, got, want))


def check(failures, figures, want, sections):
    pick = lambda section, fields: sorted(({f: row.get(f) for f in fields} for row in figures.found.get(section, [])),
                                          key=lambda r: tuple(str(r.get(f)) for f in fields))
    fields = {"days": ("day", "users", "installs", "new-installs", "sessions"),
              "totals": ("users", "installs", "new-installs", "sessions"),
              "versions": ("label", "sessions"), "systems": ("label", "installs"),
              "feature-table": ("name", "users", "uses", "pairs", "median-ms", "p90-ms"),
              "version-faults": ("version", "sessions", "faults", "uncaught"),
              "exception-types": ("type", "faults", "uncaught", "latest"),
              "probe-table": ("name", "day", "probes", "used-p50", "used-p90", "cpu-p50", "cpu-p90"),
              "machines": ("kind", "label", "hosts")}
    for section in sections:
        f = fields[section]
        got = pick(section, f)
        if section == "machines":
            got = [r for r in got if r["kind"] is not None]
        compare(failures, section, got, sorted(want[section], key=lambda r: tuple(str(r.get(k)) for k in f)))


def main():
    collector, example, work = sys.argv[1:4]
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    db, ports = os.path.join(work, "c.db"), os.path.join(work, "ports")
    log = open(os.path.join(work, "log"), "w")
    server = subprocess.Popen([collector, "--db", db, "--create", "--http-port", "0", "--https-port", "-1",
                               "--report-listen", "127.0.0.1:0", "--ports-file", ports], stdout=log, stderr=log)
    failures = []
    now = int(time.time() * 1000)
    today = now - now % DAY
    first, last = stamp(today - 29 * DAY)[:10], stamp(today)[:10]
    try:
        deadline = time.time() + 60
        while not os.path.exists(ports):
            if server.poll() is not None or time.time() > deadline:
                sys.exit("the collector did not start")
            time.sleep(0.05)
        port, report = (int(p) for p in open(ports).read().split()[0::2])
        generate(port, today)
        env = dict(os.environ, no_proxy="127.0.0.1,localhost", NO_PROXY="127.0.0.1,localhost")
        subprocess.run([example, "127.0.0.1:%d%s" % (port, PATH)], check=True, env=env, timeout=120,
                       stdout=subprocess.DEVNULL)
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
        post(connection, open(os.path.join(HERE, "data", "kinds.xml"), "rb").read(),
             {"Content-Type": "text/xml;charset=UTF-8", "X-QZ-CID": "9531985D-5D9D-49F8-9818-E811892F902B",
              "X-QZ-AID": "36F675CC-81E7-4EF5-A8E2-5D940ED90475", "X-QZ-GID": "0000B0B0-0000-4000-8000-000000000001",
              "X-QZ-API": "Win32/1.0"})

        base = "https://127.0.0.1:%d/" % report
        app = "company=%s&application=%s" % (APPS[0]["company"], APPS[0]["application"])
        for view, height in (("overview", 2400), ("features", 1400), ("stability", 1600), ("performance", 2000),
                             ("machines", 2000)):
            shot = os.path.join(work, "report-%s.png" % view)
            browser(base + "?%s&view=%s" % (app, view), work, "--screenshot=" + shot, "--window-size=1100,%d" % height)
            problem = png_is_a_picture(shot, 1100, height) if os.path.exists(shot) else "no screenshot"
            if problem:
                failures.append("screenshot %s: %s" % (view, problem))
        sections = ["days", "totals", "versions", "systems", "feature-table", "version-faults", "exception-types",
                    "probe-table", "machines"]
        for a in APPS:
            figures = page(base + "?company=%s&application=%s&view=all" % (a["company"], a["application"]), work)
            check(failures, figures, expected(db, a["company"], a["application"], "", first, last), sections)
            for view in ("features", "stability", "machines"):
                if not any("view=" + view in link for link in figures.links):
                    failures.append("no link to the %s view" % view)
        # One version over part of the range.
        middle = stamp(today - 10 * DAY)[:10]
        figures = page(base + "?%s&version=2.0&from=%s&to=%s&view=all" % (app, first, middle), work)
        check(failures, figures, expected(db, APPS[0]["company"], APPS[0]["application"], "2.0", first, middle), sections)
        # Nothing in the range: every view says so.
        figures = page(base + "?%s&from=2001-01-01&to=2001-01-03&view=all" % app, work)
        text = " ".join(figures.text)
        for empty in ("No messages in this range.", "No features used in this range.", "No sessions or faults",
                      "No probes in this range.", "No system profiles in this range."):
            if empty not in text:
                failures.append("empty range: no %r" % empty)
        # The page is the same for every view's link, and no stored text reaches it raw.
        raw = browser(base + "?%s&view=all" % app, work, "--dump-dom")
        if "<script>alert(1)" in raw or "\x1b" in raw:
            failures.append("a stored text reached the page unescaped")
    finally:
        server.send_signal(signal.SIGTERM)
        server.wait(timeout=60)
        log.close()

    for f in failures:
        print("FAILED: " + f)
    print("%d passed, %d failed" % (0 if failures else 1, 1 if failures else 0))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
