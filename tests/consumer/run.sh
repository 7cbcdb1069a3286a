#!/usr/bin/env bash
# Installs the built library into a scratch prefix, builds the consumer
# project against it with find_package(Ferrow), and runs it. A Windows cross
# build is consumed the same way, with its toolchain, and run under Wine.
set -euo pipefail
build="$1"
src="$(cd "$(dirname "$0")" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
# The first C++ block under "Hosting a firmware" in the README.
awk '/^## Hosting a firmware/{s=1} s&&/^```cpp/{c=1;next} c&&/^```/{exit} c' \
  "$src/../../README.md" >"$work/readme_example.cpp"
[ -s "$work/readme_example.cpp" ] || { echo "README: no hosting example found" >&2; exit 1; }
toolchain="$(sed -n 's/^CMAKE_TOOLCHAIN_FILE:[A-Z]*=//p' "$build/CMakeCache.txt")"
cross=()
[ -n "$toolchain" ] && cross=(-DCMAKE_TOOLCHAIN_FILE="$toolchain"
                              -DFerrow_DIR="$work/prefix/lib/cmake/Ferrow")
cmake -S "$src" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DFERROW_README_EXAMPLE="$work/readme_example.cpp" "${cross[@]}" >/dev/null
cmake --build "$work/build" >/dev/null
# Only the exported API may be visible: no internal class among the symbols
# the library exports.
internal='QL_ThreadMgr_c|InstanceTable|Brovik_c|ThreadTimerService|PollThread|SerialPort'
if [ -z "$toolchain" ]; then
  lib="$(find "$work/prefix" -name "libferrow.so" | head -n 1)"
  exported="$(nm -DC --defined-only "$lib")"
  run=()
  consumer="$work/build/consumer"
else
  lib="$(find "$work/prefix" -name "ferrow.dll" | head -n 1)"
  [ -f "$work/prefix/lib/libferrow.dll.a" ] || { echo "no import library installed" >&2; exit 1; }
  objdump="$(sed -n 's/^CMAKE_OBJDUMP:FILEPATH=//p' "$build/CMakeCache.txt")"
  # The export table, names demangled.
  exported="$("$objdump" -p "$lib" | awk '/\[Ordinal\/Name Pointer\] Table/{t=1;next} t&&NF==0{t=0} t{print $NF}' |
              c++filt)"
  [ -n "$exported" ] || { echo "ferrow.dll exports nothing" >&2; exit 1; }
  grep -q 'Ferrow_c::Start' <<<"$exported" || { echo "ferrow.dll lacks the API" >&2; exit 1; }
  cp "$lib" "$work/build/"
  # g++ for Windows also exports the type information of polymorphic classes
  # that exported ones build on (ThreadTimerService under TimerService, a
  # thread's state): names for dynamic_cast, no code or data to reach.
  exported="$(grep -v '^typeinfo for ' <<<"$exported")"
  run=(env WINEDEBUG=-all wine)
  consumer="$work/build/consumer.exe"
fi
if grep -E "$internal" <<<"$exported"; then
  echo "internal symbols are exported" >&2
  exit 1
fi
cd "$work" && "${run[@]}" "$consumer"
