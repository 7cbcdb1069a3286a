#!/usr/bin/env bash
# The panels demo without a display runs headless, unchanged, until SIGINT,
# and then ends cleanly.
set -euo pipefail
demo="$1"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"
env -u DISPLAY -u WAYLAND_DISPLAY "$demo" >out.txt 2>&1 &
pid=$!
for _ in $(seq 1 300); do
  grep -q "running headless" out.txt && break
  sleep 0.1
done
if ! grep -q "running headless" out.txt; then
  cat out.txt
  kill -9 "$pid"
  exit 1
fi
kill -INT "$pid"
status=0
wait "$pid" || status=$?
cat out.txt
exit "$status"
