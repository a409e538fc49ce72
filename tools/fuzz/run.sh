#!/bin/sh
# Runs each fuzz target of a fuzz build (tools/fuzz/CMakeLists.txt) for SECONDS
# (default 20), starting from the captures and scenarios kept in tests/, and
# prints its runs and executions per second. A target that fails stops the
# script with libFuzzer's report; the input that made it fail is kept as
# BUILD/fuzz-crash-*.
#   tools/fuzz/run.sh [BUILD [SECONDS]]
set -e
cd "$(dirname "$0")/../.."
build=${1:-build-fuzz}
seconds=${2:-20}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# fuzz TARGET MAX_LEN [LIBFUZZER_OPTION...]: the seeds are in $work/TARGET.
fuzz() {
  target=$1
  max_len=$2
  shift 2
  if ! "$build/bin/$target" -max_total_time="$seconds" -max_len="$max_len" "$@" \
      -artifact_prefix="$build/fuzz-crash-$target-" "$work/$target" 2>"$work/$target.log"; then
    cat "$work/$target.log"
    echo "$target: FAILED"
    exit 1
  fi
  sed -n 's/^Done \([0-9]*\) runs in \([0-9]*\) second.*/\1 \2/p' "$work/$target.log" |
    while read -r runs secs; do
      echo "$target: $runs runs in $secs s, $((runs / (secs > 0 ? secs : 1))) per second"
    done
}

mkdir "$work/tvl_reader_fuzz" "$work/export_reader_fuzz" "$work/scenario_text_fuzz"
for target in tvl_reader_fuzz export_reader_fuzz; do
  cp tests/stores/version1_capture.tvl tests/scenarios/review_captures/*.tvl "$work/$target/"
done
# The parser reads one line at a time: each line of the scenarios is a seed.
cat tests/scenarios/*.scn | grep -v '^#' | sort -u | split -l 1 -a 4 - "$work/scenario_text_fuzz/"

fuzz tvl_reader_fuzz 8192
# Reading through stdio, the export's reader makes libFuzzer check for leaks
# after nearly every input, at 98 % of the time; leaks are the sanitizer
# test build's to find.
fuzz export_reader_fuzz 8192 -detect_leaks=0
fuzz scenario_text_fuzz 512
