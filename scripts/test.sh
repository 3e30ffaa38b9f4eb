#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test (pass --sanitize for the ASan/UBSan build).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh "$@"
dir=build; [ "${1:-}" = "--sanitize" ] && dir=build-sanitize
export QT_QPA_PLATFORM=offscreen
ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
