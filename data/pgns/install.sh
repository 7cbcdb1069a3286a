#!/usr/bin/env bash
# Installs the pinned PGN database (package-lock.json) into
# data/pgns/node_modules, where CMake finds canboat.json. Install scripts are
# not run: only the JSON file is used.
set -euo pipefail
cd "$(dirname "$0")"

if [ -f node_modules/@canboat/ts-pgns/canboat.json ] && [ -f node_modules/.package-lock.json ] &&
   cmp -s <(grep -A1 '"node_modules/@canboat/ts-pgns"' package-lock.json) \
          <(grep -A1 '"node_modules/@canboat/ts-pgns"' node_modules/.package-lock.json); then
    exit 0
fi
if ! command -v node >/dev/null 2>&1 || ! command -v npm >/dev/null 2>&1; then
    echo "data/pgns/install.sh: node and npm are needed to install the PGN database" >&2
    exit 1
fi
npm ci --ignore-scripts --omit=optional --no-audit --no-fund --loglevel=error
