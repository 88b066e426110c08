#!/usr/bin/env bash
# One command for everything: install, build, run every test (Windows tests
# under Wine, native tests under ASan/UBSan), then build and check the
# release package.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" all
status=0
{ "$root/scripts/check-docs.sh" && "$root/scripts/check-docs.sh" --self-test; } || status=1
( cd "$root/build/native" && ctest --output-on-failure ) || status=1
( cd "$root/build/win" && ctest --output-on-failure ) || status=1
"$root/scripts/package.sh" || status=1
exit $status
