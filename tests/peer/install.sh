#!/usr/bin/env bash
# Installs the pinned canboatjs (package-lock.json) into tests/peer/node_modules
# for the peer tests. Install scripts are not run: the package's native CAN
# socket addon is not needed to decode and encode frames.
set -euo pipefail
cd "$(dirname "$0")"

if ! command -v node >/dev/null 2>&1 || ! command -v npm >/dev/null 2>&1; then
    echo "tests/peer/install.sh: node and npm are needed for the peer tests" >&2
    exit 1
fi
npm ci --ignore-scripts --omit=optional --no-audit --no-fund --loglevel=error
