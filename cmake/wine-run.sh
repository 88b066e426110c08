#!/usr/bin/env bash
# Runs a Windows program under Wine with the build tree's private prefix.
set -u
build_dir=${ZEL_BUILD_DIR:-$(pwd)}
export WINEPREFIX=${WINEPREFIX:-$build_dir/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
# The test run's virtual display (cmake/wine-server.sh), unless one is set.
if [ -z "${DISPLAY:-}" ] && [ -s "$build_dir/xvfb.display" ]; then
  export DISPLAY=":$(head -n1 "$build_dir/xvfb.display")"
fi
loader=/usr/lib/wine/wine64
[ -x "$loader" ] || loader=$(command -v wine64 || command -v wine)
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  ( flock 9; [ -f "$WINEPREFIX/system.reg" ] || "$loader" wineboot -i >/dev/null 2>&1 ) 9>"$WINEPREFIX.lock"
fi
exec "$loader" "$@"
