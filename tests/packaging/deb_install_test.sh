#!/usr/bin/env bash
# Run by check_deb.sh in private mount and network namespaces (unshare): makes
# a throw-away copy of this system, an overlay over / whose changes go to a
# tmpfs, installs the packages into it with dpkg as apt would (maintainer
# scripts and triggers included), and checks there what they promise: the
# collector's system user and enabled service, a unit that systemd-analyze
# verifies, a host built against the installed development files whose
# dependency dpkg-shlibdeps finds as DEPENDENCY (libqz1 (>= VERSION)), and the
# collector started the way its unit starts it (no systemd runs here), which
# stores the host's run and stops on SIGTERM. Nothing reaches the real system.
# Usage: deb_install_test.sh WORK_DIR CONSUMER_DIR DEPENDENCY DEB...
set -u
work=$1 consumer=$2 dependency=$3
shift 3
mkdir -p "$work" && mount -t tmpfs tmpfs "$work" || exit 1
mkdir -p "$work/upper" "$work/work" "$work/root"
mount -t overlay overlay -o "lowerdir=/,upperdir=$work/upper,workdir=$work/work" "$work/root" || exit 1
mount -t proc proc "$work/root/proc"
mount --rbind /dev "$work/root/dev"
# No /run/systemd/system: the maintainer scripts see no systemd to start the service with.
mount -t tmpfs tmpfs "$work/root/run"
# The packages and the host's source stay where they are: / is the lower layer.
exec chroot "$work/root" /bin/bash -s "$consumer" "$dependency" "$@" <<'INSIDE'
set -u
consumer=$1 dependency=$2
shift 2
faults=0
fault() { echo "FAIL: $*"; faults=$((faults + 1)); }
ip link set lo up
export no_proxy=127.0.0.1,localhost NO_PROXY=127.0.0.1,localhost

dpkg -i "$@" >/tmp/dpkg.log 2>&1 || { cat /tmp/dpkg.log; echo "FAIL: dpkg -i"; exit 1; }
getent passwd qz-collector >/dev/null || fault "dpkg made no user qz-collector"
[ -L /etc/systemd/system/multi-user.target.wants/qz-collector.service ] ||
  fault "qz-collector.service is not enabled"
unit=/lib/systemd/system/qz-collector.service
# Any message is a fault: systemd-analyze warns about what it still accepts.
# It reads Documentation's man page with man, where man is installed.
man=no
command -v man >/dev/null && man=yes
verify=$(SYSTEMD_LOG_LEVEL=notice systemd-analyze verify --man=$man "$unit" 2>&1) ||
  fault "systemd-analyze verify failed"
[ -z "$verify" ] || fault "systemd-analyze verify: $verify"

# A host built against the installed headers, pkg-config file and library.
cc -std=c99 -Wall -Werror -o /tmp/host "$consumer/host.c" $(pkg-config --cflags --libs qz) \
  >/tmp/host.log 2>&1 || { cat /tmp/host.log; fault "the host does not build against libqz-dev"; }
# What a package of that host would depend on: a version that has every
# symbol it uses, and any later one.
mkdir -p /tmp/outside/debian
printf 'Source: outside\n\nPackage: outside\nArchitecture: any\n' >/tmp/outside/debian/control
depends=$(cd /tmp/outside && dpkg-shlibdeps -O /tmp/host 2>&1)
echo ", ${depends#shlibs:Depends=}," | grep -qF ", $dependency," ||
  fault "dpkg-shlibdeps for a host of the library: $depends (expected $dependency)"

# The collector as its unit starts it: user, group, state folder, working
# folder, the configuration file's variables, ExecStart split at blanks.
value() { sed -n "s/^$1=//p" "$unit" | tail -n 1; }
user=$(value User) group=$(value Group)
state=/var/lib/$(value StateDirectory)
install -d -m "$(value StateDirectoryMode)" -o "$user" -g "$group" "$state"
set -a
. "$(value EnvironmentFile)"
set +a
read -r -a command <<<"$(eval echo "$(value ExecStart)")"
cd "$(value WorkingDirectory)" || fault "no working folder"
setpriv --reuid="$user" --regid="$group" --init-groups -- "${command[@]}" >/tmp/collector.log 2>&1 &
collector=$!
trap 'kill $collector 2>/dev/null' EXIT
# Listening once a connection to the configured port succeeds.
port=$(echo "$QZ_COLLECTOR_OPTIONS" | sed -n 's/.*--https-port \([0-9]*\).*/\1/p')
listening=
for _ in $(seq 300); do
  (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && listening=yes && break
  kill -0 $collector 2>/dev/null || break
  sleep 0.1
done
[ -n "$listening" ] || { cat /tmp/collector.log; fault "the collector does not listen on 127.0.0.1:$port"; }

out=$(timeout 120 /tmp/host "127.0.0.1:$port/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish" https 2>&1) ||
  fault "the host failed: $out"
report=$(setpriv --reuid="$user" --regid="$group" --init-groups -- \
  /usr/bin/qz-collector report --db "$state/qz-collector.db" 2>&1)
echo "$report" | grep -q Consumer || fault "the collector did not store the host's run: $report $(cat /tmp/collector.log)"
[ "$(stat -c %U "$state/qz-collector.db")" = "$user" ] || fault "the database does not belong to $user"

kill -TERM $collector
for _ in $(seq 100); do
  kill -0 $collector 2>/dev/null || break
  sleep 0.1
done
if kill -0 $collector 2>/dev/null; then
  fault "the collector did not stop on SIGTERM"
else
  wait $collector || fault "the collector exited with $? on SIGTERM"
fi
echo "installed: $(dpkg-query -W -f '${Package} ${Version}, ' 'libqz*' 'qz-collector*')"
[ "$faults" -eq 0 ]
INSIDE
