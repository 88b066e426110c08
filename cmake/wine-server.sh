#!/usr/bin/env bash
# Keeps one wineserver alive across the test run so each test binary starts
# fast, on a virtual X display of its own so that screen captures and
# windows are real (Wine settles its display when the server starts).
set -u
build_dir=${ZEL_BUILD_DIR:-$(pwd)}
export WINEPREFIX=${WINEPREFIX:-$build_dir/wineprefix}
export WINEDEBUG=-all
here=$(cd "$(dirname "$0")" && pwd)
server=/usr/lib/wine/wineserver
[ -x "$server" ] || server=$(command -v wineserver64 || command -v wineserver)
display_file=$build_dir/xvfb.display
pid_file=$build_dir/xvfb.pid

# An odd width gives screenshots padded pixel rows. Without Xvfb, or with a
# display already set, Wine uses what it finds.
start_display() {
  rm -f "$display_file" "$pid_file"
  [ -z "${DISPLAY:-}" ] && command -v Xvfb >/dev/null || return 0
  Xvfb -displayfd 3 -screen 0 1023x767x24 -nolisten tcp 3>"$display_file" >/dev/null 2>&1 &
  echo $! >"$pid_file"
  for _ in $(seq 100); do [ -s "$display_file" ] && return 0; sleep 0.1; done
  echo "Xvfb did not start" >&2
}

stop_display() {
  [ -s "$pid_file" ] || return 0
  local pid
  pid=$(cat "$pid_file")
  [ "$(cat /proc/"$pid"/comm 2>/dev/null)" = Xvfb ] && kill "$pid"
  rm -f "$display_file" "$pid_file"
}

case "${1:-}" in
  start)
    start_display
    # With a display, a crashing test program would otherwise wait on
    # Wine's crash dialog.
    "$here/wine-run.sh" reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f \
      >/dev/null 2>&1 || true
    "$server" -p >/dev/null 2>&1 &
    exit 0 ;;
  stop)
    "$server" -k >/dev/null 2>&1 || true
    stop_display
    exit 0 ;;
  *) echo "usage: $0 start|stop" >&2; exit 2 ;;
esac
