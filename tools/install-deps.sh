#!/bin/sh
# Installs what Tarvoline needs to build, run and test on Debian 12 (run as root).
# Safe to run again: apt-get skips what is already there.
set -e
packages="
  cmake ninja-build g++ pkg-config
  qt6-base-dev qt6-base-dev-tools libgl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libfreexl-dev python3-xlrd mdbtools
  xvfb xauth socat fonts-dejavu-core
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
