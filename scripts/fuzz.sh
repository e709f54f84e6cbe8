#!/usr/bin/env bash
# Fuzzes the core's readers of outside text, one target after the other.
#   scripts/fuzz.sh [seconds-per-target] [target...]
#   scripts/fuzz.sh --runs N [target...]     N executions per target instead
# TARNO_FUZZ_TIMEOUT (seconds, 5 by default) is how long one input may take:
# raise it for long runs beside other work, where a starved process would
# otherwise report a timeout that is only the machine's.
# Targets are the folder names in Fuzz/Seeds (all of them by default). Each
# keeps its growing corpus in build/fuzz/corpus/<target>, started from its
# seeds, and any input that breaks it in build/fuzz/crashes/<target>.
set -euo pipefail
cd "$(dirname "$0")/.."

# Either a time or an execution count bounds each target.
if [ "${1:-}" = --runs ]; then
  limit=(-runs="${2:?--runs needs a count}")
  shift 2
else
  limit=(-max_total_time="${1:-600}")
  shift || true
fi
if [ $# -gt 0 ]; then
  targets=("$@")
else
  targets=()
  for folder in Fuzz/Seeds/*/; do
    targets+=("$(basename "$folder")")
  done
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j2 >/dev/null

failed=0
printf '%-20s %14s %10s  %s\n' target executions exec/s result
for target in "${targets[@]}"; do
  program=build/fuzz/Fuzz/tarno_${target}_fuzzer
  if [ ! -x "$program" ] || [ ! -d "Fuzz/Seeds/$target" ]; then
    printf '%-20s %14s %10s  %s\n' "$target" - - "no such target"
    failed=1
    continue
  fi
  corpus=build/fuzz/corpus/$target
  crashes=build/fuzz/crashes/$target
  log=build/fuzz/logs/$target.log
  mkdir -p "$corpus" "$crashes" "$(dirname "$log")"
  # The corpus first: libFuzzer writes what it finds into the first folder,
  # never into the checked-in seeds.
  status=0
  "$program" "${limit[@]}" -timeout="${TARNO_FUZZ_TIMEOUT:-5}" -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$crashes/" "$corpus" "Fuzz/Seeds/$target" >"$log" 2>&1 || status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  perSecond=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
  if [ "$status" -eq 0 ]; then
    result=ok
  else
    failed=1
    artifact=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -n 1)
    kind=$(grep -m1 -oE 'ERROR: (libFuzzer|AddressSanitizer|UndefinedBehaviorSanitizer): [a-z-]+|runtime error: .*|deadly signal|timeout' "$log" || true)
    result="FAILED (${kind:-status $status}) ${artifact:-see $log}"
  fi
  printf '%-20s %14s %10s  %s\n' "$target" "${executions:--}" "${perSecond:--}" "$result"
done
exit "$failed"
