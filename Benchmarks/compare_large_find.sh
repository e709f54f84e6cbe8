#!/usr/bin/env bash
# Times `tarno-cli large --json --min 1000000` on the benchmark corpus against
# `find -type f -size +999999c` (the same floor: find reads the logical length,
# Tarno the allocated bytes, and find also looks inside .git, .Trash and
# node_modules), and against the bare getdents64 + statx walk of the finder's
# own units on all cores (the limit any such search meets here), with a warm
# page cache.
#
#   Benchmarks/compare_large_find.sh [--small] [--runs N] [--corpus DIR] [--cli PATH]
#
#   --small        the small corpus (~20k files) instead of the default one (~300k)
#   --runs N       timed runs of each command; the median is reported (default 5)
#   --corpus       where the corpus lives (made there when missing); default
#                  /tmp/tarno-bench/default or /tmp/tarno-bench/small
#   --cli          the tarno-cli to time; default $TARNO_CLI, else the first one
#                  built under build/
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$repo/Benchmarks/bench_common.sh"

big=1
runs=5
corpus=""
cli="${TARNO_CLI:-}"
while [ $# -gt 0 ]; do
  case "$1" in
    --small) big=0 ;;
    --runs) runs="$2"; shift ;;
    --corpus) corpus="$2"; shift ;;
    --cli) cli="$2"; shift ;;
    -h|--help) sed -n '2,17p' "$0"; exit 0 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
  shift
done
if [ -z "$corpus" ]; then
  if [ "$big" -eq 1 ]; then corpus=/tmp/tarno-bench/default; else corpus=/tmp/tarno-bench/small; fi
fi
corpus="${corpus%/}"
ensureCorpus "$corpus" "$big"

[ -z "$cli" ] && cli="$(builtCli)"
[ -n "$cli" ] && [ -x "$cli" ] || { echo "tarno-cli not found (give one with --cli)" >&2; exit 1; }
benchmark="$(dirname "$cli")/../../Benchmarks/tarno_large_file_finder_benchmark"
[ -x "$benchmark" ] || { echo "build tarno_large_file_finder_benchmark next to $cli first" >&2; exit 1; }

findCommand=(find "$corpus" -type f -size +999999c)
largeCommand=("$cli" large --json --min 1000000 "$corpus")
# Warm the page cache and the dentry cache for both.
"${findCommand[@]}" >/dev/null 2>&1 || true
"${largeCommand[@]}" >/dev/null 2>&1

found=$("${largeCommand[@]}" | python3 -c 'import json, sys; print(len(json.load(sys.stdin)["files"]))')
findFound=$("${findCommand[@]}" 2>/dev/null | wc -l || true)
echo "corpus: $corpus ($runs runs each, median wall time; $(nproc) cores)"
echo "  files of 1 MB or more             tarno-cli $found, find $findFound"

findTime=$(medianMicroseconds "${findCommand[@]}")
largeTime=$(medianMicroseconds "${largeCommand[@]}")
echo "  find -type f -size +999999c       $(milliseconds "$findTime")"
echo "  tarno-cli large --json            $(milliseconds "$largeTime")"

medians=$(TARNO_BENCH_TREE="$corpus" "$benchmark" --benchmark_repetitions="$runs" \
  --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true --benchmark_format=json 2>/dev/null | python3 -c '
import json, sys
for result in json.load(sys.stdin)["benchmarks"]:
    if result.get("aggregate_name") == "median":
        print(result["run_name"].replace("/real_time", "").replace(" ", "_"), round(result["real_time"] * 1000))')
finder=$(awk '/^LargeFileFinder/ { print $2 }' <<<"$medians")
limit=$(awk '/^Baseline/ { print $2 }' <<<"$medians")
echo "  LargeFileFinder::find             $(milliseconds "$finder")"
echo "  bare walk on all cores            $(milliseconds "$limit")"
awk -v t="$largeTime" -v f="$findTime" -v n="$finder" -v l="$limit" 'BEGIN {
  printf "  find / tarno-cli large            %.2f (goal: at least 2)\n", f / t
  printf "  tarno-cli large / all-core limit  %.2f (goal: at most 1.15)\n", t / l
  printf "  LargeFileFinder / all-core limit  %.2f\n", n / l }'
