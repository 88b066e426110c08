#!/usr/bin/env bash
# Fails when the code table of docs/exit-codes.md and core/ErrorCodeList.h
# differ: a code missing on either side, or a message that is not the same
# text. README.md's rows that name one code must quote its message too, and
# every tool code any docs page or README.md mentions must exist.
# Usage: check-docs.sh [root]
#   check-docs.sh --self-test   plants each kind of drift and expects a failure
set -euo pipefail

# code<TAB>message, one per line, sorted by code.
list_rows() { sed -n 's/^[[:space:]]*X(k[A-Za-z0-9]*, *\(0x[0-9A-Fa-f]*\), *"\(.*\)")[[:space:]\\]*$/\1\t\2/p' "$1" | sort; }
# "| 0x... | message | ... |": the code is the first cell, the message the second.
page_rows() {
  sed -n 's/^| *\(0x2[0-9A-Fa-f]\{7\}\) *|\(.*\)| *$/\1\t\2/p' "$1" | sed 's/ *|.*$//; s/\t */\t/; s/ *$//' | sort
}

check() {
  local root=$1 status=0 list page readme
  list=$(list_rows "$root/core/ErrorCodeList.h")
  page=$(page_rows "$root/docs/exit-codes.md")
  if [ -z "$list" ]; then echo "docs check: no codes read from core/ErrorCodeList.h"; return 1; fi
  while IFS= read -r line; do
    case "$line" in
      "<"*) echo "docs/exit-codes.md lacks or misquotes: ${line#< }"; status=1 ;;
      ">"*) echo "docs/exit-codes.md has what core/ErrorCodeList.h lacks: ${line#> }"; status=1 ;;
    esac
  done < <(diff <(printf '%s\n' "$list") <(printf '%s\n' "$page") | grep -E '^[<>]' || true)
  readme=$(page_rows "$root/README.md")
  while IFS= read -r line; do
    [ -n "$line" ] || continue
    grep -qxF "$line" <<<"$list" || { echo "README.md quotes a code or message the list lacks: $line"; status=1; }
  done <<<"$readme"
  local code
  for code in $(cat "$root"/docs/*.md "$root/README.md" | grep -oE '0x2[0-9A-Fa-f]{7}' | sort -u); do
    grep -qi "^$code"$'\t' <<<"$list" || { echo "a docs page mentions $code, which core/ErrorCodeList.h lacks"; status=1; }
  done
  return $status
}

if [ "${1:-}" = --self-test ]; then
  root=$(cd "$(dirname "$0")/.." && pwd)
  tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT
  plant() {  # <what> <sed expression> <file>: copies the tree's files, edits one, expects a failure
    rm -rf "$tmp/t"; mkdir -p "$tmp/t/core" "$tmp/t/docs"
    cp "$root/core/ErrorCodeList.h" "$tmp/t/core/"; cp "$root/docs/exit-codes.md" "$tmp/t/docs/"
    cp "$root/README.md" "$tmp/t/"
    sed -i "$2" "$tmp/t/$3"
    if check "$tmp/t" >/dev/null; then echo "self-test: $1 passed"; exit 1; fi
  }
  rm -rf "$tmp/t"; mkdir -p "$tmp/t/core" "$tmp/t/docs"
  cp "$root/core/ErrorCodeList.h" "$tmp/t/core/"; cp "$root/docs/exit-codes.md" "$tmp/t/docs/"; cp "$root/README.md" "$tmp/t/"
  check "$tmp/t" >/dev/null || { echo "self-test: the tree's own files were refused"; exit 1; }
  plant "a code missing from the page" '/^| 0x20000132 /d' docs/exit-codes.md
  plant "a code the list lacks" '$a| 0x20000150 | New. | a run | nothing |' docs/exit-codes.md
  plant "a message changed on the page" 's/Failed to precondtion DUT\./Failed to precondition DUT./' docs/exit-codes.md
  plant "a message changed in the list" 's/"Disk not found!"/"Disk not found."/' core/ErrorCodeList.h
  plant "a README message that differs" 's/^| 0x20000007 | Disk not found! |/| 0x20000007 | Disk not found |/' README.md
  plant "an unknown code in prose" '$a The run ends with 0x2000DEAD.' README.md
  echo "self-test: every planted drift caught"
  exit 0
fi

root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
check "$root" && echo "docs: the code table matches core/ErrorCodeList.h"
