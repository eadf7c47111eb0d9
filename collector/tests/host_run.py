#!/usr/bin/env python3
"""End to end with the real library: runs qz-collector (SQLite, HTTP and
HTTPS on free loopback ports), lets the library's own host programs report to
it, stops it, and checks what it stored.

  host_run.py COLLECTOR HOST_EXAMPLE TEXT_HOST WORK_DIR
"""
import os
import signal
import sqlite3
import subprocess
import sys
import time

PATH = "/Tessary.Web.Services.Messaging/MessagingServiceV3.svc"


def main():
    collector, example, text_host, work = sys.argv[1:5]
    os.makedirs(work, exist_ok=True)
    for name in ("c.db", "c.db-wal", "c.db-shm", "ports", "log"):
        if os.path.exists(os.path.join(work, name)):
            os.remove(os.path.join(work, name))
    db = os.path.join(work, "c.db")
    ports = os.path.join(work, "ports")
    log = open(os.path.join(work, "log"), "w")
    server = subprocess.Popen([collector, "--db", db, "--create", "--http-port", "0", "--https-port", "0",
                               "--report-listen", "127.0.0.1:0", "--ports-file", ports, "--verbose"],
                              stdout=log, stderr=log)
    failures = []
    try:
        deadline = time.time() + 60
        while not os.path.exists(ports):
            if server.poll() is not None or time.time() > deadline:
                print(open(os.path.join(work, "log")).read())
                sys.exit("the collector did not start")
            time.sleep(0.05)
        http, https = open(ports).read().split()[:2]
        env = dict(os.environ, no_proxy="127.0.0.1,localhost", NO_PROXY="127.0.0.1,localhost")
        runs = [[example, "127.0.0.1:%s%s/Publish" % (http, PATH)],
                [example, "127.0.0.1:%s%s" % (https, PATH), "--https"],
                [text_host, "127.0.0.1:%s%s/Publish" % (http, PATH), os.path.join(work, "expected")]]
        for run in runs:
            subprocess.run(run, check=True, env=env, timeout=120, stdout=subprocess.DEVNULL)
    finally:
        server.send_signal(signal.SIGTERM)
        server.wait(timeout=60)
        log.close()
    output = open(os.path.join(work, "log")).read()
    if server.returncode != 0:
        failures.append("the collector exited with %d" % server.returncode)
    if "warning Collector::Publish" in output:
        failures.append("the collector refused a batch:\n" + output)

    con = sqlite3.connect(db)
    q = lambda sql, *args: con.execute(sql, args).fetchall()
    # Two batches per run of the example host (start and stop), over both schemes.
    if q("SELECT COUNT(*) FROM batches WHERE agent = 'Linux/1.0'")[0][0] < 5:
        failures.append("batches: %r" % q("SELECT id, message_count FROM batches"))
    pairs = q("SELECT COUNT(*) FROM features e JOIN features s ON s.message_id = e.group_id "
              "WHERE e.event = 'stop' AND s.event = 'start' AND s.name = e.name")[0][0]
    if pairs != 3:
        failures.append("paired features: %d" % pairs)
    titles = q("SELECT DISTINCT value FROM properties WHERE name = 'title'")
    if titles != [("Jahresbericht \u00fcber M\u00e4rkte",)]:
        failures.append("title: %r" % titles)
    con.text_factory = bytes
    for line in open(os.path.join(work, "expected")):
        key, hexed = line.rstrip("\n").split("\t")
        want = bytes.fromhex(hexed)
        if key == "feature":
            got = {r[0] for r in q("SELECT name FROM features WHERE name LIKE ?", "Export %")}
        else:
            got = {r[0] for r in q("SELECT value FROM properties WHERE name = ?", key)}
        if got != {want}:
            failures.append("%s: stored %r, sent %r" % (key, got, want))
    report = subprocess.run([collector, "report", "--db", db], capture_output=True, text=True, timeout=60)
    if report.returncode != 0 or "Export" not in report.stdout:
        failures.append("report: %s %s" % (report.stdout, report.stderr))
    for f in failures:
        print("FAILED: " + f)
    print("%d passed, %d failed" % (1 if not failures else 0, 1 if failures else 0))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
