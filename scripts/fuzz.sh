#!/usr/bin/env bash
# Runs every fuzz target of the native build for a while and reports the
# coverage each reached; --merge folds what they found into the seed corpora.
# Usage: scripts/fuzz.sh [seconds per target, default 60] [--merge]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=60 merge=0
for arg in "$@"; do
  case "$arg" in
    --merge) merge=1 ;;
    *) seconds=$arg ;;
  esac
done
"$root/scripts/build.sh" native >/dev/null
bin="$root/build/native/bin"
for target in "$bin"/zel_fuzz_*; do
  name=$(basename "$target")
  seeds="$root/tests/fuzz/corpus/$name" found="$root/build/native/fuzz-corpus/$name"
  mkdir -p "$seeds" "$found"
  last=$("$target" "$found" "$seeds" -max_total_time="$seconds" -rss_limit_mb=1024 2>&1 | grep -E '^#[0-9]+' | tail -n 1)
  printf '%-28s %s\n' "$name" "$(sed -E 's/.*(cov: [0-9]+ ft: [0-9]+ corp: [^ ]+).*/\1/' <<<"$last")"
  if [ "$merge" = 1 ]; then
    "$target" -merge=1 "$seeds" "$found" >/dev/null 2>&1
  fi
done
