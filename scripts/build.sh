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
  # clang when present: it adds the libFuzzer targets to the sanitizer build.
  compilers=()
  if command -v clang++ >/dev/null; then compilers=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++); fi
  cmake -S "$root" -B "$root/build/native" -G Ninja -DCMAKE_BUILD_TYPE=Debug "${compilers[@]}" >/dev/null
  cmake --build "$root/build/native"
fi
