#!/usr/bin/env bash
# Fails when a file of a layer folder includes a header of a layer that
# cmake/layers.txt does not let it use. Usage: check-layers.sh [root]
#   check-layers.sh --self-test   plants a wrong include and expects a failure
set -euo pipefail

check() {
  local root=$1 status=0 layer uses file used
  while IFS=: read -r layer uses; do
    [ -d "$root/$layer" ] || continue
    while IFS= read -r -d '' file; do
      while IFS= read -r used; do
        case " $layer $uses " in
          *" $used "*) ;;
          *) echo "layer violation: ${file#"$root"/} includes $used/ ($layer may use:${uses:- nothing})"; status=1 ;;
        esac
      done < <(sed -n 's|^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([a-z]*\)/.*|\1|p' "$file" | sort -u)
      if grep -qE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"\.\./' "$file"; then
        echo "layer violation: ${file#"$root"/} includes through ../"; status=1
      fi
    done < <(find "$root/$layer" -type f \( -name '*.cpp' -o -name '*.h' \) -print0)
  done < <(grep -E '^[a-z]+:' "$root/cmake/layers.txt")
  return $status
}

if [ "${1:-}" = --self-test ]; then
  root=$(cd "$(dirname "$0")/.." && pwd)
  tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT
  mkdir -p "$tmp/cmake" "$tmp/core" "$tmp/disk"
  cp "$root/cmake/layers.txt" "$tmp/cmake/"
  printf '#include "core/A.h"\n' > "$tmp/disk/Fine.cpp"
  check "$tmp" >/dev/null || { echo "self-test: a permitted include was refused"; exit 1; }
  printf '#include "disk/Fine.h"\n' > "$tmp/core/Wrong.cpp"
  if check "$tmp" >/dev/null; then echo "self-test: a wrong include passed"; exit 1; fi
  echo "self-test: wrong include caught"
  exit 0
fi

root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
check "$root" && echo "layers: every include points down"
