#!/usr/bin/env python3
"""Fails unless qz/qz_inline.h gives every public member of every exported class.

  check_inline_members.py INCLUDE_DIR

Visual C++ hosts get the classes of qz/qz_inline.h instead of the DLL's own:
a member added to a class header and not there would be missing for them. For
each class declared "class QZ_API Name" in INCLUDE_DIR/*.h, the public members
(functions by name, each overload counted, and the constants) must be the same
as those of "class Name" in qz_inline.h.
"""

import collections
import glob
import os
import re
import sys


def strip(text):
    """The text without comments, string and character literals."""
    text = re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.S)
    return re.sub(r'"(\\.|[^"\\])*"|\'(\\.|[^\'\\])*\'', '""', text)


def classes(text, marker):
    """{name: body} of the classes defined as "class MARKER Name ... { ... };"."""
    found = {}
    for match in re.finditer(r"\bclass\s+%s([A-Za-z_]\w*)[^;{]*\{" % marker, text):
        depth, i = 1, match.end()
        while depth:
            depth += {"{": 1, "}": -1}.get(text[i], 0)
            i += 1
        found[match.group(1)] = text[match.end():i - 1]
    return found


def public_members(body):
    """Counter of the public members' names declared at the class's own level."""
    members = collections.Counter()
    public = False
    depth = 0
    statement = ""
    for token in re.findall(r"[A-Za-z_]\w*|::|\S", body):
        if depth == 0 and token in ("public", "private", "protected"):
            public = token == "public"
            statement = ""
            continue
        if token == "{":
            if depth == 0:
                finish(statement, public, members)
                statement = ""
            depth += 1
            continue
        if token == "}":
            depth -= 1
            continue
        if depth:
            continue
        if token == ";":
            finish(statement, public, members)
            statement = ""
        elif token != ":" or statement:
            statement += " " + token
    return members


def finish(statement, public, members):
    """Adds the member a declaration at class level names, if public."""
    words = statement.split()
    if not public or not words or words[0] in ("friend", "using", "typedef"):
        return
    if "(" in words:
        before = words[:words.index("(")]
        name = before[-1]
        if "operator" in before:
            name = "operator " + " ".join(before[before.index("operator") + 1:])
        elif len(before) >= 2 and before[-2] == "~":
            name = "~" + name
        members[name] += 1
    elif words[0] == "static":
        members[(words[:words.index("=")] if "=" in words else words)[-1]] += 1


def main():
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    include = sys.argv[1]
    exported = {}
    for header in sorted(glob.glob(os.path.join(include, "*.h"))):
        with open(header) as f:
            exported.update(classes(strip(f.read()), r"QZ_API\s+"))
    with open(os.path.join(include, "qz_inline.h")) as f:
        inline = classes(strip(f.read()), "")
    faults = []
    for name, body in sorted(exported.items()):
        if name not in inline:
            faults.append("qz_inline.h has no class %s" % name)
            continue
        want, got = public_members(body), public_members(inline[name])
        for member in sorted(set(want) | set(got)):
            if want[member] != got[member]:
                faults.append("%s::%s: %d in the exported class, %d in qz_inline.h" %
                              (name, member, want[member], got[member]))
    for fault in faults:
        print(fault)
    print("%d classes, %d public members compared" %
          (len(exported), sum(sum(public_members(b).values()) for b in exported.values())))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
