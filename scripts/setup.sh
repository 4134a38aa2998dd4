#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and renders with.
# Idempotent: does nothing (and prints nothing) when everything is present.
set -euo pipefail
pkgs=(
  build-essential cmake pkg-config git ccache
  libsqlite3-dev sqlite3
  mdbtools mdbtools-dev
  libcairo2-dev libpango1.0-dev libharfbuzz-dev libdeflate-dev libgdk-pixbuf-2.0-dev libmimalloc-dev
  fonts-liberation2 fonts-dejavu-core fontconfig
  nlohmann-json3-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  poppler-utils qpdf
  clang libclang-rt-14-dev clang-format python3
)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "setup: installing ${missing[*]}" >&2
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq >/dev/null
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
