#!/usr/bin/env bash
# Installs the built library into a scratch prefix, builds the consumer
# project against it with find_package(Ferrow), and runs it.
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
cmake -S "$src" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DFERROW_README_EXAMPLE="$work/readme_example.cpp" >/dev/null
cmake --build "$work/build" >/dev/null
# Only the exported API may be visible: no internal class in the dynamic symbols.
lib="$(find "$work/prefix" -name "libferrow.so" | head -n 1)"
if nm -DC --defined-only "$lib" | grep -E 'QL_ThreadMgr_c|InstanceTable|Brovik_c|ThreadTimerService'; then
  echo "internal symbols are exported" >&2
  exit 1
fi
cd "$work" && "$work/build/consumer"
