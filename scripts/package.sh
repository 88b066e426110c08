#!/usr/bin/env bash
# Builds the release package build/package/ZelCli-<version>.zip: ZelCli.exe
# without its debug information (kept beside the zip as ZelCli.exe.debug,
# which the exe names in its .gnu_debuglink), the example virtual host with
# its stand-in tools, the SMART examples and the user docs. Fails when the
# exe is larger than 8 MB, still carries debug sections, the zip lacks a
# part, or the packaged exe cannot run a tool of the packaged example host.
# The version is the project's (CMakeLists.txt, as --version prints it)
# with the source revision; ZEL_VERSION overrides both.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/win
out=$root/build/package
limit=$((8 * 1024 * 1024))
objcopy=x86_64-w64-mingw32-objcopy

project_version=$(sed -n 's/^project(ZelCli VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
revision=$(git -C "$root" describe --always --dirty 2>/dev/null || echo unknown)
version=${ZEL_VERSION:-$project_version-$revision}
name=ZelCli-$version

"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" >/dev/null
cmake --build "$build" --target ZelCli zel_vhost_tools

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
pkg=$stage/$name
mkdir -p "$pkg/docs" "$pkg/vhost/examples/tools"

# The debug file keeps the exe's name, so a debugger finds it beside the exe.
mkdir -p "$out"
"$objcopy" --only-keep-debug "$build/bin/ZelCli.exe" "$out/ZelCli.exe.debug"
"$objcopy" --strip-debug --add-gnu-debuglink="$out/ZelCli.exe.debug" "$build/bin/ZelCli.exe" "$pkg/ZelCli.exe"
for tool in "$build"/bin/vhost-tools/*.exe; do
  "$objcopy" --strip-debug "$tool" "$pkg/vhost/examples/tools/$(basename "$tool")"
done

# The example host finds its stand-ins in the package, not in a build tree.
sed 's|"toolsFolder": *"[^"]*"|"toolsFolder": "tools"|' "$root/vhost/examples/host.json" >"$pkg/vhost/examples/host.json"
grep -q '"toolsFolder": "tools"' "$pkg/vhost/examples/host.json" || { echo "package: host.json names no toolsFolder"; exit 1; }
cp "$root"/vhost/examples/SMART-*.ini "$pkg/vhost/examples/"

cp "$root/README.md" "$pkg/"
for doc in error-codes.md vhost.md guide.md exit-codes.md results.md; do
  if [ -f "$root/docs/$doc" ]; then cp "$root/docs/$doc" "$pkg/docs/"; fi
done

rm -f "$out/$name.zip"
(cd "$stage" && zip -qrX "$out/$name.zip" "$name")

# Checks on the zip itself, as a user receives it.
status=0
listing=$(unzip -Z1 "$out/$name.zip")
required=(ZelCli.exe README.md docs/error-codes.md docs/vhost.md vhost/examples/host.json
          vhost/examples/SMART-nvme.ini vhost/examples/SMART-sata.ini
          vhost/examples/tools/devcon_amd64.exe vhost/examples/tools/diskpart.exe
          vhost/examples/tools/pnputil.exe vhost/examples/tools/pssuspend64.exe)
if [ -f "$root/docs/guide.md" ]; then required+=(docs/guide.md); fi
for part in "${required[@]}"; do
  grep -qxF "$name/$part" <<<"$listing" || { echo "package: the zip lacks $part"; status=1; }
done

unpacked=$stage/unpacked
mkdir "$unpacked"
unzip -q "$out/$name.zip" -d "$unpacked"
exe=$unpacked/$name/ZelCli.exe
size=$(stat -c %s "$exe")
awk -v s="$size" 'BEGIN { printf "ZelCli.exe: %d bytes (%.2f MB, at most 8 MB)\n", s, s / 1048576 }'
[ "$size" -le "$limit" ] || { echo "package: ZelCli.exe is larger than 8 MB"; status=1; }
if x86_64-w64-mingw32-objdump -h "$exe" | grep -q ' \.debug_'; then
  echo "package: ZelCli.exe still carries debug sections"; status=1
fi

# The stripped exe runs, and the example host reaches its packaged devcon.
host=$unpacked/$name/vhost/examples/host.json
set +e
ZEL_BUILD_DIR=$build ZELCLI_VHOST="Z:${host//\//\\}" "$root/cmake/wine-run.sh" "$exe" --rescan >"$stage/rescan.txt" 2>&1
rc=$?
set -e
[ "$rc" -eq 0 ] || { echo "package: ZelCli.exe --rescan on the example host answered $rc"; cat "$stage/rescan.txt"; status=1; }

if [ "$status" -eq 0 ]; then echo "package: $out/$name.zip (debug information: $out/ZelCli.exe.debug)"; fi
exit "$status"
