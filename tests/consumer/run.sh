#!/usr/bin/env bash
# Installs the built library into a scratch prefix, builds the consumer
# project against it with find_package(Ferrow), and runs it.
set -euo pipefail
build="$1"
src="$(cd "$(dirname "$0")" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/build" >/dev/null
# Only the exported API may be visible: no internal class in the dynamic symbols.
lib="$(find "$work/prefix" -name "libferrow.so" | head -n 1)"
if nm -DC --defined-only "$lib" | grep -E 'QL_ThreadMgr_c|InstanceTable|Brovik_c|ThreadTimerService'; then
  echo "internal symbols are exported" >&2
  exit 1
fi
cd "$work" && "$work/build/consumer"
