#!/usr/bin/env bash
# Keeps one wineserver alive across the test run so each test binary starts fast.
set -u
build_dir=${ZEL_BUILD_DIR:-$(pwd)}
export WINEPREFIX=${WINEPREFIX:-$build_dir/wineprefix}
export WINEDEBUG=-all
here=$(cd "$(dirname "$0")" && pwd)
server=/usr/lib/wine/wineserver
[ -x "$server" ] || server=$(command -v wineserver64 || command -v wineserver)
case "${1:-}" in
  start)
    "$here/wine-run.sh" cmd /c exit 0 >/dev/null 2>&1 || true
    "$server" -p >/dev/null 2>&1 &
    exit 0 ;;
  stop)
    "$server" -k >/dev/null 2>&1 || true
    exit 0 ;;
  *) echo "usage: $0 start|stop" >&2; exit 2 ;;
esac
