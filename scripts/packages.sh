# Sourced by the scripts in this folder.
# qz_require_packages PKG...: installs the Debian packages that are missing.
qz_require_packages() {
  if ! command -v dpkg-query >/dev/null 2>&1; then
    echo "qz: no dpkg-query here; assuming these are installed: $*" >&2
    return 0
  fi
  local missing=() pkg
  for pkg in "$@"; do
    if ! dpkg-query -W -f='${Status}\n' "$pkg" 2>/dev/null | grep -q '^install ok installed$'; then
      missing+=("$pkg")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return 0
  fi
  echo "qz: installing ${missing[*]}"
  local sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    sudo=(sudo -n)
  fi
  # No stdin in CI: every question must already be answered.
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q </dev/null &&
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
      "${missing[@]}" </dev/null
}
