#!/usr/bin/env bash
# Times `tarno-cli measure` against `du -s` on the benchmark corpus, with a
# warm page cache, and sets their byte figures beside the corpus's manifest.
#
#   Benchmarks/compare_du.sh [--big] [--runs N] [--corpus DIR] [--cli PATH]
#
#   --big      the default corpus (~300k files) instead of the small one (~20k)
#   --runs N   timed runs of each command; the median is reported (default 5)
#   --corpus   where the corpus lives (made there when missing); default
#              /tmp/tarno-bench/small or /tmp/tarno-bench/default
#   --cli      the tarno-cli to time; default $TARNO_CLI, else the first one
#              built under build/
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$repo/Benchmarks/bench_common.sh"

big=0
runs=5
corpus=""
cli="${TARNO_CLI:-}"
while [ $# -gt 0 ]; do
  case "$1" in
    --big) big=1 ;;
    --runs) runs="$2"; shift ;;
    --corpus) corpus="$2"; shift ;;
    --cli) cli="$2"; shift ;;
    -h|--help) sed -n '2,13p' "$0"; exit 0 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
  shift
done

if [ -z "$corpus" ]; then
  if [ "$big" -eq 1 ]; then corpus=/tmp/tarno-bench/default; else corpus=/tmp/tarno-bench/small; fi
fi
corpus="${corpus%/}"
manifest="$corpus.manifest.json"

ensureCorpus "$corpus" "$big"

[ -z "$cli" ] && cli="$(builtCli)"
haveCli=0
if [ -n "$cli" ] && [ -x "$cli" ] && "$cli" measure --json "$corpus" >/dev/null 2>&1; then
  haveCli=1
else
  echo "tarno-cli with 'measure --json' not found; timing du alone (give one with --cli)" >&2
fi


# Warm the page cache and the dentry cache for both tools.
du -s "$corpus" >/dev/null 2>&1 || true
[ "$haveCli" -eq 1 ] && "$cli" measure --json "$corpus" >/dev/null 2>&1

echo "corpus: $corpus ($runs runs each, median wall time)"
duTime=$(medianMicroseconds du -s "$corpus")
echo "du -s                    $(milliseconds "$duTime")"
if [ "$haveCli" -eq 1 ]; then
  tarnoTime=$(medianMicroseconds "$cli" measure --json "$corpus")
  echo "tarno-cli measure        $(milliseconds "$tarnoTime")"
  awk -v t="$tarnoTime" -v d="$duTime" 'BEGIN { printf "ratio tarno/du           %.2f\n", t / d }'
fi

echo
echo "byte figures"
duBytes=$(du -s --block-size=1 "$corpus" 2>/dev/null | cut -f1 || true)
# A folder's own blocks count for du but never for the scanner; take them out
# so the two figures can be compared exactly.
folderBytes=$(find "$corpus" -xdev -type d -printf '%b\n' 2>/dev/null | awk '{ sum += $1 * 512 } END { printf "%d", sum }')
echo "du -s --block-size=1     $duBytes"
echo "  less folders' blocks   $(( duBytes - folderBytes ))"
if [ "$haveCli" -eq 1 ]; then
  "$cli" measure --json "$corpus" | python3 -c '
import json, sys
result = json.load(sys.stdin)
bytes, files, unreadable = result["bytes"], result["files"], result["unreadableDirectories"]
print(f"tarno-cli measure        {bytes}  ({files} files, {unreadable} unreadable folders)")'
fi
python3 - "$manifest" <<'PYTHON'
import json, sys
scan = json.load(open(sys.argv[1]))["scan"]
print(f"manifest                 {scan['allocated_bytes_inodes']}  (regular files, each inode once; "
      f"{scan['files']} file names, {scan['hardlinked_names']} of them hard-linked, {scan['symlinks']} symlinks)")
PYTHON
