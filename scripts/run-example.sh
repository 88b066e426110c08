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
set +e
"$root/cmake/wine-run.sh" "$build/bin/ZelCli.exe" --info "$@"
rc=$?
set -e
printf 'ZelCli.exe exit code: %d (low 8 bits as Linux sees them)\n' "$rc"
