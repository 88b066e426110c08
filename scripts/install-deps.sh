#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need.
# Idempotent.
set -euo pipefail
packages=(cmake ninja-build ccache g++ g++-mingw-w64-x86-64-posix wine64 libcxxopts-dev
          nlohmann-json3-dev googletest clang libclang-rt-14-dev fio time xvfb xauth python3-jsonschema zip unzip)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
