#!/usr/bin/env bash
# One command to see the tool work: install, build, and run its information
# job against the bundled virtual test host under Wine.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" win
build="$root/build/win"
host=$(ls "$root"/vhost/examples/*.json 2>/dev/null | head -n 1 || true)
export ZEL_BUILD_DIR="$build"
if [ -n "$host" ]; then
  export ZELCLI_VHOST="Z:${host//\//\\}"
fi
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
logdir="Z:${out//\//\\}"
zelcli() {
  printf '\n$ ZelCli.exe %s\n' "$*"
  set +e
  "$root/cmake/wine-run.sh" "$build/bin/ZelCli.exe" "$@"
  local rc=$?
  set -e
  printf '\nZelCli.exe exit code: %d (low 8 bits as Linux sees them)\n' "$rc"
  return $rc
}
zelcli --info "$@"
# The main job on the NVMe disk of the example host: a seeded write that
# saves its sector image, then a read that compares every sector with it.
zelcli -a rw -d 1 --rw write --pattern rand --seed 2024 --size 64m --qd 8 \
  --out-bin write.bin --out-ini write.ini --logdir "$logdir" --logfile rw.log
zelcli -a rw -d 1 --rw read --size 64m --qd 8 --in-bin write.bin --out-ini read.ini \
  --logdir "$logdir" --logfile rw.log
printf '\nPer-thread results (write.ini, read.ini):\n'
cat "$out/write.ini" "$out/read.ini" | tr -d '\r'
