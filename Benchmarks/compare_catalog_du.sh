#!/usr/bin/env bash
# Times the cleanup scan (the catalog's rules and the measuring of every item
# they offer) against `du -s` over exactly the offered paths, on the benchmark
# corpus and on a made-up Linux developer's home, with a warm page cache, and
# sets the two byte figures side by side.
#
#   Benchmarks/compare_catalog_du.sh [--big] [--runs N] [--corpus DIR] [--linux-home DIR] [--cli PATH]
#
#   --big          the default corpus (~300k files) instead of the small one (~20k)
#   --runs N       timed runs of each command; the median is reported (default 5)
#   --corpus       where the corpus lives (made there when missing); default
#                  /tmp/tarno-bench/small or /tmp/tarno-bench/default
#   --linux-home   where the made-up Linux home lives (made there when missing);
#                  default /tmp/tarno-bench/linux-home
#   --cli          the tarno-cli to time; default $TARNO_CLI, else the first one
#                  built under build/
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$repo/Benchmarks/bench_common.sh"

big=0
runs=5
corpus=""
linuxHome=/tmp/tarno-bench/linux-home
cli="${TARNO_CLI:-}"
while [ $# -gt 0 ]; do
  case "$1" in
    --big) big=1 ;;
    --runs) runs="$2"; shift ;;
    --corpus) corpus="$2"; shift ;;
    --linux-home) linuxHome="$2"; shift ;;
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
linuxHome="${linuxHome%/}"

ensureCorpus "$corpus" "$big"

# A home as a Linux developer's looks after a year: the tools' caches in their
# Linux places, a Flatpak app's leftovers, installers in Downloads, a full
# Trash, and personal files beside them that nothing may offer. Deterministic.
if [ ! -d "$linuxHome" ]; then
  mkdir -p "$(dirname "$linuxHome")"
  python3 - "$linuxHome" <<'PYTHON'
import os, random, sys
home = sys.argv[1]
rng = random.Random(20261123)

def write(relative, size):
    path = os.path.join(home, relative)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as out:
        out.write(rng.randbytes(size))

def spread(folder, count, low, high, fanout=256):
    for index in range(count):
        write(f"{folder}/{index % fanout:02x}/{index:06d}", rng.randint(low, high))

spread(".npm/_cacache/content-v2/sha512", 6000, 500, 40_000)
spread(".npm/_cacache/index-v5", 6000, 200, 600)
spread(".cache/pip/http-v2", 2500, 1_000, 80_000)
spread(".cache/go-build", 5000, 100, 12_000)
spread(".cache/yarn/v6", 3000, 500, 20_000, fanout=64)
spread(".cache/JetBrains/IntelliJIdea2024.3/caches", 1500, 500, 30_000, fanout=32)
spread(".cargo/registry/cache/index.crates.io-6f17d22bba15001f", 400, 10_000, 400_000, fanout=1)
spread(".m2/repository/org/example", 1200, 2_000, 120_000, fanout=40)
spread(".var/app/com.example.Gone/data", 300, 1_000, 50_000, fanout=8)
spread(".cache/thumbnails/large", 800, 5_000, 40_000, fanout=1)
for name in ("code_1.95.3_amd64.deb", "tool-2.1.AppImage", "setup.run"):
    write(f"Downloads/{name}", 25_000_000)
spread(".local/share/Trash/files/old-project", 600, 1_000, 30_000, fanout=16)
write(".local/share/Trash/info/old-project.trashinfo", 80)
spread("Documents/notes", 500, 200, 5_000, fanout=10)
PYTHON
fi

[ -z "$cli" ] && cli="$(builtCli)"
[ -n "$cli" ] && [ -x "$cli" ] || { echo "tarno-cli not found (give one with --cli)" >&2; exit 1; }


compare() {
  local home="$1" list
  list=$(mktemp)
  # Every path the catalog offers, one per line, NUL-safe enough for these homes.
  "$cli" catalog --json --home "$home" | python3 -c '
import json, sys
for item in json.load(sys.stdin):
    for path in item["action"].get("paths", []):
        print(path)' >"$list"
  local count
  count=$(wc -l <"$list")
  echo "home: $home ($count offered paths, $runs runs each, median wall time)"
  if [ "$count" -eq 0 ]; then echo "  nothing offered"; rm -f "$list"; return; fi

  local duCommand=(sh -c 'tr "\n" "\0" <"$0" | du -s -B1 -c --files0-from=- >/dev/null' "$list")
  # Warm the caches for both.
  "${duCommand[@]}" 2>/dev/null || true
  "$cli" scan --home "$home" >/dev/null 2>&1 || true

  local duTime tarnoTime
  duTime=$(medianMicroseconds "${duCommand[@]}")
  tarnoTime=$(medianMicroseconds "$cli" scan --home "$home")
  echo "  du -s over the paths     $(milliseconds "$duTime")"
  echo "  tarno-cli scan           $(milliseconds "$tarnoTime")"
  awk -v t="$tarnoTime" -v d="$duTime" 'BEGIN { printf "  ratio tarno/du           %.2f\n", t / d }'

  local duBytes folderBytes
  duBytes=$(tr '\n' '\0' <"$list" | du -s -B1 -c --files0-from=- 2>/dev/null | tail -1 | cut -f1)
  # du counts each folder's own blocks; the scanner counts what removing
  # frees inside them, so the folders' blocks are set apart.
  folderBytes=$(tr '\n' '\0' <"$list" | xargs -0 -I{} find {} -xdev -type d -printf '%b\n' 2>/dev/null \
                | awk '{ sum += $1 * 512 } END { printf "%d", sum }')
  echo "  du bytes                 $duBytes (less folders' blocks: $(( duBytes - folderBytes )))"
  "$cli" catalog --json --measure --home "$home" | python3 -c '
import json, sys
items = json.load(sys.stdin)
total = sum(item["size"]["bytes"] for item in items)
print(f"  tarno bytes              {total} ({len(items)} items)")'
  rm -f "$list"
}

compare "$corpus"
echo
compare "$linuxHome"
