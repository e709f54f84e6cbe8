#!/usr/bin/env bash
# Peak resident memory of tarno-cli on generated homes of growing size: the
# whole home measured (`measure`, every file walked), and the cleanup scan
# (`scan`: the catalog's rules and the measuring of what they offer), with
# `du -s` beside them. Prints one line per home and command, then the growth
# per 100,000 files between the smallest and the largest home.
#
#   Benchmarks/memory_at_scale.sh [--files "N N ..."] [--base DIR] [--cli PATH]
#
#   --files   the homes' file counts (default "100000 1000000")
#   --base    where the homes live, made there when missing (default
#             /tmp/tarno-bench/scale); a home of N files is BASE/home-N
#   --cli     the tarno-cli to run; default $TARNO_CLI, else the first one
#             built under build/
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$repo/Benchmarks/bench_common.sh"

counts="100000 1000000"
base=/tmp/tarno-bench/scale
cli="${TARNO_CLI:-}"
while [ $# -gt 0 ]; do
  case "$1" in
    --files) counts="$2"; shift ;;
    --base) base="$2"; shift ;;
    --cli) cli="$2"; shift ;;
    -h|--help) sed -n '2,14p' "$0"; exit 0 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
  shift
done

[ -z "$cli" ] && cli="$(builtCli)"
[ -n "$cli" ] && [ -x "$cli" ] || { echo "tarno-cli not found (give one with --cli)" >&2; exit 1; }

# Peak resident set of the command in KiB (GNU time's %M), output dropped.
peakKiB() {
  /usr/bin/time -f '%M' -o /dev/stdout "$@" 2>/dev/null >/dev/null | tail -1 || true
}

# The peak in KiB, rerun once so that the page cache is warm for both.
warmPeakKiB() {
  peakKiB "$@" >/dev/null
  /usr/bin/time -f '%M' "$@" 2>&1 >/dev/null | tail -1
}

declare -A peaks
for count in $counts; do
  home="$base/home-$count"
  if [ ! -f "$home.manifest.json" ]; then
    mkdir -p "$base"
    # About 3 KB a file, as a developer's home averages once media are set aside.
    python3 "$corpusScript" --quiet --force --files "$count" --total-mb $(( count * 3 / 1000 )) "$home"
  fi
  walked=$("$cli" measure --json "$home" 2>/dev/null | python3 -c 'import json,sys; print(json.load(sys.stdin)["files"])' || true)
  offered=$("$cli" scan --json --home "$home" 2>/dev/null \
            | python3 -c 'import json,sys; print(sum(i["size"]["files"] for i in json.load(sys.stdin)))' || true)
  measurePeak=$(warmPeakKiB "$cli" measure "$home")
  scanPeak=$(warmPeakKiB "$cli" scan --home "$home")
  duPeak=$(warmPeakKiB du -s "$home")
  peaks[$count]="$measurePeak $scanPeak $duPeak"
  printf '%9s files: measure walks %s files, peak %s MiB; scan measures %s files, peak %s MiB; du -s peak %s MiB\n' \
    "$count" "$walked" "$(awk -v k="$measurePeak" 'BEGIN { printf "%.1f", k / 1024 }')" \
    "$offered" "$(awk -v k="$scanPeak" 'BEGIN { printf "%.1f", k / 1024 }')" \
    "$(awk -v k="$duPeak" 'BEGIN { printf "%.1f", k / 1024 }')"
done

smallest=$(tr ' ' '\n' <<<"$counts" | sort -n | head -1)
largest=$(tr ' ' '\n' <<<"$counts" | sort -n | tail -1)
if [ "$smallest" != "$largest" ]; then
  read -r m1 s1 d1 <<<"${peaks[$smallest]}"
  read -r m2 s2 d2 <<<"${peaks[$largest]}"
  awk -v m1="$m1" -v m2="$m2" -v s1="$s1" -v s2="$s2" -v d1="$d1" -v d2="$d2" -v a="$smallest" -v b="$largest" 'BEGIN {
    per = (b - a) / 100000
    printf "growth per 100,000 files: measure %.0f KiB, scan %.0f KiB, du -s %.0f KiB\n",
           (m2 - m1) / per, (s2 - s1) / per, (d2 - d1) / per }'
fi
