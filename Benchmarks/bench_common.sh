# Helpers the benchmark scripts share; sourced, not run. Expects `repo` set.

corpusScript="$repo/../shared/bench/make_corpus.py"

# The corpus at $1 (small unless $2 is 1), made there when missing. It is
# deterministic, so one made earlier with the same preset is reused.
ensureCorpus() {
  local corpus="$1" big="$2"
  if [ ! -d "$corpus" ] || [ ! -f "$corpus.manifest.json" ]; then
    [ -f "$corpusScript" ] || { echo "corpus script not found: $corpusScript" >&2; exit 1; }
    mkdir -p "$(dirname "$corpus")"
    local sizeArguments=(--small)
    [ "$big" -eq 1 ] && sizeArguments=()
    python3 "$corpusScript" "${sizeArguments[@]}" --force "$corpus"
  fi
}

# The first tarno-cli built under build/, release first; empty when none is.
builtCli() {
  local candidate
  for candidate in "$repo"/build/release/Sources/TarnoCLI/tarno-cli \
                   "$repo"/build/default/Sources/TarnoCLI/tarno-cli \
                   "$repo"/build/*/Sources/TarnoCLI/tarno-cli; do
    if [ -x "$candidate" ]; then echo "$candidate"; return; fi
  done
}

# Median wall time of $runs runs of the command, in microseconds. A command
# that fails (du on an unreadable folder) still counts. $beforeEachRun, when
# set, runs untimed before each run (dropping the page cache, say).
medianMicroseconds() {
  local samples=() start end run
  for ((run = 0; run < runs; run++)); do
    [ -n "${beforeEachRun:-}" ] && $beforeEachRun
    start=$(date +%s%N)
    "$@" >/dev/null 2>&1 || true
    end=$(date +%s%N)
    samples+=($(( (end - start) / 1000 )))
  done
  printf '%s\n' "${samples[@]}" | sort -n | sed -n "$(( (runs + 1) / 2 ))p"
}

milliseconds() { awk -v us="$1" 'BEGIN { printf "%.1f ms", us / 1000 }'; }
