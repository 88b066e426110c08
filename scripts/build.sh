#!/usr/bin/env bash
# Builds the Windows product and tests (build/win) and the native sanitizer
# build of the Windows-free modules (build/native).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
what=${1:-all}
if [ "$what" = all ] || [ "$what" = win ]; then
  cmake -S "$root" -B "$root/build/win" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" >/dev/null
  cmake --build "$root/build/win"
fi
if [ "$what" = all ] || [ "$what" = native ]; then
  cmake -S "$root" -B "$root/build/native" -G Ninja -DCMAKE_BUILD_TYPE=Debug >/dev/null
  cmake --build "$root/build/native"
fi
