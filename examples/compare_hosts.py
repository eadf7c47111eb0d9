#!/usr/bin/env python3
"""Runs two example hosts against the loopback receiver and compares their batches.

  compare_hosts.py REFERENCE_COMMAND... -- HOST_COMMAND...

Each command gets the endpoint appended as its last argument and must print
"host: message group GUID". When the reference prints "host: value ..." lines
(what the members of the classes answered), the host must print the same lines
in the same order. The receiver is the one ctest starts (the
"receiver" fixture; QZ_RECEIVER_DIR names its state folder). The batches of the
run with that message group must hold the same message kinds in the same
order, with the same elements and attribute names. Values are compared only
where they are exactly what the host passed (binary descriptions and
properties), not ids, times or measurements; nor is how the messages were
split into batches.
"""

import json
import os
import re
import subprocess
import sys
import urllib.request
import xml.etree.ElementTree as ET

PATH = "/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish"
RUN_TIMEOUT_SECONDS = 120
# Elements of the envelope itself; every other child of the root is a message.
HEAD = {"company", "application"}
# Written only when a measurement of the moment is not zero, so two runs may
# differ here: the processor load of a performance probe.
MOMENTARY = {("performance-probe", "cpu")}
# Elements that hold exactly what the host passed: their values are compared
# too, to show that texts and numbers crossed the language boundary intact.
HOST_VALUES = {"binary", "property"}


def control(port, command):
    with urllib.request.urlopen("http://127.0.0.1:%d/__control/%s" % (port, command),
                                timeout=30) as answer:
        return answer.read()


def shape(element):
    """Element name, sorted attribute names (with values where the host gave
    them) and the shapes of the children."""
    children = tuple(shape(child) for child in element
                     if (element.tag, child.tag) not in MOMENTARY)
    if element.tag in HOST_VALUES:
        attributes = tuple('%s="%s"' % item for item in sorted(element.attrib.items()))
    else:
        attributes = tuple(sorted(element.attrib))
    return (element.tag, attributes, children)


def describe(s, depth=0):
    tag, attributes, children = s
    lines = ["  " * depth + "<%s %s>" % (tag, " ".join(attributes))]
    for child in children:
        lines.extend(describe(child, depth + 1))
    return lines


def run(command, port, name):
    """Runs one host; returns (envelope shapes, message shapes, value lines)."""
    control(port, "reset")
    endpoint = "127.0.0.1:%d%s" % (port, PATH)
    try:
        done = subprocess.run(command + [endpoint], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=RUN_TIMEOUT_SECONDS)
    except subprocess.TimeoutExpired as e:
        raise SystemExit("%s: no end within %d s; output:\n%s" %
                         (name, RUN_TIMEOUT_SECONDS, (e.stdout or b"").decode(errors="replace")))
    output = done.stdout.decode(errors="replace")
    sys.stdout.write("---- %s: %s\n%s" % (name, " ".join(command), output))
    if done.returncode != 0:
        raise SystemExit("%s: exit status %d" % (name, done.returncode))
    group = re.search(r"^host: message group ([0-9A-F-]{36})\s*$", output, re.M)
    if group is None:
        raise SystemExit("%s: printed no message group" % name)

    envelopes, messages = set(), []
    for request in json.loads(control(port, "requests")):
        root = ET.fromstring(request["body_text"].encode("utf-8"))
        if root.get("message-group") != group.group(1):
            continue  # stored by another run and sent now: not this host's
        envelope = (root.tag, tuple(sorted(root.attrib)),
                    tuple(shape(child) for child in root if child.tag in HEAD))
        envelopes.add(envelope)
        messages.extend(shape(child) for child in root if child.tag not in HEAD)
    if not messages:
        raise SystemExit("%s: no batch of its run arrived" % name)
    values = [line.rstrip() for line in output.splitlines() if line.startswith("host: value ")]
    return envelopes, messages, values


def main():
    args = sys.argv[1:]
    if "--" not in args or args.index("--") == 0 or args[-1] == "--":
        raise SystemExit(__doc__)
    split = args.index("--")
    reference, host = args[:split], args[split + 1:]
    state = os.environ.get("QZ_RECEIVER_DIR")
    if not state:
        raise SystemExit("QZ_RECEIVER_DIR is not set: run this through ctest")
    with open(os.path.join(state, "ports")) as f:
        port = int(f.read().split()[1])

    want_envelopes, want, want_values = run(reference, port, "reference")
    got_envelopes, got, got_values = run(host, port, "host")

    faults = []
    if want_values and got_values != want_values:
        for i, (g, w) in enumerate(zip(got_values + [None] * len(want_values),
                                       want_values + [None] * len(got_values))):
            if g != w:
                faults.append("value line %d differs:\n  got      %s\n  expected %s" % (i + 1, g, w))
                break
    if got_envelopes != want_envelopes:
        faults.append("batch envelopes differ:\n%s\nexpected:\n%s" % (
            "\n".join(l for e in got_envelopes for l in describe(e)),
            "\n".join(l for e in want_envelopes for l in describe(e))))
    kinds = [m[0] for m in got]
    if kinds != [m[0] for m in want]:
        faults.append("message kinds differ:\n  got      %s\n  expected %s" %
                      (" ".join(kinds), " ".join(m[0] for m in want)))
    else:
        for i, (g, w) in enumerate(zip(got, want)):
            if g != w:
                faults.append("message %d (%s) differs:\n%s\nexpected:\n%s" % (
                    i, g[0], "\n".join(describe(g)), "\n".join(describe(w))))
    if faults:
        print("\n".join(faults))
        return 1
    if want_values:
        print("the host's %d value lines match the reference's" % len(got_values))
    print("the host's %d messages match the reference in kind, order and structure: %s" %
          (len(got), " ".join(kinds)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
