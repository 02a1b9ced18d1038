#!/usr/bin/env bash
# Builds a Release tree in build-bench, generates PPDs of 0.5, 1, 2 and 4 MiB,
# runs the parse and constraint-query benchmarks (our reader, libcups, a memchr
# line scan) and then measures the peak memory of each reader on each file.
# Run on demand; CI does not run it. Extra arguments go to the benchmark
# (e.g. --benchmark_filter=Parse). BENCH_BUILD_DIR picks another build tree,
# BENCH_REPETITIONS (default 3) the repetitions whose median is reported, and
# BENCH_CALLGRIND=1 adds instruction counts, which a busy machine cannot skew.
# `scripts/bench.sh filter` times the kelvo-inject filter instead, `print`
# kelvo-pde print, `panel` the Qt panel (see below).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

build_dir=${BENCH_BUILD_DIR:-build-bench}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DKELVO_BUILD_BENCH=ON -DKELVO_BUILD_TESTS=OFF >/dev/null

# `scripts/bench.sh filter [ARGS]` measures the kelvo-inject filter instead: a
# generated job of 200 MiB against cat, both into /dev/null, and the filter's
# peak memory on 20 and 200 MiB (ARGS go to kelvo-filter-bench, e.g. --size-mb).
if [ "${1:-}" = filter ]; then
  shift
  cmake --build "$build_dir" -j2 --target kelvo-filter-bench
  exec "$build_dir/bench/kelvo-filter-bench" --repetitions "${BENCH_REPETITIONS:-3}" "$@"
fi
# `scripts/bench.sh print [RUNS]`: kelvo-pde print end to end on a private
# cupsd, against lp of the same file (median of RUNS, default 15).
if [ "${1:-}" = print ]; then
  shift
  cmake --build "$build_dir" -j2 --target kelvo-print-bench
  exec "$build_dir/bench/kelvo-print-bench" "$@"
fi
# `scripts/bench.sh panel [ARGS]`: the Qt panel shown for the sample and for
# 1,000 generated controls against a plain Qt form of the same controls, and
# one re-grey (offscreen; ARGS go to the benchmark).
if [ "${1:-}" = panel ]; then
  shift
  cmake --build "$build_dir" -j2 --target kelvo-panel-bench
  exec "$build_dir/bench/kelvo-panel-bench" --benchmark_repetitions="${BENCH_REPETITIONS:-3}" \
    --benchmark_report_aggregates_only=true "$@"
fi
cmake --build "$build_dir" -j2 --target kelvo-genppd kelvo-parse-bench kelvo-peakmem kelvo-genppd-tests
bin=$build_dir/bench

echo "== Generator checks"
"$bin/kelvo-genppd-tests" --gtest_brief=1

echo "== Files"
ppd_dir=$build_dir/ppd
mkdir -p "$ppd_dir"
sizes=(512 1024 2048 4096)
for kb in "${sizes[@]}"; do
  "$bin/kelvo-genppd" --size-kb "$kb" --out "$ppd_dir/kelvo-generated-${kb}k.ppd"
done

echo "== Time"
"$bin/kelvo-parse-bench" --ppd-dir="$ppd_dir" --benchmark_repetitions="${BENCH_REPETITIONS:-3}" \
  --benchmark_report_aggregates_only=true "$@"

echo
echo "== Peak memory"
# Maximum resident set size in KiB of one load, the given way: the least of
# three runs, as the kernel's count wobbles by a few hundred KiB between runs.
max_rss() {
  for _ in 1 2 3; do
    /usr/bin/time -v "$bin/kelvo-peakmem" "$1" "$2" 2>&1 >/dev/null |
      awk -F': ' '/Maximum resident set size/ { print $2 }'
  done | sort -n | awk 'NR == 1'
}
empty=$ppd_dir/empty.ppd
: >"$empty"
# The baseline is an empty run: 'scan' of an empty file starts the process and
# maps both libraries but never touches its read block.
baseline=$(max_rss scan "$empty")
echo "max RSS from /usr/bin/time -v (least of 3 runs); net = max RSS - baseline of an empty run"
echo "('scan' of an empty file: process and both libraries, read block untouched: $baseline KiB)"
printf '%-8s %9s %12s %13s %12s %13s %10s %13s\n' size "file KiB" "ours net" "libcups net" "scan net" \
  "ours/libcups" "ours/file" "libcups/file"
for kb in "${sizes[@]}"; do
  f=$ppd_dir/kelvo-generated-${kb}k.ppd
  ours=$(($(max_rss ours "$f") - baseline))
  cups=$(($(max_rss libcups "$f") - baseline))
  scan=$(($(max_rss scan "$f") - baseline))
  awk -v kb="$kb" -v o="$ours" -v c="$cups" -v s="$scan" 'BEGIN {
    printf "%-8s %9d %9d KiB %9d KiB %8d KiB %13.2f %10.2f %13.2f\n", kb "KiB", kb, o, c, s,
      (c > 0 ? o / c : 0), o / kb, c / kb }'
done

# Instruction counts do not depend on the load of a shared machine; with
# BENCH_CALLGRIND=1 they are measured too (slow: about five minutes).
if [ "${BENCH_CALLGRIND:-0}" = 1 ] && command -v valgrind >/dev/null; then
  echo
  echo "== Instructions (valgrind --tool=callgrind; net = total - the empty run's)"
  instructions() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$bin/kelvo-peakmem" "$1" "$2" 2>&1 >/dev/null |
      awk '/Collected :/ { print $NF }'
  }
  base_ir=$(instructions scan "$empty")
  printf '%-8s %14s %14s %12s %13s %12s\n' size "ours net" "libcups net" "scan net" "libcups/ours" "ours/scan"
  for kb in "${sizes[@]}"; do
    f=$ppd_dir/kelvo-generated-${kb}k.ppd
    ours=$(($(instructions ours "$f") - base_ir))
    cups=$(($(instructions libcups "$f") - base_ir))
    scan=$(($(instructions scan "$f") - base_ir))
    awk -v kb="$kb" -v o="$ours" -v c="$cups" -v s="$scan" 'BEGIN {
      printf "%-8s %14d %14d %12d %12.2fx %11.1fx\n", kb "KiB", o, c, s, c / o, (s > 0 ? o / s : 0) }'
  done
fi
