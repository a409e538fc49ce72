#!/bin/sh
# Installs what Tarvoline needs to build, run and test on Debian 12 (run as root).
# Safe to run again: apt-get skips what is already there.
set -e
packages="
  cmake ninja-build g++ pkg-config
  qt6-base-dev qt6-base-dev-tools libgl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libfreexl-dev python3-xlrd gnumeric mdbtools libasound2-dev
  libgensio-dev ser2net
  xvfb xauth socat nodejs fonts-dejavu-core gcovr
  openbox xdotool x11-utils xclip
  dpkg-dev file lintian desktop-file-utils appstream tshark
  clang libclang-rt-14-dev
"
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update
  apt-get install -y --no-install-recommends $missing
fi
# The JavaScript reader the tests check .mdb files with.
here=$(dirname "$0")/..
if [ ! -d "$here/tests/mdb/node/node_modules" ]; then
  command -v npm >/dev/null || { apt-get install -y --no-install-recommends npm; }
  npm ci --prefix "$here/tests/mdb/node" --no-audit --no-fund
fi
