#!/usr/bin/env bash
# Configures and builds into build/ (or build-sanitize/ with --sanitize).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=build; extra=()
if [ "${1:-}" = "--sanitize" ]; then dir=build-sanitize; extra=(-DOSTRA_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug); fi
cmake -S . -B "$dir" -G Ninja "${extra[@]}" >/dev/null
cmake --build "$dir" -j "$(nproc)"
