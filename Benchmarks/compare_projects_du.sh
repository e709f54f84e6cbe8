#!/usr/bin/env bash
# Times the projects' space accounting on the benchmark corpus against
# `du -s` over exactly the artifact folders it prices, and against the bare
# getdents64 + statx walk of the same folders on all cores (the limit any walk
# meets here), with a warm page cache; then the whole `tarno-cli projects`
# (finding, git, accounting) with its peak memory.
#
#   Benchmarks/compare_projects_du.sh [--small] [--runs N] [--corpus DIR] [--cli PATH]
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
    -h|--help) sed -n '2,16p' "$0"; exit 0 ;;
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
benchmark="$(dirname "$cli")/../../Benchmarks/tarno_space_accounting_benchmark"
[ -x "$benchmark" ] || { echo "build tarno_space_accounting_benchmark next to $cli first" >&2; exit 1; }

list=$(mktemp)
trap 'rm -f "$list"' EXIT
"$cli" projects --json --home "$corpus" "$corpus/projects" | python3 -c '
import json, sys
for row in json.load(sys.stdin)["artifacts"]:
    print(row["path"])' >"$list"
echo "corpus: $corpus ($(wc -l <"$list") artifact folders, $runs runs each, median wall time)"

duCommand=(sh -c 'tr "\n" "\0" <"$0" | du -s -B1 -c --files0-from=- >/dev/null' "$list")
"${duCommand[@]}" 2>/dev/null || true
duTime=$(medianMicroseconds "${duCommand[@]}")
echo "  du -s over the folders            $(milliseconds "$duTime")"

medians=$(TARNO_BENCH_TREE="$corpus" "$benchmark" --benchmark_repetitions="$runs" \
  --benchmark_report_aggregates_only=true --benchmark_format=json 2>/dev/null | python3 -c '
import json, sys
for result in json.load(sys.stdin)["benchmarks"]:
    if result.get("aggregate_name") == "median":
        print(result["run_name"].replace("/real_time", "").replace(" ", "_"), round(result["real_time"] * 1000))')
accounting=$(awk '/^SpaceAccounting/ { print $2 }' <<<"$medians")
limit=$(awk '/^Baseline/ { print $2 }' <<<"$medians")
echo "  SpaceAccounting::measure          $(milliseconds "$accounting")"
echo "  bare walk on all cores            $(milliseconds "$limit")"
awk -v a="$accounting" -v d="$duTime" -v l="$limit" 'BEGIN {
  printf "  du / accounting                   %.2f (goal: at least 2)\n", d / a
  printf "  accounting / all-core limit       %.2f (goal: at most 1.15)\n", a / l }'

projectsTime=$(medianMicroseconds "$cli" projects --home "$corpus" "$corpus/projects")
peak=$(/usr/bin/time -f '%M' "$cli" projects --home "$corpus" "$corpus/projects" 2>&1 >/dev/null | tail -1)
echo "  tarno-cli projects (all of it)    $(milliseconds "$projectsTime"), peak $(awk -v k="$peak" 'BEGIN { printf "%.1f MiB", k / 1024 }')"
