#!/usr/bin/env bash
# Benchmarks, one command: bash bench/run.sh [section ...]
#
# Builds a native Release configuration (-O2, no sanitizers, no fuzzer
# instrumentation) in build/bench, describes the machine, and runs each
# section in turn (all of them when none is named). Sections:
#   pattern   data-pattern fill and compare vs memcpy/memcmp (docs/performance.md)
#   engine    ZelCli's cost per I/O on a data-less virtual disk vs fio's null engine,
#             and vs a bare completion-port loop on that disk (bench/IocpFloor.cpp)
#   datapath  ZelCli on a file-backed virtual disk vs fio on the disk's image file
#   memory    peak resident memory of a QD32, 1 MiB run against its buffers
# engine, datapath and memory install fio (scripts/install-deps.sh), build the
# Windows product (scripts/build.sh win) and run it under Wine against a
# virtual host described in a temporary folder under build/bench; fio runs
# only on files there. Nothing touches a real disk.
# To add a section, write a function section_<name> below that builds what it
# needs and prints its own table, and add <name> to SECTIONS.
# Environment: CC/CXX pick the compiler on the first configure (default: the
# system's c++); ZEL_BENCH_QUICK=1 runs fewer rounds and smaller sizes.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build/bench"
SECTIONS=(pattern engine datapath memory)
win="$root/build/win"
quick=${ZEL_BENCH_QUICK:+1}
rounds=3 fio_seconds=2
[ -z "$quick" ] || { rounds=1; fio_seconds=1; }

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

# --- ZelCli under Wine on the virtual host, next to fio ---

vhost="" img=""
prepare_wine() {
  [ -n "$vhost" ] && return
  "$root/scripts/install-deps.sh" >&2  # fio, GNU time, Wine, MinGW-w64
  "$root/scripts/build.sh" win >&2
  mkdir -p "$build"
  vhost=$(mktemp -d "$build/vhost.XXXXXX")
  trap 'rm -rf "$vhost"' EXIT
  # Disk 0 has no data (the engine alone); disk 1 keeps its data in
  # host.json.state/disk1.img (vhost/DiskImage.*: byte offset = disk offset),
  # the file fio runs on too. Both answer at once (latency 0).
  cat >"$vhost/host.json" <<'JSON'
{ "disks": [
    { "number": 0, "busType": 17, "model": "Bench data-less", "capacityBytes": "1024g", "media": "none" },
    { "number": 1, "busType": 17, "model": "Bench image", "capacityBytes": "16g" } ] }
JSON
  export ZEL_BUILD_DIR="$win" ZELCLI_VHOST="Z:${vhost//\//\\}\\host.json"
  # A wineserver that outlives each run by 30 s, so no run pays for starting
  # it and Wine's services again; a server already running (the first run's,
  # or a persistent one of an earlier bench) is waited out.
  local server=/usr/lib/wine/wineserver64
  [ -x "$server" ] || server=wineserver
  export WINEPREFIX="$win/wineprefix"
  zel_us -a rw -d 0 --rw read --bs 4k --size 4k >/dev/null  # creates the prefix once
  "$server" -w
  "$server" -p30
  zel_us -a rw -d 0 --rw read --bs 4k --size 4k >/dev/null  # starts Wine's services
  echo "ZelCli.exe: build/win (MinGW-w64 g++ $(x86_64-w64-mingw32-g++-posix -dumpversion), -O2 -g) under" \
    "$("$root/cmake/wine-run.sh" --version); $(fio --version)."
  echo
}

# zel_us <option ...>: runs ZelCli.exe once; prints its wall time in µs.
zel_us() {
  local start=${EPOCHREALTIME//[.,]/} rc=0
  "$root/cmake/wine-run.sh" "$win/bin/ZelCli.exe" "$@" >"$vhost/last.log" 2>&1 || rc=$?
  if [ $rc -ne 0 ]; then
    { echo "ZelCli.exe $* failed (exit code $rc):"; cat "$vhost/last.log"; } >&2
    return 1
  fi
  echo $((${EPOCHREALTIME//[.,]/} - start))
}

# fio_terse <option ...>: one fio job, terse v3 line (read KiB/s $7, IOPS $8;
# write KiB/s $48, IOPS $49).
fio_terse() { fio --name=bench --output-format=terse --terse-version=3 "$@"; }

# Before each timed run the image is clean and wholly in the page cache
# (ZelCli's reads of it are buffered; fio's direct runs drop cached pages).
settle() { [ ! -f "$img" ] || { sync "$img" && cat "$img" >/dev/null; }; }

# zel_vs_fio "<tiny ZelCli options>" "<large ZelCli options>" [fio option ...]
# Runs them $rounds times in turn and keeps each one's best: tiny_us,
# extra_us (best large minus best tiny: the large run's work without the
# process start-up under Wine) and fio_line (fio's fastest round).
zel_vs_fio() {
  local tiny=$1 large=$2 r t line
  shift 2
  tiny_us=0 large_us=0 fio_line=""
  for ((r = 0; r < rounds; r++)); do
    settle; t=$(zel_us $tiny); tiny_us=$((tiny_us && tiny_us < t ? tiny_us : t))
    settle; t=$(zel_us $large); large_us=$((large_us && large_us < t ? large_us : t))
    [ $# -gt 0 ] || continue
    settle; line=$(fio_terse "$@")
    fio_line=$(printf '%s\n%s\n' "$fio_line" "$line" | awk -F';' 'NF && $8 + $49 >= best { best = $8 + $49; l = $0 } END { print l }')
  done
  extra_us=$((large_us - tiny_us))
}

# run_us <option ...>: runs ZelCli.exe once; prints the run's own time in µs
# (its figures line: the worker's transfer loop, no process start-up).
run_us() {
  zel_us "$@" >/dev/null
  awk '/ I\/Os, [0-9]+ bytes in / { sub(/\r$/, ""); for (i = 1; i <= NF; i++) if ($i == "in" && $(i + 2) == "s") s = $(i + 1) }
    END { if (s == "") exit 1; printf "%.0f\n", s * 1e6 }' "$vhost/last.log"
}

# floor_us <I/Os>: one run of bench/IocpFloor.cpp (QD32 4 KiB random reads
# through a bare completion-port loop on disk 0); its own elapsed µs.
floor_us() {
  "$root/cmake/wine-run.sh" "$win/bin/IocpFloor.exe" "$1" >"$vhost/floor.log" 2>&1 ||
    { echo "IocpFloor.exe $1 failed:"; cat "$vhost/floor.log"; } >&2
  awk '/ I\/Os in / { print $4; found = 1 } END { exit !found }' "$vhost/floor.log"
}

section_engine() {
  prepare_wine
  cmake --build "$win" --target IocpFloor >&2
  # The queued runs last about a second: the capture's few per cent must
  # stand out of the start-up's variation, which the subtraction leaves.
  local seq=16000000 rand=5000000 d0="-a rw -d 0 --bs 4k"
  [ -z "$quick" ] || { seq=2000000; rand=500000; }
  local null="--ioengine=null --bs=4k --size=1024g --time_based --runtime=$fio_seconds"
  echo "## Engine cost: ZelCli under Wine, data-less virtual disk, vs fio's null engine (goals: ≤ 1.5 × fio's cost per I/O at QD1, ≤ 2 × at QD32; the latency capture ≤ 5 % of the QD32 cost)"
  echo
  echo "| workload | ZelCli I/Os | ZelCli µs/I/O | ZelCli IOPS | fio µs/I/O | fio IOPS | cost ratio | goal | verdict |"
  echo "|---|---:|---:|---:|---:|---:|---:|---|---|"
  # engine_row <label> <timed I/Os> [goal: most cost ratio] [µs/I/O with the
  # capture: the row runs without it and its verdict is the capture's cost]
  engine_row() {
    awk -F';' -v label="$1" -v n="$2" -v goal="${3:-}" -v with="${4:-}" -v us="$extra_us" '{
      zel = us / n; iops = $8 + $49; fio = 1e6 / iops; ratio = zel / fio; text = ""; verdict = ""
      if (with != "") {
        share = 100 * (with - zel) / with; text = "capture ≤ 5 %"
        verdict = sprintf("%s (capture %.1f %%)", share <= 5 ? "met" : "**missed**", share)
      } else if (goal != "") {
        text = "≤ " goal; verdict = ratio <= goal ? "met" : ratio < 2 * goal ? sprintf("**missed** (%.0f %% over)", 100 * (ratio / goal - 1)) : sprintf("**missed** by %.1f×", ratio / goal)
      }
      printf "| %s | %d | %.3f | %.0f | %.3f | %d | %.2f | %s | %s |\n", label, n, zel, 1e6 / zel, fio, iops, ratio, text, verdict
    }' <<<"$fio_line"
  }
  zel_vs_fio "$d0 --rw read --qd 1 --size 4k" "$d0 --rw read --qd 1 --size $((seq * 4))k" $null --rw=read --iodepth=1
  engine_row "4 KiB sequential read, QD1" $((seq - 1)) 1.5
  local startup1=$tiny_us startup32 qd32_us fio32 qd r t best=0
  zel_vs_fio "$d0 --rw randread --align 4k --qd 32 --totalloop 32" \
    "$d0 --rw randread --align 4k --qd 32 --totalloop $rand" $null --rw=randread --iodepth=32
  engine_row "4 KiB random read, QD32" $((rand - 32)) 2
  local startup32=$tiny_us
  qd32_us=$(awk -v us="$extra_us" -v n=$((rand - 32)) 'BEGIN { printf "%.6f", us / n }') fio32=$fio_line
  # A few per cent drown in the start-up's variation, so the capture's cost
  # comes from the runs' own time (their figures line), with and without it
  # in turn, best of five each.
  local with=0 without=0
  for ((r = 0; r < 5; r++)); do
    t=$(run_us $d0 --rw randread --align 4k --qd 32 --totalloop $rand); with=$((with && with < t ? with : t))
    t=$(ZELCLI_LATENCY=off run_us $d0 --rw randread --align 4k --qd 32 --totalloop $rand); without=$((without && without < t ? without : t))
  done
  extra_us=$without fio_line=$fio32
  engine_row "4 KiB random read, QD32, latency capture off (time within the run)" $rand "" \
    "$(awk -v us=$with -v n=$rand 'BEGIN { printf "%.6f", us / n }')"
  for qd in 128 256; do
    zel_vs_fio "$d0 --rw randread --align 4k --qd $qd --totalloop $qd" \
      "$d0 --rw randread --align 4k --qd $qd --totalloop $rand" $null --rw=randread --iodepth=$qd
    engine_row "4 KiB random read, QD$qd" $((rand - qd))
  done
  # The floor: its own loop timed inside the process, so no start-up to subtract.
  for ((r = 0; r < rounds; r++)); do
    t=$(floor_us $rand); best=$((best && best < t ? best : t))
  done
  extra_us=$best fio_line=$fio32
  engine_row "4 KiB random read, QD32, bare completion-port loop (bench/IocpFloor.cpp)" $rand
  echo
  awk -v zel="$qd32_us" -v us="$best" -v n=$rand 'BEGIN {
    printf "ZelCli at QD32 costs %.2f × the bare completion-port loop on the same virtual disk (%.3f against %.3f µs per I/O): the floor this rig allows.\n", zel / (us / n), zel, us / n }'
  echo
  echo "Wine process start-up, the tiny runs subtracted above (best of $rounds): $((startup1 / 1000)) ms (QD1), $((startup32 / 1000)) ms (QD32)."
  echo
}

# fio_best <option ...>: fio alone, $rounds times; its fastest round in fio_line.
fio_best() {
  local r line
  fio_line=""
  for ((r = 0; r < rounds; r++)); do
    settle; line=$(fio_terse "$@")
    fio_line=$(printf '%s\n%s\n' "$fio_line" "$line" | awk -F';' 'NF && $8 + $49 >= best { best = $8 + $49; l = $0 } END { print l }')
  done
}

section_datapath() {
  prepare_wine
  local gib=4 loops=200000 qloops=200000 d1="-a rw -d 1"
  img="$vhost/host.json.state/disk1.img"
  [ -z "$quick" ] || { gib=1; loops=50000; qloops=50000; }
  local file="--filename=$img --size=${gib}g --invalidate=0" direct=1 note=""
  # The image exists before the timed runs, so writes overwrite as fio's do.
  zel_us $d1 --rw write --bs 128k --size ${gib}g >/dev/null
  fio_terse $file --rw=read --bs=4k --size=4k --direct=1 >/dev/null 2>&1 || { direct=0; note=" (O_DIRECT refused: buffered)"; }
  local aio="--ioengine=libaio --direct=$direct --iodepth=32 --time_based --runtime=$fio_seconds"
  local psync="--ioengine=psync" random="--time_based --runtime=$fio_seconds"
  echo "## Data path: ZelCli on a file-backed virtual disk vs fio on its image file (goals: ≥ 0.8 × fio psync for sequential reads and writes and 4 KiB random reads; at QD32 also ≥ ZelCli's QD1 figure)"
  echo
  echo "Image: ${gib} GiB, build/bench/vhost.*/host.json.state/disk1.img; every sequential run moves all of it."
  echo
  echo "| workload | QD | ZelCli | fio | fio engine | ratio | goal | verdict |"
  echo "|---|---:|---:|---:|---|---:|---|---|"
  # path_row <label> <QD> <MB/s|IOPS> <bytes or I/Os timed> <fio engine> [goal ratio] [ZelCli's QD1 figure, a second floor]
  path_row() {
    awk -F';' -v label="$1" -v qd="$2" -v unit="$3" -v n="$4" -v engine="$5" -v goal="${6:-}" -v qd1="${7:-}" -v us="$extra_us" '{
      if (unit == "MB/s") { zel = n / us; fio = ($7 + $48) * 1024 / 1e6 } else { zel = n * 1e6 / us; fio = $8 + $49 }
      ratio = zel / fio; text = goal == "" ? "no goal" : "≥ " goal; verdict = ""
      if (qd1 != "") text = text ", ≥ QD1"
      if (goal != "") {
        if (ratio < goal) verdict = sprintf("%.0f %% short of %s × fio", 100 * (goal - ratio) / goal, goal)
        if (qd1 != "" && zel < qd1) verdict = verdict (verdict == "" ? "" : "; ") sprintf("%.0f %% below QD1", 100 * (qd1 - zel) / qd1)
        verdict = verdict == "" ? "met" : "**missed** (" verdict ")"
      }
      printf "| %s | %d | %.0f %s | %.0f %s | %s | %.2f | %s | %s |\n", label, qd, zel, unit, fio, unit, engine, ratio, text, verdict
    }' <<<"$fio_line"
  }
  rate() { awk -v n="$1" -v us="$extra_us" 'BEGIN { printf "%.1f", n / us }'; }  # bytes per µs: MB/s
  local mib=$((1 << 20)) rw bytes=$(((gib << 10) * (1 << 20) - 4 * (1 << 20)))
  local -A qd1 timed
  # Buffered runs first: fio's direct reads and writes drop the image's cached pages.
  for rw in write read; do
    zel_vs_fio "$d1 --rw $rw --bs 128k --size 128k" "$d1 --rw $rw --bs 128k --size ${gib}g" \
      $file $psync --rw=$rw --bs=128k
    path_row "128 KiB sequential $rw" 1 MB/s $(((gib << 10) * mib - 128 * 1024)) "psync, page cache" 0.8
    qd1[$rw]=$(rate $(((gib << 10) * mib - 128 * 1024)))
  done
  zel_vs_fio "$d1 --rw randread --bs 4k --align 4k --size ${gib}g --totalloop 100" \
    "$d1 --rw randread --bs 4k --align 4k --size ${gib}g --totalloop $loops" \
    $file $psync --rw=randread --bs=4k $random
  path_row "4 KiB random read" 1 IOPS $((loops - 100)) "psync, page cache" 0.8
  for rw in write read; do
    zel_vs_fio "$d1 --rw $rw --bs 128k --qd 32 --size 4m" "$d1 --rw $rw --bs 128k --qd 32 --size ${gib}g" \
      $file $psync --rw=$rw --bs=128k
    path_row "128 KiB sequential $rw" 32 MB/s $bytes "psync, page cache" 0.8 "${qd1[$rw]}"
    timed[$rw]=$extra_us
  done
  zel_vs_fio "$d1 --rw randread --bs 4k --align 4k --size ${gib}g --qd 32 --totalloop 32" \
    "$d1 --rw randread --bs 4k --align 4k --size ${gib}g --qd 32 --totalloop $qloops" \
    $file $psync --rw=randread --bs=4k $random
  path_row "4 KiB random read" 32 IOPS $((qloops - 32)) "psync, page cache"
  timed[randread]=$extra_us
  # For information: what a queue depth buys the kernel's own path on the
  # guest's disk (O_DIRECT), set beside the same ZelCli runs.
  for rw in write read; do
    fio_best $file $aio --rw=$rw --bs=128k
    extra_us=${timed[$rw]} path_row "128 KiB sequential $rw" 32 MB/s $bytes "libaio, direct$note"
  done
  fio_best $file $aio --rw=randread --bs=4k
  extra_us=${timed[randread]} path_row "4 KiB random read" 32 IOPS $((qloops - 32)) "libaio, direct$note"
  echo
  img=""
}

section_memory() {
  prepare_wine
  local d0="-a rw -d 0 --qd 32 --bs 1m"
  echo "## Peak memory: one worker, 1 MiB blocks at QD32, data-less virtual disk"
  echo
  echo "| run | peak RSS (MiB) | above the tiny run (MiB) | buffers it needs (MiB) | beyond the buffers (MiB) |"
  echo "|---|---:|---:|---:|---:|"
  peak_kib() {  # <option ...>: maximum resident set size of one run, KiB
    if ! /usr/bin/time -f %M -o "$vhost/peak" "$root/cmake/wine-run.sh" "$win/bin/ZelCli.exe" "$@" >/dev/null 2>&1; then
      echo "ZelCli.exe $* failed" >&2
      return 1
    fi
    cat "$vhost/peak"
  }
  local base label needs kib
  base=$(peak_kib -a rw -d 0 --rw read --bs 4k --size 4k)
  awk -v k="$base" 'BEGIN { printf "| tiny run: read 4 KiB, QD1 | %.1f | | | |\n", k / 1024 }'
  while IFS='|' read -r label needs options; do
    kib=$(peak_kib $d0 $options)
    awk -v label="$label" -v k="$kib" -v b="$base" -v n="$needs" 'BEGIN {
      printf "| %s | %.1f | %.1f | %d | %.1f |\n", label, k / 1024, (k - b) / 1024, n, (k - b) / 1024 - n }'
  done <<'RUNS'
sequential read, 1 GiB|32|--rw read --size 1g
random read, 1024 transfers|32|--rw randread --totalloop 1024
sequential write, 1 GiB (one shared source buffer)|1|--rw write --size 1g
RUNS
  echo
  echo "One worker: the rw action gives the first worker the whole range, so more than one worker slot (--thread) ends in the invalid-handle error after that worker ran (docs/rw.md)."
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
