#!/usr/bin/env python3
"""Keeps the documentation true to the code.

  check_docs.py [--root DIR] [--build DIR] [--out DIR] CHECK...

CHECK is one of:
  links      every relative link of README.md and docs/*.md reaches a file and
             heading; README.md links every page of docs/ and stays short
  commands   every fenced sh block carries a "<!-- tested: ... -->" line and
             passes it (below)
  reference  the API reference (DIR of --out, made by scripts/docs.sh) renders
             in headless Chromium and its links resolve
  self-test  the checks above fail on what they must catch
  all        links, commands, reference and self-test

The line before a sh block (blank lines aside) says how its commands are tested:
  run [with OLD->NEW ...] [setup NAME]
        run here with bash, in a scratch folder that is also HOME; QZ_ROOT is
        the repository, QZ_BUILD the build (--build), QZ_TMP the scratch
        folder. "with" replaces text of the block before it runs (for paths a
        reader would type); a named setup prepares and checks the effect.
  usage PROGRAM [ARG...]
        each line (comments aside) is part of what the program, built in
        QZ_BUILD/bin, prints.
  by FILE... [with OLD->NEW|NEW2 ...]
        expensive: each command (each side of &&), after the replacements,
        is in one of the files: a script or test that a stage of
        scripts/test.sh runs, or the usage line of the script the command runs.
  not run here: COMMAND (REASON)
        after "by ...;": the one command no test runs, with why; a script it
        names must still parse.
  file NAME
        not a command: the block is saved as NAME for the run blocks after it.

Before a table instead of a block:
  options PROGRAM [ARG...]
        the table's first column names every option (--name) the program's
        usage text names, and no other.
  cmake-options
        the table's first column names every QZ_ build option of the CMake
        files (option() or a cached set()), and no other.
"""
import argparse
import html.parser
import os
import re
import shlex
import socket
import subprocess
import sys
import tempfile
import urllib.parse

README_MAX_LINES = 200
RUN_TIMEOUT = 120


class Failure(Exception):
    pass


# ---------------------------------------------------------------- Markdown


def slug(heading):
    """The anchor GitHub gives a heading."""
    text = re.sub(r'`|\*\*|\[|\]\([^)]*\)', '', heading.strip()).lower()
    text = re.sub(r'[^\w\- ]', '', text)
    return text.replace(' ', '-')


def headings(text):
    """Anchors of a page's headings, outside code blocks, with GitHub's -1, -2 for repeats."""
    seen = {}
    anchors = set()
    for line in strip_code(text).split('\n'):
        m = re.match(r'^#{1,6} (.*)$', line)
        if not m:
            continue
        base = slug(m.group(1))
        n = seen.get(base, 0)
        seen[base] = n + 1
        anchors.add(base if n == 0 else '%s-%d' % (base, n))
    return anchors


def strip_code(text):
    return re.sub(r'^```.*?^```', '', text, flags=re.M | re.S)


def blocks(text):
    """(line, language, marker or None, body) of every fenced block."""
    lines = text.split('\n')
    out = []
    i = 0
    while i < len(lines):
        m = re.match(r'^```(\S*)\s*$', lines[i])
        if not m:
            i += 1
            continue
        start, lang = i, m.group(1)
        j = i + 1
        while j < len(lines) and not lines[j].startswith('```'):
            j += 1
        marker = None
        k = start - 1
        while k >= 0 and not lines[k].strip():
            k -= 1
        if k >= 0:
            mm = re.match(r'^<!-- tested: (.*) -->$', lines[k].strip())
            if mm:
                marker = mm.group(1)
        out.append((start + 1, lang, marker, '\n'.join(lines[start + 1:j])))
        i = j + 1
    return out


def commands(body):
    """Commands of a sh block: continuation lines joined, comments dropped."""
    out = []
    pending = ''
    for raw in body.split('\n'):
        line = raw.rstrip()
        if line.endswith('\\'):
            pending += line[:-1] + ' '
            continue
        line = pending + line
        pending = ''
        line = re.sub(r'\s+#\s.*$', '', line).strip()
        if line and not line.startswith('#'):
            out.append(normal(line))
    return out


def normal(text):
    return re.sub(r'\s+', ' ', text).strip()


def pages(root):
    names = ['README.md'] + sorted(
        os.path.join('docs', n) for n in os.listdir(os.path.join(root, 'docs')) if n.endswith('.md'))
    return [(n, open(os.path.join(root, n), encoding='utf-8').read()) for n in names]


# ---------------------------------------------------------------- links


def check_links(root):
    faults = []
    texts = dict(pages(root))
    for name, text in texts.items():
        for target in re.findall(r'\]\(([^)\s]+)\)', strip_code(text)):
            if re.match(r'^[a-z]+:', target):
                continue
            path, _, anchor = target.partition('#')
            resolved = os.path.normpath(os.path.join(os.path.dirname(name), path)) if path else name
            full = os.path.join(root, resolved)
            if not os.path.exists(full):
                faults.append('%s: link to %s: no such file' % (name, target))
                continue
            if anchor and resolved.endswith('.md'):
                other = texts.get(resolved) or open(full, encoding='utf-8').read()
                if anchor not in headings(other):
                    faults.append('%s: link to %s: no such heading' % (name, target))
    readme = texts['README.md']
    for name in texts:
        if name.startswith('docs/') and '(%s)' % name not in readme and '(%s#' % name not in readme:
            faults.append('README.md does not link %s' % name)
    count = readme.count('\n')
    if count > README_MAX_LINES:
        faults.append('README.md has %d lines, more than %d' % (count, README_MAX_LINES))
    return faults


# ---------------------------------------------------------------- commands

# Prepares (before) and checks (after) what a run block does.
SETUPS = {
    'refused': (
        'd="$HOME/.local/share/Tessary Solutions/QZ Storage/$QZ_COMPANY"; mkdir -p "$d"; '
        ': >"$d/0000000000001-$QZ_APP.QZ.refused"; : >"$d/0000000000002-$QZ_APP.QZ"',
        'd="$HOME/.local/share/Tessary Solutions/QZ Storage/$QZ_COMPANY"; '
        '[ -f "$d/0000000000001-$QZ_APP.QZ" ] && [ -f "$d/0000000000002-$QZ_APP.QZ" ] && '
        '! ls "$d"/*.refused 2>/dev/null'),
    'service-folder': (
        'mkdir -p "$QZ_TMP/var/lib"',
        'd="$QZ_TMP/var/lib/Tessary Solutions"; '
        '[ "$(stat -c %a "$d")" = 755 ] && [ "$(stat -c %a "$d/QZ Storage")" = 755 ] && '
        '[ "$(stat -c %a:%U "$d/QZ Storage/$QZ_COMPANY")" = "700:$(id -un)" ]'),
    'c-host': (
        'cp "$QZ_ROOT/examples/c/host.c" host.c',
        '[ -x host ]'),
    'pin': (
        'openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=localhost '
        '-days 1 -keyout key.pem -out cert.pem 2>/dev/null',
        'grep -Eqx "[A-Za-z0-9+/]{43}=" "$QZ_TMP/stdout"'),
}


def parse_marker(marker):
    """Kind, words, replacements, setup and exemptions of a tested line."""
    parts = [p.strip() for p in marker.split(';')]
    words = shlex.split(parts[0])
    kind, args = words[0], words[1:]
    replace, setup = [], None
    if 'setup' in args:
        i = args.index('setup')
        setup = args[i + 1]
        args = args[:i] + args[i + 2:]
    if 'with' in args:
        i = args.index('with')
        for pair in args[i + 1:]:
            old, arrow, new = pair.partition('->')
            if not arrow:
                raise Failure('"with" wants OLD->NEW: ' + pair)
            replace.append((old, new.split('|')))
        args = args[:i]
    exempt = []
    for extra in parts[1:]:
        m = re.match(r'^not run here: (.*) \(([^()]+)\)$', extra)
        if not m:
            raise Failure('unreadable tested line: ' + marker)
        exempt.append(normal(m.group(1)))
    return kind, args, replace, setup, exempt


def replaced(text, replace):
    """Every text the replacements make (NEW may offer alternatives: A|B)."""
    texts = [text]
    for old, choices in replace:
        texts = [t.replace(old, new) for t in texts for new in choices]
    return texts


def unquoted(text):
    """Quotes aside: a page shows build/x where a script says "$dir"."""
    return normal(text.replace('"', ''))


def file_commands(path):
    text = open(path, encoding='utf-8').read()
    return unquoted(re.sub(r'\\\n', ' ', text))


def run_block(body, env, workdir, setup):
    log = []
    if setup:
        if setup not in SETUPS:
            raise Failure('no setup named ' + setup)
        before, after = SETUPS[setup]
    else:
        before, after = ':', ':'
    script = 'set -eo pipefail\n%s\n%s\n' % (before, body)
    result = subprocess.run(['bash', '-c', script], cwd=workdir, env=env, capture_output=True,
                            text=True, timeout=RUN_TIMEOUT)
    with open(os.path.join(workdir, 'stdout'), 'w') as f:
        f.write(result.stdout)
    if result.returncode != 0:
        log.append('exit %d: %s%s' % (result.returncode, result.stdout[-2000:], result.stderr[-2000:]))
        return log
    check = subprocess.run(['bash', '-c', after], cwd=workdir, env=env, capture_output=True,
                           text=True, timeout=RUN_TIMEOUT)
    if check.returncode != 0:
        log.append('ran, but did not do what the page says (setup %s): %s' % (setup, check.stderr))
    return log


def option_tables(text):
    """(line, marker, options named in the first column) of each marked table."""
    lines = text.split('\n')
    out = []
    for i, line in enumerate(lines):
        m = re.match(r'^<!-- tested: ((?:cmake-)?options.*) -->$', line.strip())
        if not m:
            continue
        j = i + 1
        while j < len(lines) and not lines[j].strip():
            j += 1
        names = set()
        while j < len(lines) and lines[j].startswith('|'):
            first = lines[j].split('|')[1]
            names.update(re.findall(r'`(--[a-z][a-z0-9-]*|QZ_[A-Z0-9_]+)', first))
            j += 1
        out.append((i + 1, m.group(1), names))
    return out


def cmake_options(root):
    found = set()
    for folder, dirs, files in os.walk(root):
        # The outside project of the packaging tests has options of its own.
        dirs[:] = [d for d in dirs if d not in ('build', '.git') and
                   os.path.join(folder, d) != os.path.join(root, 'tests', 'packaging', 'consumer')]
        for f in files:
            if f == 'CMakeLists.txt' or f.endswith('.cmake'):
                text = open(os.path.join(folder, f), encoding='utf-8').read()
                found.update(re.findall(r'\boption\((QZ_[A-Z0-9_]+)', text))
                found.update(re.findall(r'\bset\((QZ_[A-Z0-9_]+)[^)]*\bCACHE\b', text))
    return found


def check_options(root, build, marker, names):
    if marker == 'cmake-options':
        found = cmake_options(root)
        return (['no build option %s in the CMake files' % n for n in sorted(names - found)] +
                ['build option %s is not in the table' % n for n in sorted(found - names)])
    args = shlex.split(marker)[1:]
    if not build:
        raise Failure('needs a build (--build)')
    result = subprocess.run([os.path.join(build, 'bin', args[0])] + args[1:], capture_output=True,
                            text=True, timeout=RUN_TIMEOUT)
    said = set(re.findall(r'(?<![\w-])(--[a-z][a-z0-9-]*)', result.stdout + result.stderr))
    said.discard('--help')
    faults = ['%s does not know %s' % (args[0], n) for n in sorted(names - said)]
    faults += ['%s is not in the table' % n for n in sorted(said - names)]
    return faults


def check_commands(root, build):
    faults = []
    base_env = dict(os.environ)
    with socket.socket() as s:  # a port nothing listens on: the hosts' posts fail at once
        s.bind(('127.0.0.1', 0))
        closed_port = str(s.getsockname()[1])
    base_env.update(QZ_CLOSED_PORT=closed_port, QZ_ROOT=root, QZ_BUILD=build or '', QZ_COMPANY='9531985D-5D9D-49F8-9818-E811892F902B',
                    QZ_APP='36F675CC-81E7-4EF5-A8E2-5D940ED90475', LC_ALL='C.UTF-8')
    for name, text in pages(root):
        scratch = tempfile.mkdtemp(prefix='qz-docs-')
        try:
            env = dict(base_env, HOME=scratch, QZ_TMP=scratch)
            for line, marker, names in option_tables(text):
                try:
                    faults += ['%s:%d: %s' % (name, line, f) for f in check_options(root, build, marker, names)]
                except Failure as e:
                    faults.append('%s:%d: %s' % (name, line, e))
            for line, lang, marker, body in blocks(text):
                where = '%s:%d' % (name, line)
                if marker is None:
                    if lang in ('sh', 'bash', 'console'):
                        faults.append('%s: a sh block without a "<!-- tested: ... -->" line' % where)
                    continue
                try:
                    faults += ['%s: %s' % (where, f) for f in
                               check_block(root, build, env, scratch, marker, body)]
                except Failure as e:
                    faults.append('%s: %s' % (where, e))
                except subprocess.TimeoutExpired:
                    faults.append('%s: did not finish in %d s' % (where, RUN_TIMEOUT))
        finally:
            subprocess.run(['rm', '-rf', scratch])
    return faults


def check_block(root, build, env, scratch, marker, body):
    kind, args, replace, setup, exempt = parse_marker(marker)
    if kind == 'file':
        with open(os.path.join(scratch, args[0]), 'w') as f:
            f.write(body + '\n')
        return []
    if kind == 'run':
        if not build and ('$QZ_BUILD' in marker or 'QZ_BUILD' in body):
            raise Failure('needs a build (--build)')
        return run_block(replaced(body, replace)[0], env, scratch, setup)
    if kind == 'usage':
        if not build:
            raise Failure('needs a build (--build)')
        program = os.path.join(build, 'bin', args[0])
        result = subprocess.run([program] + args[1:], capture_output=True, text=True,
                                timeout=RUN_TIMEOUT)
        said = normal(result.stdout + result.stderr)
        return ['"%s" is not in what %s prints' % (c, ' '.join(args)) for c in commands(body)
                if c not in said]
    if kind == 'by':
        if not args:
            raise Failure('"by" names no file')
        texts = []
        for path in args:
            full = os.path.join(root, path)
            if not os.path.isfile(full):
                raise Failure('%s does not exist' % path)
            texts.append(file_commands(full))
        faults = []
        cmds = commands(body)
        for c in exempt:
            if c not in cmds and not any(c in line.split(' && ') for line in cmds):
                faults.append('"not run here" names "%s", which the block does not hold' % c)
            script = re.match(r'^bash (scripts/\S+\.sh)\b', c)
            if script and subprocess.run(['bash', '-n', os.path.join(root, script.group(1))],
                                         capture_output=True).returncode:
                faults.append('%s does not parse' % script.group(1))
        for line in cmds:
            if line in exempt:
                continue
            for c in line.split(' && '):
                if c in exempt:
                    continue
                wanted = [unquoted(w) for w in replaced(c, replace)]
                if not any(w in t for w in wanted for t in texts):
                    faults.append('"%s" is not in %s' % (wanted[0], ' or '.join(args)))
        return faults
    raise Failure('unknown kind of test: ' + kind)


# ---------------------------------------------------------------- reference


class Links(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.hrefs, self.ids = [], set()

    def handle_starttag(self, tag, attrs):
        for key, value in attrs:
            if key in ('id', 'name') and value:
                self.ids.add(value)
            if key in ('href', 'src') and value:
                self.hrefs.append(value)


_parsed = {}


def parsed(path):
    if path not in _parsed:
        p = Links()
        p.feed(open(path, encoding='utf-8', errors='replace').read())
        _parsed[path] = p
    return _parsed[path]


def dangling(html_dir, name, hrefs):
    faults = []
    for href in hrefs:
        if re.match(r'^[a-z]+:', href) and not href.startswith('file:'):
            continue
        path, _, anchor = urllib.parse.unquote(href).partition('#')
        if path.startswith('file://'):
            path = path[len('file://'):]
        target = os.path.normpath(os.path.join(html_dir, path)) if path else os.path.join(html_dir, name)
        if not os.path.isfile(target):
            faults.append('%s: link to %s: no such file' % (name, href))
        elif anchor and target.endswith('.html') and anchor not in parsed(target).ids:
            faults.append('%s: link to %s: no such anchor' % (name, href))
    return faults


def check_reference(out):
    html_dir = os.path.join(out, 'html')
    index = os.path.join(html_dir, 'index.html')
    if not os.path.isfile(index):
        return ['no %s: run scripts/docs.sh first' % index]
    faults = []
    chromium = ['chromium', '--headless', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage',
                '--user-data-dir=' + tempfile.mkdtemp(prefix='qz-docs-chromium-')]
    try:
        dom = subprocess.run(chromium + ['--dump-dom', 'file://' + index], capture_output=True,
                             text=True, timeout=RUN_TIMEOUT).stdout
        subprocess.run(chromium + ['--screenshot=' + os.path.join(out, 'index.png'),
                                   '--window-size=1200,900', 'file://' + index],
                       capture_output=True, timeout=RUN_TIMEOUT)
    finally:
        subprocess.run(['rm', '-rf', chromium[-1].split('=', 1)[1]])
    # The menu is built by the page's scripts: its links show they ran.
    if 'qz API reference' not in dom or 'href="annotated.html"' not in dom:
        faults.append('the reference\'s index page did not render (%d bytes of DOM)' % len(dom))
    if not os.path.isfile(os.path.join(out, 'index.png')) or os.path.getsize(os.path.join(out, 'index.png')) < 1000:
        faults.append('Chromium made no screenshot of the index page')
    rendered = Links()
    rendered.feed(dom)
    faults += dangling(html_dir, 'index.html', rendered.hrefs)
    for name in sorted(os.listdir(html_dir)):
        if name.endswith('.html'):
            faults += dangling(html_dir, name, parsed(os.path.join(html_dir, name)).hrefs)
    return faults


# ---------------------------------------------------------------- self-test


def self_test():
    """The checks must fail on a failing or drifted command, an untested
    block, a broken link and an undocumented page."""
    faults = []
    root = tempfile.mkdtemp(prefix='qz-docs-self-')
    try:
        os.makedirs(os.path.join(root, 'docs'))
        os.makedirs(os.path.join(root, 'scripts'))
        with open(os.path.join(root, 'scripts', 'stage.sh'), 'w') as f:
            f.write('cmake --build "$dir" \\\n  --target all\n')

        def page(text, readme='[Guide](docs/guide.md#one)\n'):
            with open(os.path.join(root, 'README.md'), 'w') as f:
                f.write(readme)
            with open(os.path.join(root, 'docs', 'guide.md'), 'w') as f:
                f.write('# Guide\n\n## One\n\n' + text)

        def expect(what, found, fail):
            if bool(found) != fail:
                faults.append('self-test: %s: %s' % (what, found or 'no fault found'))

        good = ('<!-- tested: run -->\n```sh\necho ok  # a comment\n```\n\n'
                '<!-- tested: by scripts/stage.sh with build/x->$QZ_DIR|$dir -->\n'
                '```sh\ncmake --build build/x --target all\n```\n')
        page(good)
        expect('good page', check_commands(root, None) + check_links(root), False)
        page('<!-- tested: run -->\n```sh\necho ok\nfalse\n```\n')
        expect('failing command', check_commands(root, None), True)
        page('<!-- tested: by scripts/stage.sh with build/x->$dir -->\n'
             '```sh\ncmake --build build/x --target everything\n```\n')
        expect('drifted command', check_commands(root, None), True)
        page('```sh\necho untested\n```\n')
        expect('untested block', check_commands(root, None), True)
        page(good, readme='[Guide](docs/guide.md#two)\n')
        expect('broken anchor', check_links(root), True)
        page(good, readme='nothing\n')
        expect('unlinked page', check_links(root), True)
        page('<!-- tested: by scripts/stage.sh; not run here: bash scripts/missing.sh (why) -->\n'
             '```sh\nbash scripts/other.sh\n```\n')
        expect('exemption of a command not in the block', check_commands(root, None), True)
        with open(os.path.join(root, 'CMakeLists.txt'), 'w') as f:
            f.write('option(QZ_ONE "one" OFF)\nset(QZ_TWO "" CACHE STRING "two")\n')
        table = '<!-- tested: cmake-options -->\n| Option |\n| --- |\n| `QZ_ONE` |\n'
        page(table + '| `QZ_TWO` |\n')
        expect('build options all in the table', check_commands(root, None), False)
        page(table)
        expect('a build option missing from the table', check_commands(root, None), True)
    finally:
        subprocess.run(['rm', '-rf', root])
    return faults


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    here = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser.add_argument('--root', default=here)
    parser.add_argument('--build', help='a native build with libqz.so and qz-collector')
    parser.add_argument('--out', help='the folder scripts/docs.sh wrote (reference)')
    parser.add_argument('checks', nargs='+',
                        choices=['links', 'commands', 'reference', 'self-test', 'all'])
    options = parser.parse_args()
    checks = options.checks
    if 'all' in checks:
        checks = ['self-test', 'links', 'commands', 'reference']
    root = os.path.abspath(options.root)
    build = os.path.abspath(options.build) if options.build else None
    failed = False
    for check in checks:
        if check == 'links':
            faults = check_links(root)
        elif check == 'commands':
            faults = check_commands(root, build)
        elif check == 'reference':
            faults = check_reference(os.path.abspath(options.out or os.path.join(root, 'build', 'docs')))
        else:
            faults = self_test()
        for fault in faults:
            print('docs: ' + fault, file=sys.stderr)
        print('docs: %s: %s' % (check, 'FAILED' if faults else 'passed'))
        failed = failed or bool(faults)
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())
