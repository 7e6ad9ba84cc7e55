#!/usr/bin/env bash
# Runs the fuzz targets (built by `cmake --build --preset fuzz`), two at a time, each for SECONDS from its
# seed corpus (fuzz/corpus/<target>/, kept in the repository) and the inputs it found before
# (build/fuzz/corpus/<target>/, kept between runs on this machine). A finding (crash, leak, undefined
# behaviour, time-out, memory limit) stops that target: its input is printed as hex and kept under
# build/fuzz/findings/, and the script fails. Prints executions per target at the end.
#
#   fuzz/run.sh SECONDS [TARGET ...]     (targets by their file names: bracelet_notifications, ...)
#
# FUZZ_RUNS=N stops each target after N executions instead (SECONDS 0: no time limit), logging to
# build/fuzz/logs/long-<target>.log: how the long campaigns are run. FUZZ_FLAGS adds libFuzzer flags.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:?usage: fuzz/run.sh SECONDS [TARGET ...]}
shift
bin=build/fuzz/fuzz
if [ $# -gt 0 ]; then
  targets=("$@")
else
  targets=()
  for source in fuzz/*.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi
mkdir -p build/fuzz/findings build/fuzz/logs

run_one() {
  local target=$1 seconds=$2 bin=$3
  local work=build/fuzz/corpus/$target log=build/fuzz/logs/$target.log limit=()
  if [ -n "${FUZZ_RUNS:-}" ]; then
    log=build/fuzz/logs/long-$target.log
    limit=(-runs="$FUZZ_RUNS")
  fi
  mkdir -p "$work" "fuzz/corpus/$target"
  # Allocation stacks are not needed to find a fault, and recording them halves the speed.
  if ASAN_OPTIONS=malloc_context_size=0:detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    "$bin/fuzz_$target" -max_total_time="$seconds" "${limit[@]}" -timeout=25 -rss_limit_mb=2048 -max_len=4096 \
      -print_final_stats=1 ${FUZZ_FLAGS:-} -artifact_prefix="build/fuzz/findings/$target-" "$work" "fuzz/corpus/$target" \
      >"$log" 2>&1; then
    local runs
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo '?')
    printf '  %-36s %12s executions, no finding\n' "$target" "$runs"
  else
    printf '  %-36s FINDING (log: %s)\n' "$target" "$log"
    grep -E 'ERROR|SUMMARY|runtime error|Test unit written' "$log" | head -20 | sed 's/^/    /'
    for input in build/fuzz/findings/"$target"-*; do
      [ -e "$input" ] || continue
      echo "    input $input:"
      od -An -tx1 -v "$input" | head -40 | sed 's/^/    /'
    done
    return 1
  fi
}
export -f run_one

echo "fuzzing ${#targets[@]} targets for ${seconds}s each"
printf '%s\n' "${targets[@]}" | xargs -P 2 -I{} bash -c 'run_one "$@"' _ {} "$seconds" "$bin"
