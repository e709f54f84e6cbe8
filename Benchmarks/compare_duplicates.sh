#!/usr/bin/env bash
# Times `tarno-cli duplicates` against rdfind and jdupes on the same files,
# after checking that all three find the same duplicate sets: on a tree of
# ordinary user files (where the user-files rules leave nothing out, so every
# tool sees the same files) and on the benchmark corpus, with a warm page cache
# and, where this user may drop the caches, a cold one. Then SHA-256
# throughput on a 1 GiB file in the page cache: our digest against `openssl`.
#
#   Benchmarks/compare_duplicates.sh [--runs N] [--cli PATH] [--skip-corpus]
#
#   --runs N        timed runs of each command; the median is reported (default 3)
#   --cli           the tarno-cli to time; default $TARNO_CLI, else the first one
#                   built under build/
#   --skip-corpus   only the tree of ordinary user files
#
# Needs rdfind and jdupes (Debian packages of those names).
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$repo/Benchmarks/bench_common.sh"

runs=3
cli="${TARNO_CLI:-}"
withCorpus=1
while [ $# -gt 0 ]; do
  case "$1" in
    --runs) runs="$2"; shift ;;
    --cli) cli="$2"; shift ;;
    --skip-corpus) withCorpus=0 ;;
    -h|--help) sed -n '2,16p' "$0"; exit 0 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
  shift
done
[ -n "$cli" ] || cli="$(builtCli)"
[ -x "$cli" ] || { echo "no tarno-cli built; build the release preset first" >&2; exit 1; }
for tool in rdfind jdupes; do
  command -v "$tool" >/dev/null || { echo "$tool is not installed (apt-get install $tool)" >&2; exit 1; }
done

work=$(mktemp -d /tmp/tarno-duplicates-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT

# The duplicate sets each tool reports, as one canonical JSON list of sorted
# lists; names that are not UTF-8 compare as Python's surrogate escapes, the
# form tarno-cli's JSON writes them in.
setsFromTarno() { "$cli" duplicates --json --min 1 "$1" | python3 -c '
import json, sys
groups = json.load(sys.stdin)["groups"]
print(json.dumps(sorted(sorted(f["path"] for f in g["files"]) for g in groups)))'; }
setsFromJdupes() { jdupes -r -q "$1" | python3 -c '
import json, sys
sets, current = [], []
for line in sys.stdin.buffer.read().decode("utf-8", "surrogateescape").split("\n"):
    if line: current.append(line)
    elif current: sets.append(sorted(current)); current = []
if current: sets.append(sorted(current))
print(json.dumps(sorted(sets)))'; }
setsFromRdfind() { (cd "$work" && rdfind -outputname "$work/results.txt" -dryrun true "$1" >/dev/null) && python3 -c '
import json, sys
groups = {}
for line in open(sys.argv[1], encoding="utf-8", errors="surrogateescape"):
    if line.startswith("#") or not line.strip(): continue
    parts = line.rstrip("\n").split(" ", 7)
    groups.setdefault(abs(int(parts[1])), []).append(parts[7])
print(json.dumps(sorted(sorted(p) for p in groups.values() if len(p) > 1)))' "$work/results.txt"; }

canDropCaches=0
if [ -w /proc/sys/vm/drop_caches ]; then canDropCaches=1; fi
dropCaches() { sync; echo 3 > /proc/sys/vm/drop_caches; }

compareOn() {
  local label="$1" root="$2"
  echo "== $label: $root"
  setsFromTarno "$root" > "$work/sets-tarno"
  setsFromJdupes "$root" > "$work/sets-jdupes"
  setsFromRdfind "$root" > "$work/sets-rdfind"
  local counts
  counts=$(python3 -c 'import json,sys; print(*(len(json.load(open(p))) for p in sys.argv[1:]))' \
             "$work/sets-tarno" "$work/sets-jdupes" "$work/sets-rdfind")
  if cmp -s "$work/sets-tarno" "$work/sets-jdupes" && cmp -s "$work/sets-tarno" "$work/sets-rdfind"; then
    echo "same ${counts%% *} duplicate sets from all three"
  else
    echo "THE SETS DIFFER: tarno-cli, jdupes and rdfind found $counts sets"
  fi
  local mode
  for mode in warm cold; do
    if [ "$mode" = cold ] && [ "$canDropCaches" -eq 0 ]; then echo "cold: cannot drop the page cache here"; continue; fi
    local beforeEachRun=""
    [ "$mode" = cold ] && beforeEachRun=dropCaches
    [ "$mode" = warm ] && "$cli" duplicates --json --min 1 "$root" >/dev/null
    local tarno jd rd
    tarno=$(medianMicroseconds "$cli" duplicates --json --min 1 "$root")
    jd=$(medianMicroseconds jdupes -r -q "$root")
    rd=$(medianMicroseconds bash -c "cd '$work' && rdfind -outputname '$work/results.txt' -dryrun true '$root'")
    awk -v m="$mode" -v t="$tarno" -v j="$jd" -v r="$rd" 'BEGIN {
      best = (j < r) ? j : r
      printf "%s: tarno-cli %.0f ms, jdupes %.0f ms, rdfind %.0f ms; %.2fx faster than the faster of them\n",
             m, t / 1000, j / 1000, r / 1000, best / t }'
  done
}

python3 "$repo/Benchmarks/make_user_files.py" "$work/user-files" >/dev/null
compareOn "ordinary user files" "$work/user-files"
if [ "$withCorpus" -eq 1 ]; then
  ensureCorpus /tmp/tarno-bench/default 1
  compareOn "benchmark corpus" /tmp/tarno-bench/default
fi

echo "== SHA-256 of a 1 GiB file in the page cache"
head -c 1073741824 /dev/urandom > "$work/big.bin"
openssl dgst -sha256 "$work/big.bin" >/dev/null
ssl=$(medianMicroseconds openssl dgst -sha256 "$work/big.bin")
digestProgram="$(dirname "$cli")/../../Benchmarks/tarno_digest_benchmark"
if [ -x "$digestProgram" ]; then
  ours=$(medianMicroseconds "$digestProgram" "$work/big.bin")
  awk -v s="$ssl" -v o="$ours" 'BEGIN { printf "openssl %.2f GB/s, tarno digest %.2f GB/s (%.0f%% of openssl)\n",
    1.073741824e9 / (s * 1000), 1.073741824e9 / (o * 1000), 100 * s / o }'
else
  echo "openssl $(milliseconds "$ssl"); build tarno_digest_benchmark to compare"
fi
