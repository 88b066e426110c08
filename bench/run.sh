#!/usr/bin/env bash
# Benchmarks, one command: bash bench/run.sh [section ...]
#
# Builds a native Release configuration (-O2, no sanitizers, no fuzzer
# instrumentation) in build/bench, describes the machine, and runs each
# section in turn (all of them when none is named). Sections:
#   pattern   data-pattern fill and compare vs memcpy/memcmp (docs/performance.md)
# To add a section (say "engine": ZelCli under Wine vs fio), write a function
# section_<name> below that builds what it needs with build_targets and prints
# its own table, and add <name> to SECTIONS.
# Environment: CC/CXX pick the compiler on the first configure (default: the
# system's c++); ZEL_BENCH_QUICK=1 runs fewer rounds.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build/bench"
SECTIONS=(pattern)

configure() {
  [ -f "$build/CMakeCache.txt" ] && return
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_FLAGS_RELEASE="-O2 -DNDEBUG" -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
    -DZEL_SANITIZE=OFF -DZEL_FUZZ_INSTRUMENT=OFF >/dev/null
}

# build_targets <target> ...: builds only what a section runs.
build_targets() {
  configure
  cmake --build "$build" --target "$@" >/dev/null
}

cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

describe_machine() {
  configure
  local cpu family model cores l2 l3 compiler hypervisor
  cpu=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -1)
  family=$(sed -n 's/^cpu family[[:space:]]*: //p' /proc/cpuinfo | head -1)
  model=$(sed -n 's/^model[[:space:]]*: //p' /proc/cpuinfo | head -1)
  cores=$(nproc)
  l2=$(lscpu 2>/dev/null | sed -n 's/^L2 cache:[[:space:]]*//p')
  l3=$(lscpu 2>/dev/null | sed -n 's/^L3 cache:[[:space:]]*//p')
  hypervisor=$(lscpu 2>/dev/null | sed -n 's/^Hypervisor vendor:[[:space:]]*//p')
  compiler=$("$(cache_value CMAKE_CXX_COMPILER)" --version | head -1)
  echo "## Machine"
  echo
  echo "- CPU: ${cpu} (family ${family}, model ${model}), ${cores} cores online"
  echo "- caches: L2 ${l2:-?}, L3 ${l3:-?}${hypervisor:+; virtual machine (${hypervisor})}"
  echo "- kernel: $(uname -sr); load average at start: $(cut -d' ' -f1-3 /proc/loadavg)"
  echo "- compiler: ${compiler}; flags: $(cache_value CMAKE_CXX_FLAGS_RELEASE) (no -march: x86-64 baseline)"
  echo
}

section_pattern() {
  build_targets zel_bench_pattern
  echo "## Data pattern: fill and compare (goals: ratio to memcpy / memcmp)"
  echo
  "$build/bin/zel_bench_pattern" ${ZEL_BENCH_QUICK:+--quick}
  echo
}

requested=("$@")
[ ${#requested[@]} -eq 0 ] && requested=("${SECTIONS[@]}")
for name in "${requested[@]}"; do
  if ! declare -F "section_$name" >/dev/null; then
    echo "unknown section '$name' (sections: ${SECTIONS[*]})" >&2
    exit 2
  fi
done
echo "# ZelCli benchmarks ($(date '+%Y-%m-%d %H:%M'))"
echo
describe_machine
for name in "${requested[@]}"; do "section_$name"; done
