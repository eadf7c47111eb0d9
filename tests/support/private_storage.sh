#!/bin/sh
# Runs a host program, and everything it starts, with offline storage in a
# temporary folder, so that tests never touch the machine's real storage
# folders. Linux only: the per-user folder comes from $XDG_DATA_HOME; a root
# process would use the per-machine folder under /var/lib, so it gets a private
# mount namespace in which /var/lib is an empty temporary folder.
#
#   private_storage.sh COMMAND [ARGUMENT...]
set -u
dir=$(mktemp -d "${TMPDIR:-/tmp}/qz-storage.XXXXXX") || exit 1
mkdir -p "$dir/user" "$dir/machine"
export XDG_DATA_HOME="$dir/user"
if [ "$(id -u)" = 0 ]; then
  unshare --mount --propagation private \
    sh -c 'mount --bind "$0" /var/lib && exec "$@"' "$dir/machine" "$@"
  rc=$?
else
  "$@"
  rc=$?
fi
rm -rf "$dir"
exit $rc
