#!/usr/bin/env bash
# A demo firmware without a display runs headless, unchanged, until SIGINT,
# and then ends cleanly. Given TYPED and EXPECTED, the line TYPED is also
# typed on its standard input and it must print EXPECTED.
#   run_headless.sh DEMO [TYPED EXPECTED]
set -euo pipefail
demo="$1"
typed="${2:-}"
expected="${3:-}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"
mkfifo input
env -u DISPLAY -u WAYLAND_DISPLAY "$demo" <input >out.txt 2>&1 &
pid=$!
# Held open for the demo's whole run, so that its input never ends early.
exec 3>input

wait_for() {
  for _ in $(seq 1 300); do
    grep -qF -- "$1" out.txt && return 0
    sleep 0.1
  done
  return 1
}
fail() {
  cat out.txt
  kill -9 "$pid"
  exit 1
}

wait_for "running headless" || fail
if [ -n "$typed" ]; then
  printf '%s\n' "$typed" >&3
  wait_for "$expected" || fail
fi
kill -INT "$pid"
status=0
wait "$pid" || status=$?
cat out.txt
exit "$status"
