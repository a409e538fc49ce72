#!/bin/sh
# Line, function and branch coverage of the program's code by the whole test
# suite: a Debug build with --coverage (in build-coverage/, or the folder
# given), every test, then gcovr (Debian package gcovr) over every file but
# those under tests/ and bench/, the picture and sound generators of assets/,
# which the build runs and no test can, and desktop/screenshots.cpp, which
# draws the windows for people to look at (cmake --build --target screenshots).
set -e
cd "$(dirname "$0")/.."
build=${1:-build-coverage}
# Atomic counters: the line threads and the UI thread run the same code, and
# racing counters can come out negative, which gcovr refuses to read.
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" -DCMAKE_EXE_LINKER_FLAGS=--coverage
cmake --build "$build"
find "$build" -name '*.gcda' -delete
status=0  # a failing test still leaves its coverage; its status is the script's
ctest --test-dir "$build" --output-on-failure || status=$?
gcovr --root . --object-directory "$build" --exclude '(.*/)?tests/' --exclude 'bench/' \
  --exclude 'assets/' --exclude 'desktop/screenshots.cpp' --exclude "$build/" \
  --print-summary --txt "$build/coverage.txt"
exit $status
