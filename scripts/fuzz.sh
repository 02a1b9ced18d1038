#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan) and runs each for SECONDS
# (default 60) on a copy of its seed corpus kept in the build directory, so
# the repository's fuzz/corpus only ever holds the checked-in seeds.
# Exits non-zero when any target reports a crash, leak, timeout or memory
# blow-up, naming the input that caused it.
#
#   bash scripts/fuzz.sh [SECONDS]          FUZZ_BUILD_DIR (default build-fuzz)
#                                           FUZZ_TARGETS (default: all listed below)
#                                           FUZZ_ARGS (more libFuzzer flags)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
case $seconds in
  '' | *[!0-9]*) echo "usage: $0 [SECONDS]" >&2; exit 2 ;;
esac

bash scripts/install-deps.sh
build_dir=${FUZZ_BUILD_DIR:-build-fuzz}
targets=(${FUZZ_TARGETS:-ppd_parse_fuzzer text_converter_fuzzer constraints_fuzzer settings_fuzzer plist_fuzzer ticket_fuzzer apply_fuzzer auth_unpack_fuzzer segment_fuzzer strings_fuzzer})

CC=clang CXX=clang++ cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKELVO_FUZZ=ON -DKELVO_BUILD_TESTS=OFF >/dev/null
cmake --build "$build_dir" --target "${targets[@]}" -j2

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

run_dir=$build_dir/fuzz-run
failed=()
for target in "${targets[@]}"; do
  corpus=$run_dir/corpus/$target
  artifacts=$run_dir/artifacts/$target
  log=$run_dir/logs/$target.log
  mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
  cp -f fuzz/corpus/"$target"/* "$corpus"/

  echo "== $target: ${seconds}s"
  status=0
  # A target's own dictionary (fuzz/<target>.dict) where it has one.
  dict=fuzz/$target.dict
  [ -f "$dict" ] || dict=fuzz/ppd.dict
  # The outer timeout only guards against a hung fuzzer process itself.
  timeout --signal=KILL $((seconds + 300)) "$build_dir/fuzz/$target" "$corpus" \
    -dict="$dict" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$artifacts/" -print_final_stats=1 ${FUZZ_ARGS:-} >"$log" 2>&1 || status=$?

  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
  echo "   ${runs:-?} runs, ${speed:-?} exec/s, log $log"
  if [ "$status" -ne 0 ]; then
    failed+=("$target")
    echo "   FAILED (exit $status):"
    grep -E 'ERROR: |runtime error:|SUMMARY: ' "$log" | head -n 5 | sed 's/^/     /' || true
    grep -o 'Test unit written to .*' "$log" | sed 's/^Test unit written to /   input: /' || true
    echo "   reproduce: $build_dir/fuzz/$target <input>"
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzzing found problems in: ${failed[*]}" >&2
  exit 1
fi
echo "fuzzing: no problems in ${#targets[@]} targets (${seconds}s each)"
